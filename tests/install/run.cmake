# Installs the built library into a scratch prefix, then configures, builds and runs a consumer
# that finds it with find_package(vantorel CONFIG REQUIRED).
file(REMOVE_RECURSE "${VANTOREL_SCRATCH}")
set(prefix "${VANTOREL_SCRATCH}/prefix")
set(build "${VANTOREL_SCRATCH}/build")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " line "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${line}\n${out}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install "${VANTOREL_BUILD_DIR}" --prefix "${prefix}")
string(REPLACE ";" " " flags "${VANTOREL_CXX_FLAGS}")
run(${CMAKE_COMMAND} -S "${VANTOREL_CONSUMER_DIR}" -B "${build}"
  "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_COMPILER=${VANTOREL_CXX_COMPILER}"
  "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build "${build}")
execute_process(COMMAND "${build}/consumer" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "a\n\nb\n")
  message(FATAL_ERROR "consumer failed (${rc}): [${out}] ${err}")
endif()
message(STATUS "consumer built against the installed package and ran")
