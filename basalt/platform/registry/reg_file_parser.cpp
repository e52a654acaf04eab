#include "basalt/platform/registry/reg_file_parser.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/nls/code_pages.h"

#include <cstring>

namespace basalt::platform {
namespace {

constexpr char regedit4Header[] = "REGEDIT4";
constexpr char regedit5Header[] = "Windows Registry Editor Version 5.00";

bool isBlank(WCHAR unit) {
  return unit == ' ' || unit == '\t';
}

std::string trimmedEnd(std::string text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
    text.pop_back();
  }
  return text;
}

int hexDigit(WCHAR unit) {
  if (unit >= '0' && unit <= '9') {
    return unit - '0';
  }
  if (unit >= 'a' && unit <= 'f') {
    return unit - 'a' + 10;
  }
  if (unit >= 'A' && unit <= 'F') {
    return unit - 'A' + 10;
  }
  return -1;
}

WCHAR asciiUpper(WCHAR unit) {
  return unit >= 'a' && unit <= 'z' ? static_cast<WCHAR>(unit - 'a' + 'A') : unit;
}

bool equalsAsciiNoCase(const WCHAR* text, std::size_t length, const char* ascii) {
  if (std::strlen(ascii) != length) {
    return false;
  }
  for (std::size_t i = 0; i < length; ++i) {
    if (asciiUpper(text[i]) != asciiUpper(static_cast<unsigned char>(ascii[i]))) {
      return false;
    }
  }
  return true;
}

void appendLittleEndian(std::vector<BYTE>& data, const WString& text) {
  for (const WCHAR unit : text) {
    data.push_back(static_cast<BYTE>(unit & 0xFF));
    data.push_back(static_cast<BYTE>(unit >> 8));
  }
}

// Decodes 8-bit text; false when it holds a sequence that the code page doesn't have.
bool decodeNarrow(const char* bytes, std::size_t length, UINT codePage, DWORD flags,
                  WString& text) {
  text.clear();
  if (length == 0) {
    return true;
  }
  const int count =
      MultiByteToWideChar(codePage, flags, bytes, static_cast<int>(length), nullptr, 0);
  if (count == 0) {
    return false;
  }
  text.resize(static_cast<std::size_t>(count));
  MultiByteToWideChar(codePage, flags, bytes, static_cast<int>(length), text.data(), count);
  return true;
}

// A read position in one line.
class Cursor {
public:
  explicit Cursor(const WString& text) : text(&text) {}
  bool atEnd() const { return at >= text->size(); }
  WCHAR peek() const { return (*text)[at]; }
  WCHAR next() { return (*text)[at++]; }
  void skipBlanks() {
    while (!atEnd() && isBlank(peek())) {
      ++at;
    }
  }
  // Nothing but blanks and perhaps a comment is left.
  bool onlyCommentLeft() {
    skipBlanks();
    return atEnd() || peek() == ';';
  }
  bool takeNoCase(const char* ascii) {
    const std::size_t length = std::strlen(ascii);
    if (text->size() - at < length || !equalsAsciiNoCase(text->data() + at, length, ascii)) {
      return false;
    }
    at += length;
    return true;
  }
  // Reads a run of hexadecimal digits into value (which keeps only its last eight) and
  // returns how many there were.
  int takeHexDigits(DWORD& value) {
    int digits = 0;
    value = 0;
    for (; !atEnd() && hexDigit(peek()) >= 0; ++digits) {
      value = (value << 4) | static_cast<DWORD>(hexDigit(next()));
    }
    return digits;
  }
  // The character at the position, for messages.
  std::string shown() const {
    return atEnd() ? std::string("the end of the line")
                   : "\"" + utf8::encode(WString(1, peek())) + "\"";
  }

private:
  const WString* text;
  std::size_t at = 0;
};

class Parser {
public:
  Parser(const std::string& bytes, UINT ansiCodePage) : bytes(bytes), ansiCodePage(ansiCodePage) {}

  RegFileContents run() {
    if (splitLines()) {
      for (std::size_t index = 1; index < lines.size(); ++index) {
        parseLine(index);
      }
    }
    return std::move(result);
  }

private:
  struct Line {
    WString text;
    bool readable = true;
  };
  enum class KeyState { None, Open, Deleted, Invalid };

