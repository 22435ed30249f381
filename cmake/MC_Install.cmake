# What is installed where, and the Debian packages that are made of it. Each package is a component:
#   libmc-api1    the library                       libmc-host1    the workstation's platform
#   libmc-api-dev what its clients build with       libmc-host-dev what its users build with
#   mcgw          the program
include(CMakePackageConfigHelpers)

set(mc_headers "${CMAKE_INSTALL_INCLUDEDIR}/MC_API")
set(mc_package "${CMAKE_INSTALL_LIBDIR}/cmake/MC_API")
set(mc_generated "${PROJECT_BINARY_DIR}/install")

# mc_install_library(TARGET RUNTIME DEVELOPMENT EXPORT): a shared library, as one package with what
# programs run with and one with what they are built with.
function(mc_install_library target runtime development export)
  install(TARGETS ${target} EXPORT ${export}
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
      COMPONENT ${runtime} NAMELINK_COMPONENT ${development}
    PUBLIC_HEADER DESTINATION "${mc_headers}" COMPONENT ${development})
  install(EXPORT ${export} NAMESPACE MC_API:: DESTINATION "${mc_package}"
    COMPONENT ${development})
endfunction()

# mc_install_pkgconfig(NAME DEVELOPMENT): the prefix is told relative to the file, so that the
# installed tree may be moved.
function(mc_install_pkgconfig name development)
  set(directory "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  file(RELATIVE_PATH prefix_from_here "/prefix/${directory}" "/prefix")
  string(REGEX REPLACE "/$" "" prefix_from_here "${prefix_from_here}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in" "${mc_generated}/${name}.pc" @ONLY)
  install(FILES "${mc_generated}/${name}.pc" DESTINATION "${directory}" COMPONENT ${development})
endfunction()

# mc_gzip(FILE OUTPUT): as Debian's rules want it, without a name or a time inside.
function(mc_gzip file output)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  execute_process(COMMAND gzip -9nc "${file}" OUTPUT_FILE "${output}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The library.

install(TARGETS MC_platform EXPORT MC_APITargets)
mc_install_library(MC_API libmc-api1 libmc-api-dev MC_APITargets)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/framework/platform/"
  DESTINATION "${mc_headers}/platform" COMPONENT libmc-api-dev FILES_MATCHING PATTERN "*.h")
mc_install_pkgconfig(MC_API libmc-api-dev)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/MC_APIConfig.cmake.in"
  "${mc_generated}/MC_APIConfig.cmake"
  INSTALL_DESTINATION "${mc_package}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${mc_generated}/MC_APIConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${mc_generated}/MC_APIConfig.cmake" "${mc_generated}/MC_APIConfigVersion.cmake"
  DESTINATION "${mc_package}" COMPONENT libmc-api-dev)

# The workstation's platform, and the program.

if(MC_BUILD_WORKBENCH)
  mc_install_library(MC_host libmc-host1 libmc-host-dev MC_hostTargets)
  # The rest of the room's headers is its own.
  install(FILES "${PROJECT_SOURCE_DIR}/host/Workstation.h"
    DESTINATION "${mc_headers}/host" COMPONENT libmc-host-dev)
  install(FILES
    "${PROJECT_SOURCE_DIR}/host/imc/Dispatcher.h"
    "${PROJECT_SOURCE_DIR}/host/imc/Transport.h"
    DESTINATION "${mc_headers}/host/imc" COMPONENT libmc-host-dev)
  mc_install_pkgconfig(MC_host libmc-host-dev)

  # In the system's own folders the libraries are found; elsewhere the program knows the way.
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH libraries_from_programs
      "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(mcgw PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
  endif()
  install(TARGETS mcgw RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT mcgw)
  mc_gzip("${PROJECT_SOURCE_DIR}/packaging/mcgw.1" "${mc_generated}/mcgw.1.gz")
  install(FILES "${mc_generated}/mcgw.1.gz"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT mcgw)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/mcgw.bash-completion" RENAME mcgw
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions" COMPONENT mcgw)
  # Where Wireshark looks for everybody's plugins; those in Lua are for every version of it.
  install(FILES "${PROJECT_SOURCE_DIR}/wireshark/mc_imc.lua"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/wireshark/plugins" COMPONENT mcgw)
  install(FILES
    "${PROJECT_SOURCE_DIR}/docs/architecture.md"
    "${PROJECT_SOURCE_DIR}/docs/bus.md"
    "${PROJECT_SOURCE_DIR}/docs/call-files.md"
    "${PROJECT_SOURCE_DIR}/docs/captures.md"
    "${PROJECT_SOURCE_DIR}/docs/console.md"
    "${PROJECT_SOURCE_DIR}/docs/load.md"
    "${PROJECT_SOURCE_DIR}/docs/session.md"
    "${PROJECT_SOURCE_DIR}/docs/tools.md"
    "${PROJECT_SOURCE_DIR}/docs/workbench.md"
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/mcgw" COMPONENT mcgw)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/calls"
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/mcgw/examples" COMPONENT mcgw)
endif()

# Debian packages: script/package makes them.

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE mc-api)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER
  "Media channel library maintainers <maintainers@example.org>")
