#include "basalt/logging/log_app.h"

#include <cstddef>
#include <memory>

namespace basalt {

LogModule::LogModule(const KELPString& name, CoreLog::VerbosityType verbosity)
    : name(name), verbosity(verbosity) {}

LogApp::LogApp(const KELPString& name) : name(name) {}

LogApp::~LogApp() {
  for (LogModule* component : components) {
    delete component;
  }
}

void LogApp::addComponent(const KELPString& name, CoreLog::VerbosityType verbosity) {
  auto entry = std::make_unique<LogModule>(name, verbosity);
  // Room first, so that the two tables can't fall out of step.
  components.reserve(components.size() + 1);
  componentKeys.reserve(components.size() + 1);
  const auto place =
      static_cast<std::ptrdiff_t>(searchByName(componentKeys, components, name).place);
  componentKeys.insert(componentKeys.begin() + place, nameKey(name));
  components.insert(components.begin() + place, entry.release());
  ++componentCount;
}

CoreLog::VerbosityType* LogApp::findComponent(const KELPString& name) {
  LogModule* component = findByName(componentKeys, components, name);
  return component != nullptr ? &component->verbosity : &verbosity;
}

} // namespace basalt
