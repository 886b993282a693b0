# The indented lines of PAGE, without blank ones, are what PROGRAM (a list) prints, indented or not, word for word.
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

file(READ ${PAGE} page)
string(REGEX REPLACE "\n(    [^\n]*)" "\n>\\1" shown "\n${page}")
string(REGEX REPLACE "\n[^>\n][^\n]*" "" shown "${shown}")
string(REGEX REPLACE "\n+(>    )?" "\n" shown "${shown}")
string(STRIP "${shown}" shown)

run(${PROGRAM})
string(REGEX REPLACE "\n+(    )?" "\n" printed "\n${output}")
string(STRIP "${printed}" printed)
if(NOT shown STREQUAL printed)
  message(FATAL_ERROR "${PAGE} shows\n${shown}\n\nbut its program prints\n${printed}")
endif()
