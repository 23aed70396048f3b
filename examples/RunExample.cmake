# Runs an example program with a fresh, empty folder as its argument; fails
# when the program fails or leaves anything in the folder.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
execute_process(COMMAND ${PROGRAM} ${WORK_DIR} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} failed (${result})")
endif()
file(GLOB left RELATIVE ${WORK_DIR} ${WORK_DIR}/* ${WORK_DIR}/.*)
if(left)
    message(FATAL_ERROR "${PROGRAM} left behind: ${left}")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
