# Runs PROGRAM under GDB, which finds the printers beside it, and compares what it shows with EXPECTED.
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

get_filename_component(folder ${PROGRAM} DIRECTORY)
# gdb shows texts in the encoding of its surroundings.
set(ENV{LC_ALL} C.UTF-8)
run(${GDB} -nx -batch -iex "set auto-load safe-path ${folder}" -x ${SCRIPT} ${PROGRAM})
if(output MATCHES "Traceback|Python Exception")
  message(FATAL_ERROR "the printers failed:\n${output}")
endif()
run(${CMAKE_COMMAND} -E compare_files ${EXPECTED} shown.txt)