# Each package has a summary of its own, which this one would be put before.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)
set(CPACK_COMPONENTS_ALL "")

file(STRINGS "${PROJECT_SOURCE_DIR}/packaging/changelog" mc_newest LIMIT_COUNT 1)
if(NOT mc_newest MATCHES "\\(${PROJECT_VERSION}\\)")
  message(FATAL_ERROR "packaging/changelog has no entry for ${PROJECT_VERSION}: ${mc_newest}")
endif()
mc_gzip("${PROJECT_SOURCE_DIR}/packaging/changelog" "${mc_generated}/changelog.gz")

# mc_debian(NAME SECTION SUMMARY DESCRIPTION [NEEDS package...] [SUGGESTS package...]
#           [CONTAINS package...]): makes a Debian package of a component. NEEDS: packages of ours.
# SUGGESTS: Debian packages of programs that go with it. CONTAINS: Debian packages of libraries whose
# headers put code into the binary, so that their notices go with it.
macro(mc_debian name section summary description)
  cmake_parse_arguments(mc_arg "" "" "NEEDS;SUGGESTS;CONTAINS" ${ARGN})
  string(TOUPPER "${name}" mc_upper)
  list(APPEND CPACK_COMPONENTS_ALL ${name})
  set(CPACK_DEBIAN_${mc_upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${mc_upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${mc_upper}_DESCRIPTION "${summary}\n${description}")
  set(CPACK_COMPONENT_${mc_upper}_DEPENDS ${mc_arg_NEEDS})
  if(mc_arg_SUGGESTS)
    list(JOIN mc_arg_SUGGESTS ", " CPACK_DEBIAN_${mc_upper}_PACKAGE_SUGGESTS)
  endif()
  if("${section}" STREQUAL libs)
    set(CPACK_DEBIAN_${mc_upper}_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
  endif()
  set(mc_doc "${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}")
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/copyright" "${mc_generated}/changelog.gz"
    DESTINATION "${mc_doc}" COMPONENT ${name} EXCLUDE_FROM_ALL)
  foreach(mc_contained IN LISTS mc_arg_CONTAINS)
    install(FILES "/usr/share/doc/${mc_contained}/copyright"
      DESTINATION "${mc_doc}/third-party" RENAME "${mc_contained}.copyright"
      COMPONENT ${name} EXCLUDE_FROM_ALL)
  endforeach()
endmacro()

mc_debian(libmc-api1 libs "media channel library of a voice-over-IP board" "\
The library stands between a gateway's Session Manager and the board's DSPs:
it opens, changes, joins and closes media channels, and tells its client what
the DSPs report. The services of the board are supplied by whoever links it.")
mc_debian(libmc-api-dev libdevel "media channel library - development files" "\
Headers of the media channel library and of the platform that it runs on, its
CMake package and its pkg-config file."
  NEEDS libmc-api1)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "ppc")
  # This machine's package database does not know the board's system libraries: what libMC_API.so
  # needs of them is told by hand. script/package checks that it stays true.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE powerpc)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_LIBMC-API1_PACKAGE_DEPENDS
    "libc6 (>= 2.4), libgcc-s1 (>= 3.0), libstdc++6 (>= 5.2)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Our own libraries, which no installed package is known to hold.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${PROJECT_BINARY_DIR}/framework/lib/MC_API" "${PROJECT_BINARY_DIR}/host")
endif()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# Nobody works on the board itself.
if(MC_BUILD_WORKBENCH AND NOT CMAKE_CROSSCOMPILING)
  mc_debian(libmc-host1 libs "workstation's platform for the media channel library" "\
The services that the media channel library expects of its board, on a
workstation: messages, console, log, configuration, addresses, collector."
    CONTAINS libfmt-dev libspdlog-dev libtomlplusplus-dev)
  mc_debian(libmc-host-dev libdevel "workstation's platform - development files" "\
Headers of the workstation's platform for the media channel library, its part
of the CMake package and its pkg-config file."
    NEEDS libmc-host1 libmc-api-dev)
  mc_debian(mcgw comm "reference Session Manager of the media channel library" "\
Places the calls that call files describe between the media channel library
and a DSP board in software, and checks what is expected of them. Runs boards,
Session Managers and operator's consoles as processes on a bus, and makes them
fail by rule. Records the messages, draws them as a message sequence chart,
sends them by hand, and has a dissector of them for Wireshark."
    NEEDS libmc-api1 libmc-host1
    SUGGESTS gnuplot-nox graphviz wireshark
    CONTAINS cppzmq-dev libcli11-dev libtomlplusplus-dev nlohmann-json3-dev)
endif()

include(CPack)
