# Fails unless every block of LANGUAGE in PAGE occurs in SOURCE, line by line; how far the lines are
# indented does not count.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/Blocks.cmake")

# Each line without its indentation, between line ends.
function(lines_of text result)
  string(REGEX REPLACE "\n[ \t]+" "\n" text "\n${text}")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

file(READ "${SOURCE}" source)
lines_of("${source}" source)
mc_blocks("${PAGE}" ${LANGUAGE} blocks)
set(missing "")
foreach(block IN LISTS blocks)
  mc_plain("${block}" block)
  lines_of("${block}" wanted)
  string(FIND "${source}" "${wanted}" found)
  if(found EQUAL -1)
    string(APPEND missing "\n${block}")
  endif()
endforeach()
if(missing)
  message(FATAL_ERROR "${PAGE} shows what ${SOURCE} does not hold:\n${missing}")
endif()
