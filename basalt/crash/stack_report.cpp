#include "basalt/crash/stack_report.h"

#include "basalt/crash/value_lines.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/loaded_modules.h"
#include "basalt/platform/runtime/environment.h"
#include "basalt/platform/runtime/reporter_thread.h"
#include "basalt/platform/runtime/runtime_time.h"
#include "basalt/platform/runtime/temp_path.h"
#include "basalt/platform/runtime/text_stream.h"
#include "basalt/system/registry_wrapper.h"
#include "basalt/system/system_support.h"

#include <cstdio>
#include <memory>
#include <string>

namespace basalt::crash {

namespace plat = basalt::platform;

namespace {

constexpr std::size_t lineLimit = 1024;
constexpr std::size_t nameLimit = 1024;
constexpr plat::DWORD tempPathLimit = 512;

const char* const rule45 = "_____________________________________________";
const char* const rule60 = "____________________________________________________________";
// The frame block's rule, as wide as its four 64-bit address columns.
const char* const frameRule = "_____________________________________________________________"
                              "_______________________";

struct Bindings {
  decltype(&plat::SymFunctionTableAccess) SymFunctionTableAccess;
  decltype(&plat::SymGetModuleBase) SymGetModuleBase;
  decltype(&plat::SymGetModuleInfo) SymGetModuleInfo;
  decltype(&plat::SymGetOptions) SymGetOptions;
  decltype(&plat::SymGetSymFromAddr) SymGetSymFromAddr;
  decltype(&plat::SymInitialize) SymInitialize;
  decltype(&plat::SymSetOptions) SymSetOptions;
  decltype(&plat::StackWalk) StackWalk;
  decltype(&plat::UnDecorateSymbolName) UnDecorateSymbolName;
  decltype(&plat::SymCleanup) SymCleanup;
  decltype(&plat::MapAndLoad) MapAndLoad;
  decltype(&plat::UnMapAndLoad) UnMapAndLoad;
  decltype(&plat::SymEnumerateModules) SymEnumerateModules;
  decltype(&plat::SymSetContext) SymSetContext;
  decltype(&plat::SymEnumSymbols) SymEnumSymbols;
  decltype(&plat::SymGetTypeInfo) SymGetTypeInfo;
};

// Plain process-wide state: the translator's flag keeps two reports from overlapping.
const void* lastContext = nullptr;
plat::FILE* reportStream = nullptr;
plat::HMODULE imagehlpModule = nullptr;
Bindings imagehlp{};

bool write(const char* text) {
  return plat::fputs(text, reportStream) == 0;
}

bool writeWide(const char* text) {
  return plat::fputws(KELPString(text).c_str(), reportStream) == 0;
}

// A text cut to the line limit is written as far as it goes.
template <class... Values> bool writeFormatted(const char* format, Values... values) {
  char line[lineLimit + 1];
  return std::snprintf(line, sizeof line, format, values...) >= 0 && write(line);
}

template <class Function> bool bind(Function& target, const char* name) {
  target = reinterpret_cast<Function>(plat::GetProcAddress(imagehlpModule, name));
  return target != nullptr;
}

bool writeHeader(plat::time_t now) {
  const char* time = plat::ctime(&now);
  return writeFormatted("\n\n\n %s", rule45) && write("\n\n            Start of Stack Dump") &&
         writeFormatted("\n %s", rule45) && write("\nTime: ") &&
         write(time != nullptr ? time : "\n") && write("\n");
}

std::string searchPath() {
  RegistryWrapper registry;
  KELPString location;
  std::string path;
  if (registry.readRegKeyValue(RegistryWrapper::LocalMachine,
                               "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log", "Location",
                               location, nullptr)) {
    return location.fillString(path);
  }
  const char* variable = plat::getenv("path");
  return variable != nullptr ? variable : "";
}

bool writeFrame(const plat::STACKFRAME& frame, int number) {
  return writeFormatted("\n%s", frameRule) &&
         write("\nFrame FV IP                 RAddr              Frame              Stack ") &&
         writeFormatted("\n%5d %s%s 0x%016llx 0x%016llx 0x%016llx 0x%016llx ", number,
                        frame.Far != 0 ? "F" : "-", frame.Virtual != 0 ? "V" : "-",
                        static_cast<unsigned long long>(frame.AddrPC.Offset),
                        static_cast<unsigned long long>(frame.AddrReturn.Offset),
                        static_cast<unsigned long long>(frame.AddrFrame.Offset),
                        static_cast<unsigned long long>(frame.AddrStack.Offset)) &&
         writeFormatted("\n%s", frameRule);
}

bool writeSymbol(const plat::IMAGEHLP_SYMBOL& symbol, plat::DWORD64 displacement) {
  char name[nameLimit];
  char declaration[nameLimit];
  imagehlp.UnDecorateSymbolName(symbol.Name, name, sizeof name, plat::UNDNAME_NAME_ONLY);
  imagehlp.UnDecorateSymbolName(symbol.Name, declaration, sizeof declaration,
                                plat::UNDNAME_COMPLETE);
  return writeFormatted("\n       Symbol:  %s  %+lld bytes", name,
                        static_cast<long long>(displacement)) &&
         writeFormatted("\n    Decorated:  %s\n  Declaration:  %s\n", symbol.Name, declaration);
}

// The walk of steps 5 to 9; false when a write failed.
bool walk(plat::HANDLE process, plat::HANDLE thread, plat::CONTEXT* context,
          plat::STACKFRAME& frame, plat::IMAGEHLP_SYMBOL& symbol) {
  if (!writeWide("\nEnumerating Modules loaded for Stacktracing: \n")) {
    return false;
  }
  if (imagehlp.SymEnumerateModules(process, writeModuleEntry, nullptr) == 0) {
    if (!write("SymEnumerateModules returned error : ")) {
      return false;
    }
    writeLastError();
  }
  if (!writeLegend()) {
    return false;
  }
  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = sizeof module;
  plat::DWORD64 lastModuleBase = 0;
  ValueLines values(process, reportStream,
                    {imagehlp.MapAndLoad, imagehlp.UnMapAndLoad, imagehlp.SymSetContext,
                     imagehlp.SymEnumSymbols, imagehlp.SymGetTypeInfo});
  for (int number = 0;; ++number) {
    if (imagehlp.StackWalk(plat::IMAGE_FILE_MACHINE_AMD64, process, thread, &frame, context,
                           nullptr, imagehlp.SymFunctionTableAccess, imagehlp.SymGetModuleBase,
                           nullptr) == 0) {
      return true;
    }
    if (imagehlp.SymGetModuleInfo(process, frame.AddrPC.Offset, &module) == 0) {
      if (!writeWide("\n SymGetModuleInfo failed: ")) {
        return false;
      }
      writeLastError();
    } else if (module.BaseOfImage != lastModuleBase) {
      lastModuleBase = module.BaseOfImage;
      if (!writeModuleInfo(&module) || !values.writeGlobals(module)) {
        return false;
      }
    }
    if (!writeFrame(frame, number)) {
      return false;
    }
    if (frame.AddrPC.Offset == 0) {
      write(" -No symbols retrieved- \n");
    } else {
      plat::DWORD64 displacement = 0;
      if (imagehlp.SymGetSymFromAddr(process, frame.AddrPC.Offset, &displacement, &symbol) != 0) {
        if (!writeSymbol(symbol, displacement)) {
          return false;
        }
        values.writeLocals(frame, symbol, displacement, number > 0);
      } else if (plat::GetLastError() != plat::ERROR_INVALID_ADDRESS) {
        writeLastError();
      }
    }
    if (frame.AddrReturn.Offset == 0) {
      return true;
    }
  }
}

// All that the report needs of the faulting thread, copied: the report is written on the
// reporter thread, which reads nothing else of the faulting thread but its stack.
struct ReportRequest {
  plat::CONTEXT context;
  bool hasContext;
  plat::HANDLE thread;
  plat::time_t time;
};

// Steps 1 to 4 of the report, async-signal-safe; false when the context was the last one's.
bool takeRequest(plat::CONTEXT* context, ReportRequest& request) {
  if (context == lastContext) {
    return false;
  }
  lastContext = context;
  request.hasContext = context != nullptr;
  if (context != nullptr) {
    request.context = *context;
  }
  request.thread = plat::GetCurrentThread();
  plat::_timeb now{};
  plat::_ftime(&now);
  request.time = now.time;
  return true;
}

// The rest of the report, from the file's name to its closing.
void writeReport(ReportRequest& request) {
  plat::WCHAR buffer[tempPathLimit] = {};
  const plat::DWORD length = plat::GetTempPathW(tempPathLimit, buffer);
  KELPString path;
  if (length > 0 && length < tempPathLimit) {
    path.assign(buffer, length);
    path += KELPString(path[length - 1] == '\\' ? "LowmarshTrace.log" : "\\LowmarshTrace.log");
  } else {
    path = "LowmarshTrace.log";
  }
  reportStream = plat::_wfopen(path.c_str(), KELPString("a+").c_str());
  if (reportStream == nullptr) {
    return;
  }
  if (writeHeader(request.time)) {
    if (imagehlpModule == nullptr && bindImagehlp() == 0) {
      if (write("Failed to bind Imagehlp library\n")) {
        writeLastError();
      }
    } else {
      traceStack(request.thread, request.hasContext ? &request.context : nullptr);
    }
  }
  plat::fclose(reportStream);
  reportStream = nullptr;
}

void writeRequestedReport(void* request) {
  writeReport(*static_cast<ReportRequest*>(request));
}

} // namespace

void writeStackReport(plat::CONTEXT* context) {
  ReportRequest request{};
  if (takeRequest(context, request) &&
      !plat::runOnReporterThread(writeRequestedReport, &request, sizeof request)) {
    writeReport(request);
  }
}

void writeStackReportFromHandler(plat::CONTEXT* context) {
  ReportRequest request{};
  if (takeRequest(context, request)) {
    plat::runOnReporterThread(writeRequestedReport, &request, sizeof request);
  }
}

void traceStack(plat::HANDLE thread, plat::CONTEXT* context) {
  const plat::HANDLE process = plat::GetCurrentProcess();
  frame::printedGlobals().reserve(4);
  const std::unique_ptr<unsigned char[]> symbolBlock(
      new unsigned char[sizeof(plat::IMAGEHLP_SYMBOL) + nameLimit]());
  auto* symbol = reinterpret_cast<plat::IMAGEHLP_SYMBOL*>(symbolBlock.get());
  symbol->SizeOfStruct = sizeof(plat::IMAGEHLP_SYMBOL);
  symbol->MaxNameLength = nameLimit;
  const std::string path = searchPath();

  plat::STACKFRAME frame{};
  if (context != nullptr) {
    frame.AddrPC.Offset = context->Rip;
    frame.AddrFrame.Offset = context->Rbp;
    frame.AddrStack.Offset = context->Rsp;
  }
  frame.AddrPC.Mode = plat::AddrModeFlat;
  frame.AddrFrame.Mode = plat::AddrModeFlat;
  frame.AddrStack.Mode = plat::AddrModeFlat;

  // Decorated names from SymGetSymFromAddr: UnDecorateSymbolName makes both forms.
  imagehlp.SymSetOptions(imagehlp.SymGetOptions() & plat::SYMOPT_DEFERRED_LOADS);
  const bool initialised =
      imagehlp.SymInitialize(process, path.empty() ? nullptr : path.c_str(), plat::TRUE) != 0;
  if (!initialised) {
    if (write("\nError Initializing Symbol Information for stack trace: ")) {
      writeLastError();
    }
  } else if (context != nullptr) {
    walk(process, thread, context, frame, *symbol);
  }
  imagehlp.SymCleanup(process);
  if (writeFormatted(" \n%s", rule45)) {
    writeFormatted(" \n%s\n\n\n\n\n", rule45);
  }
}

int bindImagehlp() {
  imagehlpModule = plat::LoadLibraryW(KELPString("imagehlp.dll").c_str());
  if (imagehlpModule == nullptr) {
    return 0;
  }
  // Every name is looked up before any result is tested.
  const bool bound[] = {
      bind(imagehlp.SymFunctionTableAccess, "SymFunctionTableAccess"),
      bind(imagehlp.SymGetModuleBase, "SymGetModuleBase"),
      bind(imagehlp.SymGetModuleInfo, "SymGetModuleInfo"),
      bind(imagehlp.SymGetOptions, "SymGetOptions"),
      bind(imagehlp.SymGetSymFromAddr, "SymGetSymFromAddr"),
      bind(imagehlp.SymInitialize, "SymInitialize"),
      bind(imagehlp.SymSetOptions, "SymSetOptions"),
      bind(imagehlp.StackWalk, "StackWalk"),
      bind(imagehlp.UnDecorateSymbolName, "UnDecorateSymbolName"),
      bind(imagehlp.SymCleanup, "SymCleanup"),
      bind(imagehlp.MapAndLoad, "MapAndLoad"),
      bind(imagehlp.UnMapAndLoad, "UnMapAndLoad"),
      bind(imagehlp.SymEnumerateModules, "SymEnumerateModules"),
      bind(imagehlp.SymSetContext, "SymSetContext"),
      bind(imagehlp.SymEnumSymbols, "SymEnumSymbols"),
      bind(imagehlp.SymGetTypeInfo, "SymGetTypeInfo"),
  };
  for (const bool found : bound) {
    if (!found) {
      plat::FreeLibrary(imagehlpModule);
      imagehlpModule = nullptr;
      return 0;
    }
  }
  return 1;
}

void writeLastError() {
  KELPString text;
  SystemSupport::FormatLastError(text);
  plat::fputws(text.c_str(), reportStream);
}

bool writeLegend() {
  static const char* const lines[] = {
      "\nStackwalk output\t\t: Frame = frame number\n",
      "\t\t\t\t: F     = WOW far call\n",
      "\t\t\t\t: V     = virtual frame\n",
      "\t\t\t\t: IP    = instruction pointer\n",
      "\t\t\t\t: RAddr = return address\n",
      "\t\t\t\t: Frame = frame pointer\n",
      "\t\t\t\t: Stack = stack pointer\n",
      "\n\nNote: a simple type-checking is used when outputting local variables:",
      "\nwhere a standard type is recognized, it is given with the variable name.",
      "\nThis should only be used as a guide.",
  };
  for (const char* line : lines) {
    if (!write(line)) {
      return false;
    }
  }
  return true;
}

bool writeModuleInfo(plat::IMAGEHLP_MODULE* module) {
  KELPString typeName;
  symbolTypeName(module->SymType, typeName);
  std::string type;
  typeName.fillString(type);
  const plat::time_t stamp = module->TimeDateStamp;
  const char* created = plat::ctime(&stamp);
  return writeFormatted("\n\n %s", rule60) && writeFormatted("\n %s\n", rule60) &&
         writeFormatted("\n              Module:  %s[%s], base: %016llx", module->ModuleName,
                        module->ImageName, static_cast<unsigned long long>(module->BaseOfImage)) &&
         writeFormatted("\n         Symbol type:  %s\n                file:  %s", type.c_str(),
                        module->LoadedImageName) &&
         write("\nCreated by linker on:  ") && write(created != nullptr ? created : "\n") &&
         write("\n");
}

plat::BOOL writeModuleEntry(const char* moduleName, plat::DWORD64 baseOfDll,
                            void* /*userContext*/) {
  char line[512];
  std::snprintf(line, sizeof line, "0x%016llX %s\n", static_cast<unsigned long long>(baseOfDll),
                moduleName);
  return write(line) ? plat::TRUE : plat::FALSE;
}

void symbolTypeName(plat::SYM_TYPE value, KELPString& text) {
  static const char* const names[] = {"None", "COFF", "CV", "PDB", "exported", "deferred", "SYM "};
  if (value >= 0 && value < static_cast<int>(sizeof names / sizeof names[0])) {
    text = names[value];
    return;
  }
  // At most four characters.
  char number[16];
  std::snprintf(number, sizeof number, " %ld", static_cast<long>(value));
  number[4] = '\0';
  text = number;
}

} // namespace basalt::crash
