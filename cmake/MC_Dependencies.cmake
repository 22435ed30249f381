# Third-party libraries, under the same target names whether we build for this machine or for the
# board. The board's system has none of them installed: there, the header-only ones are taken from
# this machine's packages, apart from the other headers of this machine, and GoogleTest is built
# from the sources that its package installs.

# mc_borrow_headers(TARGET NAME...): TARGET stands for these entries of this machine's /usr/include.
function(mc_borrow_headers target)
  set(borrowed "${CMAKE_BINARY_DIR}/third_party")
  file(MAKE_DIRECTORY "${borrowed}")
  foreach(name IN LISTS ARGN)
    if(NOT EXISTS "/usr/include/${name}")
      message(FATAL_ERROR "/usr/include/${name} is missing: run script/bootstrap run")
    endif()
    file(CREATE_LINK "/usr/include/${name}" "${borrowed}/${name}" SYMBOLIC)
  endforeach()
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${borrowed}"
    INTERFACE_INCLUDE_DIRECTORIES "${borrowed}")
endfunction()

if(MC_BUILD_WORKBENCH)
  if(CMAKE_CROSSCOMPILING)
    mc_borrow_headers(tomlplusplus::tomlplusplus toml++)
    mc_borrow_headers(CLI11::CLI11 CLI)
    mc_borrow_headers(nlohmann_json::nlohmann_json nlohmann)
    mc_borrow_headers(spdlog::spdlog spdlog fmt)
    target_compile_definitions(spdlog::spdlog INTERFACE SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
  else()
    find_package(tomlplusplus REQUIRED)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    find_package(spdlog REQUIRED)
  endif()
endif()

if(MC_BUILD_BUS)
  find_path(MC_ZEROMQ_HEADERS zmq.hpp REQUIRED)
  find_library(MC_ZEROMQ_LIBRARY zmq REQUIRED)
  mark_as_advanced(MC_ZEROMQ_HEADERS MC_ZEROMQ_LIBRARY)
  add_library(MC_zeromq UNKNOWN IMPORTED GLOBAL)
  set_target_properties(MC_zeromq PROPERTIES
    IMPORTED_LOCATION "${MC_ZEROMQ_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${MC_ZEROMQ_HEADERS}")

  # The console's line editor: what attaches to a session is on the bus too.
  find_path(MC_LIBEDIT_HEADERS histedit.h REQUIRED)
  find_library(MC_LIBEDIT_LIBRARY edit REQUIRED)
  mark_as_advanced(MC_LIBEDIT_HEADERS MC_LIBEDIT_LIBRARY)
  add_library(MC_libedit UNKNOWN IMPORTED GLOBAL)
  set_target_properties(MC_libedit PROPERTIES
    IMPORTED_LOCATION "${MC_LIBEDIT_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${MC_LIBEDIT_HEADERS}")
endif()

if(MC_BUILD_WORKBENCH OR MC_BUILD_BENCHMARKS)
  find_package(Threads REQUIRED)
endif()

if(MC_BUILD_TESTS)
  if(CMAKE_CROSSCOMPILING)
    add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
  else()
    find_package(GTest REQUIRED)
  endif()
  include(GoogleTest)
endif()