  void problem(std::size_t index, std::string what) {
    result.problems.push_back({static_cast<unsigned int>(index + 1), std::move(what)});
  }

  std::string unreadableLine() const {
    if (encoding == Encoding::Ansi) {
      return "the line is not valid text in code page " + std::to_string(ansiCodePage);
    }
    return "the line is not valid UTF-8";
  }

  // Splits the file into lines of text and checks the header; false when the file is no
  // registry file at all.
  bool splitLines() {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t size = bytes.size();
    if (size >= 2 && data[0] == 0xFF && data[1] == 0xFE) {
      encoding = Encoding::Utf16;
      splitUtf16(data + 2, size - 2);
    } else if (size >= 2 && data[0] == 0xFE && data[1] == 0xFF) {
      result.problems.push_back(
          {0, "UTF-16 big-endian text is not read; save the file as UTF-16LE or UTF-8"});
      return false;
    } else if (size >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) {
      encoding = Encoding::Utf8;
      splitNarrow(3);
    } else {
      // Without a byte order mark the header tells the encoding.
      encoding = trimmedEnd(bytes.substr(0, bytes.find('\n'))) == regedit4Header ? Encoding::Ansi
                                                                                 : Encoding::Utf8;
      splitNarrow(0);
    }
    const std::string header = lines[0].readable ? trimmedEnd(utf8::encode(lines[0].text)) : "";
    if (header == regedit5Header) {
      regedit4 = false;
    } else if (header == regedit4Header) {
      regedit4 = true;
    } else {
      result.problems.push_back({1, std::string("not a registry file: the first line must be \"") +
                                        regedit5Header + "\" or \"" + regedit4Header + "\""});
      return false;
    }
    return true;
  }

  void splitUtf16(const unsigned char* data, std::size_t size) {
    Line line;
    for (std::size_t at = 0; at + 1 < size; at += 2) {
      const auto unit = static_cast<WCHAR>(data[at] | (data[at + 1] << 8));
      if (unit == '\n') {
        endLine(line);
      } else {
        line.text.push_back(unit);
      }
    }
    endLine(line);
    if (size % 2 != 0) {
      problem(lines.size() - 1, "the file ends in the middle of a UTF-16 character");
    }
  }

  void splitNarrow(std::size_t start) {
    const UINT codePage = encoding == Encoding::Ansi ? ansiCodePage : CP_UTF8;
    while (true) {
      const std::size_t end = bytes.find('\n', start);
      const std::size_t length = (end == std::string::npos ? bytes.size() : end) - start;
      Line line;
      line.readable =
          decodeNarrow(bytes.data() + start, length, codePage, MB_ERR_INVALID_CHARS, line.text);
      endLine(line);
      if (end == std::string::npos) {
        break;
      }
      start = end + 1;
    }
  }

  void endLine(Line& line) {
    if (!line.text.empty() && line.text.back() == '\r') {
      line.text.pop_back();
    }
    lines.push_back(std::move(line));
    line = Line();
  }

  void parseLine(std::size_t& index) {
    if (!lines[index].readable) {
      problem(index, unreadableLine());
      return;
    }
    Cursor cursor(lines[index].text);
    if (cursor.onlyCommentLeft()) {
      return;
    }
    if (cursor.peek() == '[') {
      parseKeyHeader(index, lines[index].text);
    } else if (cursor.peek() == '"' || cursor.peek() == '@') {
      parseValue(index, cursor);
    } else {
      problem(index, "expected a [key] line, a \"name\"=value line or an @=value line");
    }
  }

