# Writes a page for doxygen in which each family is a group that holds its headers. Run at the root of the sources with
# -DOUTPUT=FILE.
cmake_minimum_required(VERSION 3.16)
include(cmake/Families.cmake)

set(page "")
foreach(family IN LISTS OSTREL_FAMILIES)
  string(APPEND page "/** \\defgroup ${family} ${OSTREL_${family}_TITLE} */\n")
  foreach(header IN LISTS OSTREL_${family}_HEADERS)
    string(APPEND page "/** \\file ${header}\n * \\ingroup ${family} */\n")
  endforeach()
endforeach()
file(WRITE ${OUTPUT} "${page}")
