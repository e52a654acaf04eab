# Each subsystem folder adds its sources to basalt_obj and names its installed headers here.
function(basalt_public_headers)
  foreach(header IN LISTS ARGN)
    file(RELATIVE_PATH rel "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}/${header}")
    set_property(GLOBAL APPEND PROPERTY BASALT_PUBLIC_HEADERS "${rel}")
  endforeach()
endfunction()

# One GoogleTest executable per subsystem, linked against the library's objects so that
# tests can reach what the shared library keeps hidden.
function(basalt_add_test_suite name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE basalt_obj GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(${name} PRIVATE
    BASALT_TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/data"
    BASALT_BINARY_DIR="${PROJECT_BINARY_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 LABELS ${name})
endfunction()
