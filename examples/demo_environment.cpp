#include "demo_environment.h"

#include "basalt/basalt.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace demo {
namespace {

// The log's configuration key, below HKEY_LOCAL_MACHINE.
const char logKey[] = "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";

bool isSet(const char* name) {
  return std::getenv(name) != nullptr;
}

std::string makeDirectory() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/basalt-demo-XXXXXX";
  return ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
}

} // namespace

Environment prepareEnvironment(const char* sampleRegistry) {
  Environment environment;
  const bool ownRegistry = !isSet("BASALT_REGISTRY");
  const bool ownEvents = !isSet("BASALT_EVENTLOG");
  if (ownRegistry || ownEvents) {
    environment.directory = makeDirectory();
  }
  if (ownRegistry) {
    ::setenv("BASALT_REGISTRY", sampleRegistry, 1);
    environment.settings.push_back(std::string("BASALT_REGISTRY=") + sampleRegistry +
                                   " (the demo's sample)");
    if (!environment.directory.empty()) {
      ::setenv("TMPDIR", environment.directory.c_str(), 1);
      environment.settings.push_back("TMPDIR=" + environment.directory +
                                     " (where the bare LogFile name goes)");
    }
  } else {
    environment.settings.push_back(std::string("BASALT_REGISTRY=") +
                                   std::getenv("BASALT_REGISTRY") + " (yours)");
  }
  if (ownEvents && !environment.directory.empty()) {
    const std::string events = environment.directory + "/events.jsonl";
    ::setenv("BASALT_EVENTLOG", events.c_str(), 1);
    environment.settings.push_back("BASALT_EVENTLOG=" + events + " (the demo's own)");
  } else if (!ownEvents) {
    environment.settings.push_back(std::string("BASALT_EVENTLOG=") +
                                   std::getenv("BASALT_EVENTLOG") + " (yours)");
  }
  return environment;
}

std::string logFilePath() {
  RegistryWrapper registry;
  KELPString name;
  if (!registry.readRegKeyValue(RegistryWrapper::LocalMachine, logKey, "LogFile", name, nullptr)) {
    return std::string();
  }
  basalt::FileLocator locator(name);
  if (locator.isLocationSet() == 0) {
    locator.setLocationToTemp();
  }
  // The library writes '\' between the parts of a path; the system wants '/'.
  std::string path = locator.getFullFileName().string();
  for (char& c : path) {
    c = c == '\\' ? '/' : c;
  }
  return path;
}

std::string eventFilePath() {
  const char* path = std::getenv("BASALT_EVENTLOG");
  return path != nullptr ? path : std::string();
}

bool readWholeFile(const std::string& path, std::string& contents) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return false;
  }
  contents.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return true;
}

} // namespace demo