  void parseKeyHeader(std::size_t index, const WString& text) {
    keyState = KeyState::Invalid;
    const std::size_t open = text.find('[');
    const std::size_t close = text.rfind(']');
    if (close == WString::npos) {
      problem(index, "the key line has no closing ]");
      return;
    }
    WString rest = text.substr(close + 1);
    Cursor restCursor(rest);
    if (!restCursor.onlyCommentLeft()) {
      problem(index, "unexpected text after the ] of the key line");
      return;
    }
    WString inside = text.substr(open + 1, close - open - 1);
    const bool deletion = !inside.empty() && inside[0] == '-';
    if (deletion) {
      inside.erase(0, 1);
    }
    RegOperation operation;
    operation.kind = deletion ? RegOperation::DeleteKey : RegOperation::OpenKey;
    std::size_t start = 0;
    bool first = true;
    while (start <= inside.size()) {
      std::size_t end = inside.find('\\', start);
      if (end == WString::npos) {
        end = inside.size();
      }
      const WString part = inside.substr(start, end - start);
      const bool last = end == inside.size();
      if (first) {
        if (const HiveName* hive = findHive(part)) {
          operation.hive = hive->slot;
        } else {
          problem(index, "unknown root key \"" + utf8::encode(part) + "\"; its values are ignored");
          return;
        }
        first = false;
      } else if (part.empty() && !last) {
        problem(index, "the key path has an empty name between two backslashes");
        return;
      } else if (part.size() > maxKeyNameLength) {
        problem(index, "a key name is longer than 255 characters");
        return;
      } else if (!part.empty()) {
        operation.path.push_back(part);
      }
      start = end + 1;
    }
    if (deletion && operation.path.empty()) {
      problem(index, "a root key can't be deleted");
      return;
    }
    keyState = deletion ? KeyState::Deleted : KeyState::Open;
    result.operations.push_back(std::move(operation));
  }

  void parseValue(std::size_t& index, Cursor& cursor) {
    const std::size_t first = index;
    RegOperation operation;
    operation.kind = RegOperation::SetValue;
    std::string error;
    if (cursor.peek() == '@') {
      cursor.next();
    } else if (!readQuoted(cursor, operation.name, error)) {
      problem(index, "value name: " + error);
      return;
    } else if (operation.name.size() > maxValueNameLength) {
      problem(index, "a value name is longer than 16383 characters");
      return;
    }
    cursor.skipBlanks();
    if (cursor.atEnd() || cursor.next() != '=') {
      problem(index, "expected = after the value name");
      return;
    }
    cursor.skipBlanks();
    if (!readData(index, cursor, operation, error)) {
      problem(index, error);
      skipContinuation(index);
      return;
    }
    if (keyState == KeyState::Open) {
      result.operations.push_back(std::move(operation));
    } else if (keyState == KeyState::None) {
      problem(first, "the value comes before any [key] line");
    } else if (keyState == KeyState::Deleted) {
      problem(first, "the value follows a [-key] line that deletes its key");
    }
  }

  // Reads the data after "=" into operation; index moves to the last line of the data.
  bool readData(std::size_t& index, Cursor& cursor, RegOperation& operation, std::string& error) {
    if (cursor.atEnd()) {
      error = "the value has no data after =";
      return false;
    }
    if (cursor.peek() == '-') {
      cursor.next();
      operation.kind = RegOperation::DeleteValue;
      return expectEnd(cursor, error);
    }
    if (cursor.peek() == '"') {
      WString text;
      if (!readQuoted(cursor, text, error)) {
        error = "value data: " + error;
        return false;
      }
      operation.type = 1;
      appendLittleEndian(operation.data, text);
      operation.data.push_back(0);
      operation.data.push_back(0);
      return expectEnd(cursor, error);
    }
    if (cursor.takeNoCase("dword:")) {
      DWORD number = 0;
      const int digits = cursor.takeHexDigits(number);
      if (digits == 0 || digits > 8) {
        error = "dword: needs 1 to 8 hexadecimal digits";
        return false;
      }
      operation.type = 4;
      for (int shift = 0; shift < 32; shift += 8) {
        operation.data.push_back(static_cast<BYTE>(number >> shift));
      }
      return expectEnd(cursor, error);
    }
    if (cursor.takeNoCase("hex(")) {
      DWORD type = 0;
      const int digits = cursor.takeHexDigits(type);
      if (digits == 0 || digits > 8 || !cursor.takeNoCase("):")) {
        error = "hex(n): needs a type of 1 to 8 hexadecimal digits in the parentheses";
        return false;
      }
      operation.type = type;
    } else if (cursor.takeNoCase("hex:")) {
      operation.type = 3;
    } else {
      error = "unknown kind of data; expected \"text\", dword:, hex:, hex(n): or -";
      return false;
    }
    if (!readHexList(index, cursor, operation.data, error)) {
      return false;
    }
    // REGEDIT4 writes these text types in the ANSI code page; they are kept as UTF-16.
    if (regedit4 && (operation.type == 2 || operation.type == 7)) {
      WString text;
      decodeNarrow(reinterpret_cast<const char*>(operation.data.data()), operation.data.size(),
                   ansiCodePage, 0, text);
      operation.data.clear();
      appendLittleEndian(operation.data, text);
    }
    return true;
  }

