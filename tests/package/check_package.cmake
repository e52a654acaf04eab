file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

function(expect_greeting program)
  run("${program}")
  if(NOT output MATCHES "consumer: basalt ok")
    message(FATAL_ERROR "${program} printed:\n${output}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# The operators' tool finds the installed library from where it lies.
run("${prefix}/bin/basalt-admin" --help)
if(NOT output MATCHES "^Usage: basalt-admin")
  message(FATAL_ERROR "basalt-admin --help printed:\n${output}")
endif()

run(${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/cmake" -G "${GENERATOR}"
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/cmake")
expect_greeting("${WORK_DIR}/cmake/consumer")

set(ENV{PKG_CONFIG_PATH} "${prefix}/lib/pkgconfig")
run(pkg-config --cflags --libs basalt)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 "${CONSUMER_DIR}/main.cpp" ${flags} "-Wl,-rpath,${prefix}/lib"
    -o "${WORK_DIR}/consumer-pkgconfig")
expect_greeting("${WORK_DIR}/consumer-pkgconfig")
