# The example in the README is the program that is built, word for word.
file(READ README.md readme)
file(READ examples/read_setting.cpp example)
string(FIND "${readme}" "```cpp\n${example}```" position)
if(position EQUAL -1)
  message(FATAL_ERROR "README.md does not show examples/read_setting.cpp as it is")
endif()