  static bool expectEnd(Cursor& cursor, std::string& error) {
    if (cursor.onlyCommentLeft()) {
      return true;
    }
    error = "unexpected " + cursor.shown() + " after the value";
    return false;
  }

  // Reads a quoted text, with \\ and \" as the only escapes, from its opening quote.
  static bool readQuoted(Cursor& cursor, WString& text, std::string& error) {
    cursor.next();
    while (!cursor.atEnd()) {
      const WCHAR unit = cursor.next();
      if (unit == '"') {
        return true;
      }
      if (unit != '\\') {
        text.push_back(unit);
      } else if (!cursor.atEnd() && (cursor.peek() == '\\' || cursor.peek() == '"')) {
        text.push_back(cursor.next());
      } else {
        error = "unknown escape \\ before " + cursor.shown() + "; write a backslash as \\\\";
        return false;
      }
    }
    error = "the text has no closing quote";
    return false;
  }

  // Reads comma-separated bytes of one or two hexadecimal digits; a \ at the end of a line
  // continues the list on the next line.
  bool readHexList(std::size_t& index, Cursor& cursor, std::vector<BYTE>& data,
                   std::string& error) {
    while (true) {
      if (cursor.onlyCommentLeft()) {
        return true;
      }
      if (cursor.peek() == '\\') {
        cursor.next();
        cursor.skipBlanks();
        if (!cursor.atEnd()) {
          error = "unexpected " + cursor.shown() + " after the \\ that continues the line";
          return false;
        }
        if (index + 1 >= lines.size()) {
          error = "the hex list continues past the end of the file";
          return false;
        }
        ++index;
        if (!lines[index].readable) {
          error = unreadableLine();
          return false;
        }
        cursor = Cursor(lines[index].text);
        continue;
      }
      DWORD value = 0;
      const int digits = cursor.takeHexDigits(value);
      if (digits == 0 || digits > 2) {
        error = digits == 0 ? "expected a hexadecimal byte, found " + cursor.shown()
                            : std::string("a byte has more than two hexadecimal digits");
        return false;
      }
      data.push_back(static_cast<BYTE>(value));
      cursor.skipBlanks();
      if (!cursor.atEnd() && cursor.peek() == ',') {
        cursor.next();
      } else if (!cursor.atEnd() && cursor.peek() != '\\' && cursor.peek() != ';') {
        error = "expected a comma between bytes, found " + cursor.shown();
        return false;
      }
    }
  }

  // Steps over the rest of a broken hex list, so its continuation lines aren't read as
  // entries of their own.
  void skipContinuation(std::size_t& index) {
    while (index + 1 < lines.size() && lines[index].readable &&
           endsWithBackslash(lines[index].text)) {
      ++index;
    }
  }

  static bool endsWithBackslash(const WString& text) {
    std::size_t end = text.size();
    while (end > 0 && isBlank(text[end - 1])) {
      --end;
    }
    return end > 0 && text[end - 1] == '\\';
  }

  enum class Encoding { Utf16, Utf8, Ansi };

  const std::string& bytes;
  const UINT ansiCodePage;
  Encoding encoding = Encoding::Utf8;
  bool regedit4 = false;
  std::vector<Line> lines;
  KeyState keyState = KeyState::None;
  RegFileContents result;
};

} // namespace

const HiveName hiveNames[5] = {
    {"HKEY_CLASSES_ROOT", "HKCR", 0},   {"HKEY_CURRENT_USER", "HKCU", 1},
    {"HKEY_LOCAL_MACHINE", "HKLM", 2},  {"HKEY_USERS", "HKU", 3},
    {"HKEY_CURRENT_CONFIG", "HKCC", 5},
};

const HiveName* findHive(const WString& name) {
  for (const HiveName& hive : hiveNames) {
    if (equalsAsciiNoCase(name.data(), name.size(), hive.longName) ||
        equalsAsciiNoCase(name.data(), name.size(), hive.shortName)) {
      return &hive;
    }
  }
  return nullptr;
}

RegFileContents parseRegFile(const std::string& bytes, UINT ansiCodePage) {
  return Parser(bytes, ansiCodePage).run();
}

} // namespace basalt::platform
