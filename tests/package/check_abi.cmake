# Compares the installed libbasalt with the committed ABI baseline, abi/libbasalt.abi, and
# fails on any difference: a change of the exported interface must come with a new baseline
# (tools/update-abi-baseline), so that it shows in review. A build without debug information
# is compared by its exported symbols alone.
#   -DABIDIFF=<abidiff> -DBUILD_DIR=<build tree> -DWORK_DIR=<scratch> -DBASELINE=<abi/libbasalt.abi>

cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK_DIR}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK_DIR}"
                OUTPUT_QUIET RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install ${BUILD_DIR} failed")
endif()
execute_process(
  COMMAND "${ABIDIFF}" --headers-dir2 "${WORK_DIR}/include" --drop-private-types "${BASELINE}"
          "${WORK_DIR}/lib/libbasalt.so.1"
  RESULT_VARIABLE result OUTPUT_VARIABLE report ERROR_VARIABLE report)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "libbasalt's ABI differs from abi/libbasalt.abi (abidiff status "
                      "${result}):\n${report}\nIf the change is meant, run tools/update-abi-baseline "
                      "and commit abi/libbasalt.abi with it.")
endif()
