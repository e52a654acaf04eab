#ifndef BASALT_TESTS_CRASH_REPORT_TEXT_H
#define BASALT_TESTS_CRASH_REPORT_TEXT_H

// What the crash tests look for in a report's text.

#include <cstddef>
#include <string>

namespace basalt::test {

// The last two lines of every report.
inline const char* const reportTrailer = " \n_____________________________________________ \n"
                                         "_____________________________________________\n\n\n\n\n";

inline std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

} // namespace basalt::test

#endif
