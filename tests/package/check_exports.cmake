# Fails when libbasalt exports more than its installed headers declare: a symbol of the
# standard library's namespaces (an instantiation that leaked through the library's
# interface), or BASALT_API on a declaration that no installed header carries.
#   -DLIBRARY=<libbasalt.so> -DSOURCE_DIR=<repository> -DHEADERS=<installed headers, ;-list>

cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND nm -D --defined-only "${LIBRARY}" OUTPUT_VARIABLE symbols
                RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm -D ${LIBRARY} failed")
endif()
# Mangled names in std:: or __gnu_cxx::, members and their vtables, type information, guard
# variables and local statics included.
string(REGEX MATCHALL "[^ \n]+ _Z(T[VTIS]|GV|TH|TW)?Z?(N[rVK]*[RO]?)?(S[tabsiod]|9__gnu_cxx)[^\n]*"
       leaked "${symbols}")
if(leaked)
  list(TRANSFORM leaked REPLACE "^[^ ]+ |@.*" "")
  execute_process(COMMAND c++filt ${leaked} OUTPUT_VARIABLE names)
  message(FATAL_ERROR "libbasalt exports symbols of the standard library:\n${names}")
endif()

file(GLOB_RECURSE sources RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/basalt/*.h" "${SOURCE_DIR}/basalt/*.cpp")
set(stray "")
foreach(source IN LISTS sources)
  if(source IN_LIST HEADERS OR source STREQUAL "basalt/export.h")
    continue()
  endif()
  file(STRINGS "${SOURCE_DIR}/${source}" marked REGEX "BASALT_API")
  if(marked)
    list(APPEND stray "${source}")
  endif()
endforeach()
if(stray)
  string(REPLACE ";" "\n  " stray "${stray}")
  message(FATAL_ERROR "BASALT_API outside the installed headers exports what no client can "
                      "declare:\n  ${stray}")
endif()
string(REGEX MATCHALL "\n" lines "${symbols}")
list(LENGTH lines count)
message(STATUS "libbasalt exports ${count} symbols, none of the standard library")
