#include "basalt/platform/base/debug_output.h"

#include "basalt/platform/base/utf8.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace basalt::platform {
namespace {

std::atomic<DebugOutputHook> hook{nullptr};

bool toStandardError() {
  const char* value = std::getenv("BASALT_DEBUG_OUTPUT");
  return value != nullptr && *value != '\0' && std::strcmp(value, "0") != 0;
}

} // namespace

void OutputDebugStringW(LPCWSTR text) {
  const DebugOutputHook current = hook.load();
  const bool standardError = toStandardError();
  if (text == nullptr || (current == nullptr && !standardError)) {
    return;
  }
  const std::string line = utf8::encode(text);
  if (current != nullptr) {
    current(line.c_str());
  }
  if (standardError) {
    std::fputs(line.c_str(), stderr);
  }
}

void setDebugOutputHook(DebugOutputHook newHook) {
  hook.store(newHook);
}

void outputDebugTrace(const char* text) {
  const std::string line = std::string("basalt: ") + text + "\n";
  const std::basic_string<WCHAR> wide(line.begin(), line.end());
  OutputDebugStringW(wide.c_str());
}

} // namespace basalt::platform
