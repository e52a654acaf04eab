// A library that only the directory of the plugin beside it supplies.
extern "C" __attribute__((visibility("default"))) int basalt_test_dependency_value() {
  return 43;
}
