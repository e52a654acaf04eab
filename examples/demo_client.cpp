// A client component's first steps with basalt: text in its three outside forms, and the
// process's log on a machine where the log is not configured.

#include "basalt/basalt.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

// The units of a string as U+XXXX, for showing what a conversion gave.
std::string unitsOf(const KELPString& text) {
  std::string shown;
  for (const unsigned short unit : text) {
    char code[8];
    std::snprintf(code, sizeof(code), "U+%04X", unit);
    shown += shown.empty() ? code : std::string(" ") + code;
  }
  return shown;
}

std::string bytesOf(const char* bytes, unsigned int count) {
  std::string shown;
  for (unsigned int i = 0; i < count; ++i) {
    char byte[4];
    std::snprintf(byte, sizeof(byte), "%02X", static_cast<unsigned char>(bytes[i]));
    shown += shown.empty() ? byte : std::string(" ") + byte;
  }
  return shown;
}

void showText() {
  std::printf("== Text ==\n");
  const KELPString native("Hello, basalt");
  std::printf("native text \"Hello, basalt\" became %zu units; back to native: \"%s\"\n",
              native.size(), native.string().c_str());

  // e acute and the euro sign, given as units so the demo doesn't depend on the code page.
  KELPString wide("caf");
  wide += static_cast<unsigned short>(0xE9);
  wide += static_cast<unsigned short>(' ');
  wide += static_cast<unsigned short>(0x20AC);
  std::printf("a string of units: %s\n", unitsOf(wide).c_str());

  std::vector<char> utf8(wide.size() * 3 + 1);
  const unsigned int written = wide.toUTF8(utf8.data(), static_cast<unsigned int>(utf8.size()));
  std::printf("as UTF-8, %u bytes: %s (\"%s\")\n", written, bytesOf(utf8.data(), written).c_str(),
              utf8.data());
  std::printf("in this process's code page: %zu bytes\n", wide.string().size());

  unsigned short* bstr = nullptr;
  wide.createBSTR(&bstr);
  if (bstr == nullptr) {
    std::printf("no memory for an automation string\n");
    return;
  }
  std::printf("as an automation string: %u units\n", basalt::platform::SysStringLen(bstr));
  KELPString back;
  back.fillFromBSTR(bstr);
  basalt::platform::SysFreeString(bstr);
  std::printf("read back from it: %s (%s)\n", unitsOf(back).c_str(),
              back == wide ? "the same" : "DIFFERENT");
}

void showLog() {
  using basalt::CoreLog;
  std::printf("\n== Log ==\n");
  CoreLog* log = basalt::getLogObject();
  if (log == nullptr) {
    std::printf("no log object: out of memory\n");
    return;
  }
  std::printf("the process's log object is at %p (the same on every call: %s)\n",
              static_cast<void*>(log), basalt::getLogObject() == log ? "yes" : "no");

  const KELPString module("DEMO");
  const KELPString component("Startup");
  const CoreLog::VerbosityType* threshold = log->getModuleVerbosity(module, component);
  if (threshold == nullptr) {
    std::printf("the log could not be set up\n");
    return;
  }
  std::printf("threshold for module DEMO, component Startup: %d\n", *threshold);

  const KELPString insert("demo_client");
  const unsigned short* inserts[] = {insert.c_str()};
  for (const CoreLog::VerbosityType level :
       {CoreLog::VerbosityCritical, CoreLog::VerbosityInformation, CoreLog::VerbosityAll}) {
    const bool accepted = log->log(0xC2011F03, level, module, component, 1, inserts);
    std::printf("record 0xC2011F03 at level %d: %s\n", level, accepted ? "accepted" : "refused");
  }

  KELPString text("[kept] ");
  const bool found = log->get(text, 0xC2011F03, 1, inserts);
  std::printf("text of message 0xC2011F03: %s; the caller's string is \"%s\"\n",
              found ? "found" : "not found", text.string().c_str());
}

} // namespace

int main() {
  showText();
  showLog();
  return 0;
}
