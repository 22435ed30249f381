# The fenced blocks of a Markdown page.

# Stand-ins for the characters that mean something inside a CMake list.
string(ASCII 1 mc_semicolon)
string(ASCII 2 mc_opening)
string(ASCII 3 mc_closing)

# mc_blocks(PAGE LANGUAGE RESULT): the blocks of this language, as a list; mc_plain gives the text of
# each. A page without one is an error, and so is a block that does not end.
function(mc_blocks page language result)
  file(READ "${page}" rest)
  string(REPLACE ";" "${mc_semicolon}" rest "${rest}")
  string(REPLACE "[" "${mc_opening}" rest "${rest}")
  string(REPLACE "]" "${mc_closing}" rest "${rest}")
  set(fence "\n```${language}\n")
  string(LENGTH "${fence}" fence_length)
  set(blocks "")
  string(FIND "${rest}" "${fence}" begin)
  while(NOT begin EQUAL -1)
    math(EXPR begin "${begin} + ${fence_length}")
    string(SUBSTRING "${rest}" ${begin} -1 rest)
    string(FIND "${rest}" "\n```\n" end)
    if(end EQUAL -1)
      message(FATAL_ERROR "${page}: a block of ${language} does not end")
    endif()
    math(EXPR length "${end} + 1")
    string(SUBSTRING "${rest}" 0 ${length} block)
    list(APPEND blocks "${block}")
    string(SUBSTRING "${rest}" ${end} -1 rest)
    string(FIND "${rest}" "${fence}" begin)
  endwhile()
  if(NOT blocks)
    message(FATAL_ERROR "${page}: no block of ${language}")
  endif()
  set(${result} "${blocks}" PARENT_SCOPE)
endfunction()

# mc_plain(BLOCK RESULT): the text of a block of mc_blocks, as the page has it.
function(mc_plain block result)
  string(REPLACE "${mc_semicolon}" ";" block "${block}")
  string(REPLACE "${mc_opening}" "[" block "${block}")
  string(REPLACE "${mc_closing}" "]" block "${block}")
  set(${result} "${block}" PARENT_SCOPE)
endfunction()
