#ifndef BASALT_EXAMPLES_DEMO_ENVIRONMENT_H
#define BASALT_EXAMPLES_DEMO_ENVIRONMENT_H

// What the demo client sets up around itself: its registry, its event file and a directory
// for its log file, all before the log's first use, which is when the log reads them.

#include <string>
#include <vector>

namespace demo {

struct Environment {
  // A fresh directory for the demo's files; empty when the caller's settings were all kept.
  std::string directory;
  // One line for each setting, saying where it came from.
  std::vector<std::string> settings;
};

// Points BASALT_REGISTRY at sampleRegistry and BASALT_EVENTLOG at a file in a fresh
// directory, each unless the caller has set it. With the sample registry, TMPDIR becomes that
// directory too, so the registry's bare LogFile name lands there.
Environment prepareEnvironment(const char* sampleRegistry);

// The log file as the log opens it: the registry's LogFile, a bare name taken in the
// directory for temporary files. Empty when LogFile isn't set.
std::string logFilePath();

// Empty when BASALT_EVENTLOG isn't set.
std::string eventFilePath();

// The whole file; false when it can't be read.
bool readWholeFile(const std::string& path, std::string& contents);

} // namespace demo

#endif
