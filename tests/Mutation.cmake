# For script/mutate (MC_MUTATE): each source of the library becomes a shared library of its own, a
# part, that exports everything. The test programs find the parts when they start: a mutant costs
# the compilation of the sources that it changes, and no test is linked again.
get_target_property(library_sources MC_API SOURCES)
set(parts)
foreach(source IN LISTS library_sources)
  cmake_path(GET source STEM name)
  add_library(${name}_part SHARED "${PROJECT_SOURCE_DIR}/framework/lib/MC_API/${source}")
  target_include_directories(${name}_part PUBLIC "${PROJECT_SOURCE_DIR}/framework/lib/MC_API")
  target_link_libraries(${name}_part PUBLIC MC_platform)
  # Compiled thousands of times, each time from another text: nothing for a compiler cache.
  set_target_properties(${name}_part PROPERTIES DEFINE_SYMBOL "" CXX_COMPILER_LAUNCHER "")
  # A mutant may leave a parameter unused or a condition always true.
  target_compile_options(${name}_part PRIVATE -w)
  list(APPEND parts ${name}_part)
endforeach()

add_library(MC_API_whole INTERFACE)
target_link_libraries(MC_API_whole INTERFACE ${parts})

# The test programs that contain library code; mc_mutation_programs writes their paths to a file.
add_custom_target(mutation_programs)

# mc_mutation_program(NAME LIBRARY...): NAME is one of them when a part is among its libraries.
function(mc_mutation_program name)
  if(NOT "${ARGN}" MATCHES "MC_API_whole|_part")
    return()
  endif()
  add_dependencies(mutation_programs ${name})
  # LD_LIBRARY_PATH goes before the path in the program; parts need one another, and what the
  # program defines.
  target_link_options(${name} PRIVATE
    "LINKER:--enable-new-dtags,--no-as-needed,--export-dynamic")
  set_property(GLOBAL APPEND_STRING PROPERTY MC_MUTATION_PROGRAMS "$<TARGET_FILE:${name}>\n")
endfunction()

function(mc_mutation_programs)
  get_property(programs GLOBAL PROPERTY MC_MUTATION_PROGRAMS)
  file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/mutation_programs.txt" CONTENT "${programs}")
endfunction()
