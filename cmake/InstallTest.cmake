# cmake -D BUILD_DIR=... -D CONSUMER_DIR=... -D WORK_DIR=... -D GENERATOR=... -P InstallTest.cmake
#
# Installs the build into a prefix of its own, configures and builds the consumer project against it, and runs the
# consumer's tests.

file(REMOVE_RECURSE ${WORK_DIR})
set(PREFIX ${WORK_DIR}/prefix)

foreach(STEP
    "--install;${BUILD_DIR};--prefix;${PREFIX}"
    "-S;${CONSUMER_DIR};-B;${WORK_DIR}/build;-G;${GENERATOR};-DCMAKE_BUILD_TYPE=Release;-DCMAKE_PREFIX_PATH=${PREFIX};-DCMAKE_CXX_FLAGS=-Werror"
    "--build;${WORK_DIR}/build"
    "--build;${WORK_DIR}/build;--target;test")
    execute_process(COMMAND ${CMAKE_COMMAND} ${STEP} RESULT_VARIABLE RESULT OUTPUT_VARIABLE OUTPUT ERROR_VARIABLE OUTPUT)
    if(NOT RESULT EQUAL 0)
        message(FATAL_ERROR "cmake ${STEP}: ${RESULT}\n${OUTPUT}")
    endif()
endforeach()
