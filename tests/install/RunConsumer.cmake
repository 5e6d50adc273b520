# cmake -P script of the install_consumer test: install, configure, build, run.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
if(NOT EXISTS "${prefix}/include/ideshell/foundation/IDEEvent.h")
  message(FATAL_ERROR "the headers were not installed under include/ideshell")
endif()
run("configure the consumer" ${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/consumer"
  "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}"
  "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}")
run("build the consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/consumer")
run("run the consumer" "${WORK_DIR}/consumer/consumer")
if(NOT last_output MATCHES "root: 2 children")
  message(FATAL_ERROR "unexpected output of the consumer: ${last_output}")
endif()
