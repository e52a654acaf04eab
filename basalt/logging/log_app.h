#ifndef BASALT_LOGGING_LOG_APP_H
#define BASALT_LOGGING_LOG_APP_H

#include "basalt/logging/core_log.h"

#include <cstdint>
#include <vector>

namespace basalt {

// A component of a configured module, with the threshold that replaces the module's.
class LogModule {
public:
  LogModule(const KELPString& name, CoreLog::VerbosityType verbosity);

  KELPString name;
  CoreLog::VerbosityType verbosity;
};

// A configured module: its threshold and its components, kept in ascending order of name by
// code unit, case-sensitive.
class LogApp {
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

private:
  std::vector<std::uint64_t> componentKeys; // nameKey of each component, in the same order
};

// The first four units of a name packed into a word whose order is the names' order, so that
// the two searches of every filtered record compare one word a step and read the names only
// when the words tie.
inline std::uint64_t nameKey(const KELPString& name) {
  const unsigned short* unit = name.c_str();
  std::uint64_t key = 0;
  for (int i = 0; i < 4; ++i) {
    key <<= 16;
    if (*unit != 0) {
      key |= *unit++;
    }
  }
  return key;
}

// Compares an entry with a name, both given with their keys: below 0 when the entry comes
// first. Names whose keys tie are the same up to their fourth unit, and the same altogether
// when that unit is the zero that ends them.
template <class Entry>
int compareByName(std::uint64_t entryKey, const Entry* entry, std::uint64_t key,
                  const KELPString& name) {
  if (entryKey != key) {
    return entryKey < key ? -1 : 1;
  }
  if ((key & 0xFFFF) == 0) {
    return 0;
  }
  const unsigned short* x = entry->name.c_str() + 4;
  const unsigned short* y = name.c_str() + 4;
  for (; *x != 0 && *x == *y; ++x, ++y) {
  }
  return static_cast<int>(*x) - static_cast<int>(*y);
}

// Where a name stands in entries, ascending by name with keys[i] == nameKey(entries[i]->name).
struct NamePlace {
  std::size_t place; // the first entry not before the name: in front of any of the same name
  bool found;        // the entry there has the name
};

template <class Entry>
NamePlace searchByName(const std::vector<std::uint64_t>& keys, const std::vector<Entry*>& entries,
                       const KELPString& name) {
  const std::uint64_t key = nameKey(name);
  std::size_t first = 0;
  std::size_t count = keys.size();
  // An equal entry met on the way is enough: everything between the lower bound and it is
  // neither before nor after the name.
  bool found = false;
  while (count > 0) {
    const std::size_t half = count / 2;
    const std::size_t middle = first + half;
    const std::uint64_t middleKey = keys[middle];
    int order = middleKey < key ? -1 : 1;
    if (middleKey == key) {
      order = compareByName(middleKey, entries[middle], key, name);
      found = found || order == 0;
    }
    if (order < 0) {
      first = middle + 1;
      count -= half + 1;
    } else {
      count = half;
    }
  }
  return {first, found};
}

// The entry of that name, or null.
template <class Entry>
Entry* findByName(const std::vector<std::uint64_t>& keys, const std::vector<Entry*>& entries,
                  const KELPString& name) {
  const NamePlace where = searchByName(keys, entries, name);
  return where.found ? entries[where.place] : nullptr;
}

} // namespace basalt

#endif
