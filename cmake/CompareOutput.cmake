# Runs PROGRAM and fails unless its standard output is the text of the file EXPECTED.
execute_process(COMMAND "${PROGRAM}" OUTPUT_VARIABLE output RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ended with ${result}")
endif()
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "expected:\n${expected}\ngot:\n${output}")
endif()
