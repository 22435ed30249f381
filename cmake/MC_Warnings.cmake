# mc_warnings(TARGET): every warning that we hold ourselves to, as an error.
function(mc_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Werror
    -Wconversion -Wsign-conversion -Wshadow
    -Wcast-align -Wcast-qual -Wold-style-cast
    -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
    -Wundef -Wunused -Wvla)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wduplicated-branches -Wduplicated-cond -Wlogical-op)
  endif()
endfunction()
