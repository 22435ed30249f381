# MC_BUILD_FUZZERS: everything that is built tells libFuzzer which paths an input takes.
option(MC_BUILD_FUZZERS "Build the fuzz targets (clang++)" OFF)
if(MC_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "MC_BUILD_FUZZERS needs clang++, for libFuzzer")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
