# Installs the built library into a fresh prefix, then configures, builds and
# runs a separate project that finds it with find_package(FileSystem).
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "Failed (${result}): ${ARGV}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_RPATH=${prefix}/lib)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
