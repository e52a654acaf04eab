cmake_minimum_required(VERSION 3.25)

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

# The operators' tool holds the library's code and names the installed library's directory as
# the one that components search for message DLLs.
set(ENV{BASALT_REGISTRY} "")
execute_process(COMMAND "${prefix}/bin/basalt-admin" message 0x1 OUTPUT_VARIABLE output
                ERROR_QUIET)
file(REAL_PATH "${prefix}/lib" libdir)
string(FIND "${output}" "\nlocation: ${libdir} (libbasalt's directory)" at)
if(at EQUAL -1)
  message(FATAL_ERROR "basalt-admin message 0x1 printed:\n${output}")
endif()

# A product that only builds message DLLs finds the package without a compiler.
run(${CMAKE_COMMAND} -S "${PACKAGE_DIR}/messages" -B "${WORK_DIR}/messages" -G "${GENERATOR}"
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/messages" --target messages)

run(${CMAKE_COMMAND} -S "${PACKAGE_DIR}/consumer" -B "${WORK_DIR}/cmake" -G "${GENERATOR}"
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/cmake")
expect_greeting("${WORK_DIR}/cmake/consumer")

# The short examples build from the package as a user builds them.
unset(ENV{BASALT_REGISTRY})
set(ENV{TMPDIR} "${WORK_DIR}")
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}/examples/basics" -B "${WORK_DIR}/examples"
    -G "${GENERATOR}" -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/examples")
foreach(example log_and_error registry_read thread_pool xml_document files_and_modules)
  run("${WORK_DIR}/examples/${example}")
endforeach()

set(ENV{PKG_CONFIG_PATH} "${prefix}/lib/pkgconfig")
run(pkg-config --cflags --libs basalt)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 "${PACKAGE_DIR}/consumer/main.cpp" ${flags} "-Wl,-rpath,${prefix}/lib"
    -o "${WORK_DIR}/consumer-pkgconfig")
expect_greeting("${WORK_DIR}/consumer-pkgconfig")

# The library alone needs none of the test and benchmark frameworks: as a sub-project, where
# they are off unless asked for, and at the top with them turned off.
set(unfindable -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON
    -DCMAKE_DISABLE_FIND_PACKAGE_spdlog=ON -DCMAKE_DISABLE_FIND_PACKAGE_fmt=ON)
run(${CMAKE_COMMAND} -S "${PACKAGE_DIR}/superproject" -B "${WORK_DIR}/superproject"
    -G "${GENERATOR}" -DCMAKE_CXX_COMPILER=${CXX} -DBASALT_SOURCE_DIR=${SOURCE_DIR} ${unfindable})
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${WORK_DIR}/alone" -G "${GENERATOR}"
    -DCMAKE_CXX_COMPILER=${CXX} -DBASALT_BUILD_TESTS=OFF -DBASALT_BUILD_BENCHMARKS=OFF
    -DBASALT_BUILD_EXAMPLES=OFF ${unfindable})
