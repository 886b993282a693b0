# PAGE shows PROGRAM whole, word for word. Both are named from the root of the sources.
file(READ ${PAGE} page)
file(READ ${PROGRAM} program)
string(REGEX MATCH "[a-z]+$" language ${PROGRAM})
string(FIND "${page}" "\n```${language}\n${program}```\n" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${PAGE} does not show ${PROGRAM} as it is")
endif()
