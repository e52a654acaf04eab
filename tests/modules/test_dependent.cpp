// A plugin that needs libtest_dependency.so and has no run path to find it.
extern "C" int basalt_test_dependency_value();

extern "C" __attribute__((visibility("default"))) int basalt_test_dependent_answer() {
  return basalt_test_dependency_value();
}
