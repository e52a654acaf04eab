#include "basalt/logging/log_app.h"

#include <algorithm>
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
  // In front of an entry of the same name, as a lower bound finds it.
  const auto place =
      std::lower_bound(components.begin(), components.end(), entry.get(), CompareComponent());
  *components.insert(place, nullptr) = entry.release();
  ++componentCount;
}

CoreLog::VerbosityType* LogApp::findComponent(const KELPString& name) {
  const auto place =
      std::lower_bound(components.begin(), components.end(), name, CompareComponent());
  if (place != components.end() && !nameBefore(name, (*place)->name)) {
    return &(*place)->verbosity;
  }
  return &verbosity;
}

} // namespace basalt
