// A client component's first steps with basalt: text in its three outside forms, then the log
// from its registry configuration to the lines in its file, and errors that carry numbers
// and inserts and get their words from a message library only when asked; then a thread pool
// at work, and a fault that arrives as an error with its stack report.
//
// Unless the caller has set them, the demo points BASALT_REGISTRY at its sample registry and
// BASALT_EVENTLOG at a file of its own before the log's first use.

#include "basalt/basalt.h"
#include "demo_environment.h"
#include "demo_threads.h"

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

using basalt::CoreLog;

// The demo's messages, facility 0x201, in strings_201_xx.dll; the class in the top bits tells
// information (0x4), warning (0x8) and error (0xC).
constexpr std::uint32_t startedMessage = 0x42010101; // "Demo client %1 started, version %2"
constexpr std::uint32_t stepMessage = 0x42010102;    // "Step %1 of %2: %3"
constexpr std::uint32_t cacheMessage = 0x82010103;   // "Cache filled to %1%% with %2 entries"
constexpr std::uint32_t cubeMessage = 0xC2010110;    // "Cannot open the cube %1: %2"
constexpr std::uint32_t refusedMessage = 0xC2010111; // "the server %1 refused ... %2 attempts"
constexpr std::uint32_t timingMessage = 0x42010112;  // "The report %1 took %2 ms"
// No text for this one, and no library at all for facility 0x205.
constexpr std::uint32_t untoldMessage = 0xC20101FF;
constexpr std::uint32_t otherFacilityMessage = 0xC2050001;

const char* levelName(int level) {
  static const char* const names[] = {"off",         "critical", "error", "warning",
                                      "information", "detail",   "all"};
  return level >= 0 && level <= 6 ? names[level] : "?";
}

void logRecord(CoreLog* log, std::uint32_t message, CoreLog::VerbosityType level,
               const char* module, const char* component,
               const std::vector<KELPString>& insertTexts) {
  std::vector<const unsigned short*> inserts;
  inserts.reserve(insertTexts.size());
  for (const KELPString& text : insertTexts) {
    inserts.push_back(text.c_str());
  }
  const bool accepted =
      log->log(message, level, module, component, static_cast<int>(inserts.size()), inserts.data());
  std::printf("  0x%08X at level %d (%s), %s/%s: %s\n", static_cast<unsigned int>(message), level,
              levelName(level), module, *component != '\0' ? component : "-",
              accepted ? "written" : "refused");
}

void showLog(CoreLog* log) {
  std::printf("\n== Log ==\n");
  std::printf("thresholds from the registry (module/component):\n");
  const char* const pairs[][2] = {{"DEMO", ""},      {"DEMO", "Startup"}, {"DEMO", "Timing"},
                                  {"DEMO", "Quiet"}, {"DEMO", "Other"},   {"Storage", ""},
                                  {"demo", ""},      {"Unknown", ""}};
  for (const auto& pair : pairs) {
    const CoreLog::VerbosityType* threshold = log->getModuleVerbosity(pair[0], pair[1]);
    if (threshold == nullptr) {
      std::printf("the log could not be set up\n");
      return;
    }
    std::printf("  %s/%s: %d (%s)\n", pair[0], *pair[1] != '\0' ? pair[1] : "-", *threshold,
                levelName(*threshold));
  }

  std::printf("records:\n");
  logRecord(log, startedMessage, CoreLog::VerbosityInformation, "DEMO", "", {"demo_client", "1.0"});
  logRecord(log, stepMessage, CoreLog::VerbosityDetail, "DEMO", "Startup",
            {"1", "2", "reading the configuration"});
  logRecord(log, stepMessage, CoreLog::VerbosityDetail, "DEMO", "", {"2", "2", "too detailed"});
  logRecord(log, timingMessage, CoreLog::VerbosityAll, "DEMO", "Timing", {"Sales by region", "42"});
  logRecord(log, startedMessage, CoreLog::VerbosityCritical, "DEMO", "Quiet", {"quiet", "0"});
  logRecord(log, cacheMessage, CoreLog::VerbosityWarning, "Storage", "", {"95", "1200"});
  logRecord(log, cacheMessage, CoreLog::VerbosityError, "Storage", "", {"99", "1250"});
  logRecord(log, startedMessage, CoreLog::VerbosityCritical, "demo", "", {"lower case", "0"});
  logRecord(log, otherFacilityMessage, CoreLog::VerbosityError, "DEMO", "", {});
  std::printf("  (deliberately: facility 0x205 has no message library, so the log file says\n"
              "  \"No message obtained\" for it and the event log that the library is missing)\n");

  // get appends a message's text to a string whatever the thresholds say: the line shows the
  // string it started with and then the text of 0x42010102 with three inserts.
  const KELPString done("done");
  const unsigned short* inserts[] = {done.c_str(), done.c_str(), done.c_str()};
  KELPString text("get, unfiltered: ");
  const bool found = log->get(text, stepMessage, 3, inserts);
  std::printf("CoreLog::get appends a text whatever the thresholds say:\n  %s (%s)\n",
              text.string().c_str(), found ? "found" : "no text");
}

