# Runs PROGRAM (a list) and fails unless it ends with STATUS and its output matches TEXT.
execute_process(COMMAND ${PROGRAM} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT status EQUAL STATUS)
  message(FATAL_ERROR "ended with ${status}, expected ${STATUS}:\n${output}")
endif()
if(NOT output MATCHES "${TEXT}")
  message(FATAL_ERROR "'${TEXT}' is not in the output:\n${output}")
endif()
