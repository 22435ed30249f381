# Fails unless the tables of PAGE list the platform's symbols that LIBRARY imports, no more and no
# less. A row of such a table begins with the symbol, between "| `" and "` |".
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} -DC --undefined-only "${LIBRARY}"
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "[abi:cxx11]" "" symbols "${symbols}")
string(REPLACE "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"
  "std::string" symbols "${symbols}")
string(REGEX REPLACE "void\\*, unsigned (int|long)\\)" "void*, std::size_t)" symbols "${symbols}")
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")

set(imported "")
foreach(line IN LISTS symbols)
  string(REGEX REPLACE "^ *[UvVwW] " "" symbol "${line}")
  # The C and C++ runtimes give their symbols versions, or names that are reserved to them.
  if(NOT symbol MATCHES "@|^_")
    list(APPEND imported "${symbol}")
  endif()
endforeach()
list(REMOVE_DUPLICATES imported)

file(STRINGS "${PAGE}" rows REGEX "^\\| `")
set(listed "")
foreach(row IN LISTS rows)
  string(REGEX REPLACE "^\\| `([^`]*)` \\|.*" "\\1" symbol "${row}")
  list(APPEND listed "${symbol}")
endforeach()
if(NOT imported OR NOT listed)
  message(FATAL_ERROR "no symbol found in ${LIBRARY} or in ${PAGE}")
endif()

set(faults "")
foreach(symbol IN LISTS listed)
  if(NOT symbol IN_LIST imported)
    string(APPEND faults "\n  listed, not imported: ${symbol}")
  endif()
endforeach()
foreach(symbol IN LISTS imported)
  # Which virtual tables and types are imported depends on the compiler's inlining. They come with
  # the members of their class.
  if(symbol MATCHES "^(vtable|typeinfo) for (.*)$")
    string(FIND ";${listed}" ";${CMAKE_MATCH_2}::" member)
    if(NOT member EQUAL -1)
      continue()
    endif()
  endif()
  if(NOT symbol IN_LIST listed)
    string(APPEND faults "\n  imported, not listed: ${symbol}")
  endif()
endforeach()
if(faults)
  message(FATAL_ERROR "${PAGE} and ${LIBRARY} differ:${faults}")
endif()
