#ifndef BASALT_LOGGING_LOG_APP_H
#define BASALT_LOGGING_LOG_APP_H

#include "basalt/logging/core_log.h"

#include <vector>

namespace basalt {

// A component of a configured module, with the threshold that replaces the module's.
class BASALT_API LogModule {
public:
  LogModule(const KELPString& name, CoreLog::VerbosityType verbosity);

  KELPString name;
  CoreLog::VerbosityType verbosity;
};

// A configured module: its threshold and its components, kept in ascending order of name by
// code unit, case-sensitive.
class BASALT_API LogApp {
public:
  explicit LogApp(const KELPString& name);
  ~LogApp();
  LogApp(const LogApp&) = delete;
  LogApp& operator=(const LogApp&) = delete;

  // Inserts in front of any component of the same name.
  void addComponent(const KELPString& name, CoreLog::VerbosityType verbosity);
  // The component's threshold; the module's own when the component is not configured.
  CoreLog::VerbosityType* findComponent(const KELPString& name);

  KELPString name;
  CoreLog::VerbosityType verbosity = CoreLog::VerbosityOff;
  int componentCount = 0;
  std::vector<LogModule*> components; // owned
};

// KELPString::operator< made inline for the two binary searches of every filtered record:
// unit by unit up to the first zero unit, case-sensitive.
inline bool nameBefore(const KELPString& a, const KELPString& b) {
  const unsigned short* x = a.c_str();
  const unsigned short* y = b.c_str();
  for (; *x != 0 && *x == *y; ++x, ++y) {
  }
  return *x < *y;
}

// The orders of the two tables. The second form compares an entry with a bare name, so that
// a look-up copies nothing.
class CompareModule {
public:
  bool operator()(const LogApp* a, const LogApp* b) const { return nameBefore(a->name, b->name); }
  bool operator()(const LogApp* a, const KELPString& name) const {
    return nameBefore(a->name, name);
  }
};

class CompareComponent {
public:
  bool operator()(const LogModule* a, const LogModule* b) const {
    return nameBefore(a->name, b->name);
  }
  bool operator()(const LogModule* a, const KELPString& name) const {
    return nameBefore(a->name, name);
  }
};

} // namespace basalt

#endif