// The error of a lower layer, which the demo wraps into its own.
BaseError connectionRefused() {
  BaseError error(refusedMessage, "NETWORK", TRELL_o::AnyError::SeverityWarning,
                  TRELL_o::AnyError::CompletedDefault);
  error.addInsert(KELPString("olap.example.com").c_str());
  error.addNumInsert(3);
  return error;
}

void openCube(CoreLog* log) {
  BaseError error(cubeMessage, "DEMO", TRELL_o::AnyError::SeverityError,
                  TRELL_o::AnyError::CompletedDefault);
  error.addInsert(KELPString("Sales 2024").c_str());
  error.addInsert(connectionRefused());
  // Logged and thrown without a word looked up: the log takes the inserts' texts, and the
  // catch site asks for the error's own text only if it wants one.
  error.log(log);
  throw error;
}

void showErrors(CoreLog* log) {
  std::printf("\n== Errors ==\n");
  try {
    openCube(log);
  } catch (TRELL_o::AnyError& caught) {
    std::printf("caught 0x%08X from module %s, severity %d, %d inserts\n", caught.code(),
                caught.module().string().c_str(), caught.level(), caught.numInserts());
    TRELL_o::AnyErrorInsert* nested = caught.getInsert(1);
    std::printf("insert 2 is the error 0x%08X with %d inserts of its own\n",
                nested != nullptr ? nested->code() : 0U,
                nested != nullptr ? nested->numInserts() : 0);
    std::printf("its text: %s\n", caught.getText(log).string().c_str());
  }

  BaseError untold(untoldMessage, "DEMO", TRELL_o::AnyError::SeverityCritical,
                   TRELL_o::AnyError::CompletedDefault);
  untold.log(log);
  std::printf("an error whose number has no text, deliberately: \"%s\" (the log file says \"No "
              "message obtained\" for it)\n",
              untold.getText(log).string().c_str());
}

void showFile(const char* what, const std::string& path) {
  std::string contents;
  if (path.empty()) {
    std::printf("\n== %s ==\nnot configured\n", what);
  } else if (!demo::readWholeFile(path, contents)) {
    std::printf("\n== %s: %s ==\nnot there (nothing was written to it)\n", what, path.c_str());
  } else {
    std::printf("\n== %s: %s ==\n%s", what, path.c_str(), contents.c_str());
  }
}

} // namespace

int main() {
  // Before anything uses the log: its first use reads the configuration.
  const demo::Environment environment = demo::prepareEnvironment(DEMO_REGISTRY_FILE);
  std::printf("== Environment ==\n");
  for (const std::string& setting : environment.settings) {
    std::printf("%s\n", setting.c_str());
  }
  if (!environment.directory.empty()) {
    std::printf("the demo's files are in %s and stay there\n", environment.directory.c_str());
  }

  showText();
  CoreLog* log = basalt::getLogObject();
  if (log == nullptr) {
    std::printf("no log object: out of memory\n");
    return 1;
  }
  showLog(log);
  showErrors(log);
  demo::showThreadPool();
  demo::showCrashTranslation();
  showFile("Log file", demo::logFilePath());
  std::printf("(the two \"No message obtained\" lines are the deliberate ones above: no library "
              "for 0xC2050001, no text for 0xC20101FF)\n");
  showFile("Event file", demo::eventFilePath());
  std::printf("(the event is deliberate too: the log reports there that facility 0x205 has no "
              "message library)\n");
  return 0;
}
