#include "basalt/platform/registry/registry_store.h"

#include "basalt/platform/nls/code_pages.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/platform/runtime/event_log.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace basalt::platform {
namespace {

constexpr char defaultFile[] = "/etc/basalt/registry.reg";
constexpr char defaultDirectory[] = "/etc/basalt/registry.d";
constexpr char eventSourceName[] = "basalt registry";
constexpr off_t maxFileSize = off_t{64} << 20;

struct FileStamp {
  dev_t device;
  ino_t inode;
  std::int64_t modified; // nanoseconds since the Unix epoch
  off_t size;

  bool operator==(const FileStamp& other) const {
    return device == other.device && inode == other.inode && modified == other.modified &&
           size == other.size;
  }
};

struct ParsedFile {
  FileStamp stamp;
  std::vector<RegOperation> operations;
  std::vector<RegFileProblem> problems;
};

WString widen(const std::string& utf8) {
  WString text(utf8.size(), 0);
  const int count =
      utf8.empty() ? 0
                   : MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()),
                                         text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(count));
  return text;
}

void report(WORD type, DWORD event, const std::vector<std::string>& strings) {
  const WString source = widen(eventSourceName);
  HANDLE log = RegisterEventSourceW(nullptr, source.c_str());
  if (log == nullptr) {
    return;
  }
  std::vector<WString> wide;
  std::vector<LPCWSTR> pointers;
  wide.reserve(strings.size());
  pointers.reserve(strings.size());
  for (const std::string& text : strings) {
    wide.push_back(widen(text));
  }
  for (const WString& text : wide) {
    pointers.push_back(text.c_str());
  }
  ReportEventW(log, type, 0, event, nullptr, static_cast<WORD>(pointers.size()), 0, pointers.data(),
               nullptr);
  DeregisterEventSource(log);
}

std::string joinPath(const std::string& directory, const std::string& name) {
  return !directory.empty() && directory.back() == '/' ? directory + name : directory + "/" + name;
}

bool isRegFileName(const std::string& name) {
  constexpr std::size_t suffix = 4;
  return name.size() > suffix && name[0] != '.' &&
         name.compare(name.size() - suffix, suffix, ".reg") == 0;
}

class RegistryStore {
public:
  // sources, when not null, receives every source looked at and its problems.
  std::shared_ptr<const RegistryTree> current(std::vector<RegistrySource>* sources) {
    std::lock_guard<std::mutex> lock(mutex);
    inspected = sources;
    std::vector<std::shared_ptr<const ParsedFile>> inputs;
    std::map<std::string, std::shared_ptr<const ParsedFile>> used;
    collect(inputs, used);
    inspected = nullptr;
    cache = std::move(used);
    if (tree == nullptr || inputs != lastInputs) {
      auto built = std::make_shared<RegistryTree>();
      for (const auto& file : inputs) {
        built->apply(file->operations);
      }
      tree = std::move(built);
      lastInputs = std::move(inputs);
    }
    return tree;
  }

private:
  using Inputs = std::vector<std::shared_ptr<const ParsedFile>>;
  using Used = std::map<std::string, std::shared_ptr<const ParsedFile>>;

