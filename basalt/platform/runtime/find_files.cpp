#include "basalt/platform/runtime/find_files.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace basalt::platform {
namespace {

// The elements of a name pattern after the rewriting that Windows does before it matches:
// '?' always, and '*' or '.' next to a wildcard or at the end, take their MS-DOS meanings.
enum class Token {
  literal,
  star,        // any run of characters
  dosStar,     // any run of characters that doesn't take the name's last dot
  dosQuestion, // one character, or none at a dot or at the end of the name
  dosDot       // a dot, or nothing at the end of the name
};

struct PatternElement {
  Token token;
  WCHAR unit;
};

constexpr WCHAR dot = '.';

bool hasWildcards(const WideString& component) {
  return component.find_first_of(WideString{'*', '?'}) != WideString::npos;
}

// A compiled pattern and the room its matching needs, used for every name of a listing.
class NamePattern {
public:
  explicit NamePattern(const WideString& component) {
    for (std::size_t i = 0; i < component.size(); ++i) {
      const WCHAR unit = component[i];
      const WCHAR next = i + 1 < component.size() ? component[i + 1] : 0;
      Token token = Token::literal;
      if (unit == '?') {
        token = Token::dosQuestion;
      } else if (unit == '*') {
        token = next == dot ? Token::dosStar : Token::star;
      } else if (unit == dot && (next == '*' || next == '?' || next == 0)) {
        token = Token::dosDot;
      }
      elements.push_back({token, unit});
    }
  }

  // Dynamic programming from the ends, one row of the pattern at a time, so no pattern can
  // make the match take more than pattern length times name length steps.
  bool matches(const WideString& name) {
    const std::size_t length = name.size();
    const std::size_t lastDot = name.rfind(dot);
    below.assign(length + 1, 0); // row i + 1
    row.assign(length + 1, 0);   // row i
    below[length] = 1;
    for (std::size_t i = elements.size(); i-- > 0;) {
      const PatternElement& element = elements[i];
      for (std::size_t j = length + 1; j-- > 0;) {
        const bool atEnd = j == length;
        const bool atDot = !atEnd && name[j] == dot;
        bool result = false;
        switch (element.token) {
        case Token::literal:
          result = !atEnd && name[j] == element.unit && below[j + 1] != 0;
          break;
        case Token::star:
          result = below[j] != 0 || (!atEnd && row[j + 1] != 0);
          break;
        case Token::dosStar:
          result = below[j] != 0 || (!atEnd && j != lastDot && row[j + 1] != 0);
          break;
        case Token::dosQuestion:
          result = (atEnd || atDot) ? below[j] != 0 : below[j + 1] != 0;
          break;
        case Token::dosDot:
          result = atEnd ? below[j] != 0 : atDot && below[j + 1] != 0;
          break;
        }
        row[j] = result ? 1 : 0;
      }
      std::swap(below, row);
    }
    return below[0] != 0;
  }

private:
  std::vector<PatternElement> elements;
  std::vector<char> below;
  std::vector<char> row;
};

struct FindState {
  std::vector<std::string> names;
  std::size_t next = 0;
};

DWORD errorOfErrno(int error) {
  switch (error) {
  case EACCES:
  case EPERM:
    return ERROR_ACCESS_DENIED;
  case ENOMEM:
    return ERROR_NOT_ENOUGH_MEMORY;
  default:
    return ERROR_PATH_NOT_FOUND;
  }
}

// Why a name that isn't there isn't: a missing file in an existing directory, or more.
DWORD errorOfMissingName(const std::string& directory, int error) {
  struct stat status {};
  if (error == ENOENT && ::stat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return ERROR_FILE_NOT_FOUND;
  }
  return errorOfErrno(error);
}

DWORD listMatches(const std::string& directory, const WideString& component,
                  std::vector<std::string>& names) {
  NamePattern pattern(component);
  DIR* stream = ::opendir(directory.c_str());
  if (stream == nullptr) {
    return errorOfErrno(errno);
  }
  while (const dirent* entry = ::readdir(stream)) {
    if (pattern.matches(fromOsPath(entry->d_name))) {
      names.emplace_back(entry->d_name);
    }
  }
  ::closedir(stream);
  std::sort(names.begin(), names.end());
  return names.empty() ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
}

void fill(const std::string& osName, WIN32_FIND_DATAW* data) {
  // NAME_MAX bytes never make more units than the buffer holds; the cut is a guard only.
  const WideString name = fromOsPath(osName);
  const std::size_t count = std::min<std::size_t>(name.size(), MAX_PATH - 1);
  std::copy_n(name.begin(), count, data->cFileName);
  data->cFileName[count] = 0;
}

bool isValid(HANDLE find) {
  return find != nullptr && find != INVALID_HANDLE_VALUE;
}

} // namespace

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
  if (data == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  const std::string path = toOsPath(pattern);
  if (path.empty()) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  const OsPathParts parts = splitOsPath(path);
  std::vector<std::string> names;
  DWORD error = ERROR_SUCCESS;
  if (parts.lastComponent.empty()) {
    error = errorOfMissingName(parts.directory, ENOENT);
  } else if (const WideString component = fromOsPath(parts.lastComponent);
             hasWildcards(component)) {
    error = listMatches(parts.directory, component, names);
  } else if (struct stat status{}; ::lstat(path.c_str(), &status) == 0) {
    names.push_back(parts.lastComponent);
  } else {
    error = errorOfMissingName(parts.directory, errno);
  }
  if (error != ERROR_SUCCESS) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
  }
  auto* state = new FindState{std::move(names)};
  fill(state->names[state->next++], data);
  return state;
}

BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
  if (!isValid(find) || data == nullptr) {
    SetLastError(isValid(find) ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
    return FALSE;
  }
  auto* state = static_cast<FindState*>(find);
  if (state->next == state->names.size()) {
    SetLastError(ERROR_NO_MORE_FILES);
    return FALSE;
  }
  fill(state->names[state->next++], data);
  return TRUE;
}

BOOL FindClose(HANDLE find) {
  if (!isValid(find)) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  delete static_cast<FindState*>(find);
  return TRUE;
}

} // namespace basalt::platform
