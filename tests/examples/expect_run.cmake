# Runs COMMAND and fails unless it exits with STATUS and prints, to either stream, what the regular
# expression OUTPUT describes.
execute_process(COMMAND ${COMMAND}
  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
if(NOT status STREQUAL STATUS)
  message(FATAL_ERROR "exit status ${status}, not ${STATUS}\n${output}${errors}")
endif()
if(NOT "${output}${errors}" MATCHES "${OUTPUT}")
  message(FATAL_ERROR "the output does not match ${OUTPUT}:\n${output}${errors}")
endif()