  void collect(Inputs& inputs, Used& used) {
    const char* list = std::getenv("BASALT_REGISTRY");
    if (list == nullptr) {
      addFile(defaultFile, false, inputs, used);
      struct stat status {};
      if (::stat(defaultDirectory, &status) == 0 && S_ISDIR(status.st_mode)) {
        addDirectory(defaultDirectory, inputs, used);
      }
      return;
    }
    const std::string sources = list;
    for (std::size_t start = 0; start <= sources.size();) {
      std::size_t end = sources.find(':', start);
      if (end == std::string::npos) {
        end = sources.size();
      }
      const std::string path = sources.substr(start, end - start);
      start = end + 1;
      if (path.empty()) {
        continue;
      }
      struct stat status {};
      if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        addDirectory(path, inputs, used);
      } else {
        addFile(path, true, inputs, used);
      }
    }
  }

  void addDirectory(const std::string& path, Inputs& inputs, Used& used) {
    DIR* directory = ::opendir(path.c_str());
    if (directory == nullptr) {
      reportFailure(path, std::string("the directory can't be read: ") + std::strerror(errno));
      return;
    }
    forgetFailure(path);
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(directory)) {
      if (isRegFileName(entry->d_name)) {
        names.emplace_back(entry->d_name);
      }
    }
    ::closedir(directory);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
      // A file that went away since the listing is simply no longer there.
      addFile(joinPath(path, name), false, inputs, used);
    }
  }

  void addFile(const std::string& path, bool mustExist, Inputs& inputs, Used& used) {
    if (auto file = load(path, mustExist)) {
      if (inspected != nullptr) {
        inspected->push_back(RegistrySource{path, file->problems});
      }
      inputs.push_back(file);
      used[path] = std::move(file);
    }
  }

  std::shared_ptr<const ParsedFile> load(const std::string& path, bool mustExist) {
    // Non-blocking, so that a FIFO in the list can't hang the open.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
      if (errno == ENOENT && !mustExist) {
        forgetFailure(path);
      } else {
        reportFailure(path, std::string("the file can't be opened: ") + std::strerror(errno));
      }
      return nullptr;
    }
    std::shared_ptr<const ParsedFile> file = readFile(path, fd);
    ::close(fd);
    return file;
  }

  std::shared_ptr<const ParsedFile> readFile(const std::string& path, int fd) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
      reportFailure(path, std::string("the file can't be read: ") + std::strerror(errno));
      return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
      reportFailure(path, "not a regular file");
      return nullptr;
    }
    if (status.st_size > maxFileSize) {
      reportFailure(path, "the file is larger than 64 MiB");
      return nullptr;
    }
    const FileStamp stamp{status.st_dev, status.st_ino,
                          std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec,
                          status.st_size};
    auto cached = cache.find(path);
    if (cached != cache.end() && cached->second->stamp == stamp) {
      return cached->second;
    }
    std::string bytes;
    char buffer[65536];
    while (true) {
      const ssize_t count = ::read(fd, buffer, sizeof(buffer));
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count < 0) {
        reportFailure(path, std::string("the file can't be read: ") + std::strerror(errno));
        return nullptr;
      }
      if (count == 0 || bytes.size() > static_cast<std::size_t>(maxFileSize)) {
        break;
      }
      bytes.append(buffer, static_cast<std::size_t>(count));
    }
    forgetFailure(path);
    RegFileContents contents = parseRegFile(bytes, GetACP());
    for (const RegFileProblem& problem : contents.problems) {
      if (problem.line == 0) {
        report(EVENTLOG_ERROR_TYPE, registryFileUnreadableEvent, {path, problem.what});
      } else {
        report(EVENTLOG_WARNING_TYPE, registryLineSkippedEvent,
               {path, std::to_string(problem.line), problem.what});
      }
    }
    return std::make_shared<const ParsedFile>(
        ParsedFile{stamp, std::move(contents.operations), std::move(contents.problems)});
  }

  // A failure is reported when it is new for its path, not again while it lasts.
  void reportFailure(const std::string& path, const std::string& what) {
    if (inspected != nullptr) {
      inspected->push_back(RegistrySource{path, {RegFileProblem{0, what}}});
    }
    auto [at, inserted] = failures.emplace(path, what);
    if (!inserted && at->second == what) {
      return;
    }
    at->second = what;
    report(EVENTLOG_ERROR_TYPE, registryFileUnreadableEvent, {path, what});
  }

  void forgetFailure(const std::string& path) { failures.erase(path); }

  std::mutex mutex;
  Used cache;
  Inputs lastInputs;
  std::shared_ptr<const RegistryTree> tree;
  std::map<std::string, std::string> failures;
  std::vector<RegistrySource>* inspected = nullptr;
};

} // namespace

// Made on first use and freed only by releaseRegistry, so that the registry can be read
// until the last step of unloading.
std::atomic<RegistryStore*> storeInstance{nullptr};

RegistryStore& store() {
  static RegistryStore* const made = [] {
    auto* instance = new RegistryStore;
    storeInstance.store(instance);
    return instance;
  }();
  return *made;
}

void releaseRegistry() {
  delete storeInstance.exchange(nullptr);
}

std::shared_ptr<const RegistryTree> currentRegistry() {
  return store().current(nullptr);
}

RegistryInspection inspectRegistry() {
  RegistryInspection inspection;
  inspection.tree = store().current(&inspection.sources);
  return inspection;
}

} // namespace basalt::platform
