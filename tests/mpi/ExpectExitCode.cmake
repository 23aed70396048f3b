# Runs COMMAND (its arguments separated by "|") and fails unless it exits with EXPECTED.
string(REPLACE "|" ";" command "${COMMAND}")
execute_process(COMMAND ${command} RESULT_VARIABLE result)
if(NOT result STREQUAL "${EXPECTED}")
    message(FATAL_ERROR "Expected exit code ${EXPECTED}, got '${result}': ${command}")
endif()
