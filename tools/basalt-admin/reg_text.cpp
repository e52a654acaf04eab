#include "tools/basalt-admin/reg_text.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/registry/registry_types.h"

namespace basalt::admin {
namespace {

namespace plat = basalt::platform;

// The registry editor keeps hex lists within 80 columns.
constexpr std::size_t hexLineWidth = 77;

void appendQuoted(std::string& out, const plat::WString& text) {
  out += '"';
  for (const char c : platform::utf8::encode(text)) {
    if (c == '\\' || c == '"') {
      out += '\\';
    }
    out += c;
  }
  out += '"';
}

bool isSurrogate(plat::WCHAR unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

// The text of a string value, or false when its bytes can't be written as "text": no
// terminator, a zero inside, a line end, or a surrogate that isn't half of a pair.
bool plainText(const std::vector<plat::BYTE>& data, plat::WString& text) {
  if (data.size() < 2 || data.size() % 2 != 0) {
    return false;
  }
  text.clear();
  for (std::size_t at = 0; at < data.size(); at += 2) {
    text.push_back(static_cast<plat::WCHAR>(data[at] | (data[at + 1] << 8)));
  }
  if (text.back() != 0) {
    return false;
  }
  text.pop_back();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const plat::WCHAR unit = text[i];
    if (unit == 0 || unit == '\n' || unit == '\r') {
      return false;
    }
    if (isSurrogate(unit)) {
      const bool pairs =
          unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
      if (!pairs) {
        return false;
      }
      ++i;
    }
  }
  return true;
}

void appendHex(std::string& out, unsigned int value, int digits) {
  static const char hexDigits[] = "0123456789abcdef";
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    out += hexDigits[(value >> shift) & 0xF];
  }
}

void appendHexList(std::string& out, std::size_t lineStart, const std::vector<plat::BYTE>& data) {
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (i > 0) {
      out += ',';
      if (out.size() - lineStart > hexLineWidth - 3) {
        out += "\\\n  ";
        lineStart = out.size() - 2;
      }
    }
    appendHex(out, data[i], 2);
  }
}

void appendValue(std::string& out, const plat::RegValue& value) {
  const std::size_t lineStart = out.size();
  if (value.name.empty()) {
    out += '@';
  } else {
    appendQuoted(out, value.name);
  }
  out += '=';
  plat::WString text;
  if (value.type == plat::REG_SZ && plainText(value.data, text)) {
    appendQuoted(out, text);
  } else if (value.type == plat::REG_DWORD && value.data.size() == 4) {
    out += "dword:";
    appendHex(out,
              value.data[0] | (value.data[1] << 8) | (value.data[2] << 16) |
                  (static_cast<unsigned int>(value.data[3]) << 24),
              8);
  } else {
    if (value.type == plat::REG_BINARY) {
      out += "hex:";
    } else {
      out += "hex(";
      int digits = 1;
      while (digits < 8 && (value.type >> (digits * 4)) != 0) {
        ++digits;
      }
      appendHex(out, value.type, digits);
      out += "):";
    }
    appendHexList(out, lineStart, value.data);
  }
  out += '\n';
}

} // namespace

void appendKeyTree(std::string& out, const std::string& path, const platform::RegKey& key) {
  out += '[';
  out += path;
  out += "]\n";
  // The map is ordered by folded name, so the default value, whose name is empty, comes first.
  for (const auto& entry : key.values) {
    appendValue(out, entry.second);
  }
  out += '\n';
  for (const auto& subKey : key.subKeys) {
    appendKeyTree(out, path + '\\' + platform::utf8::encode(subKey->name), *subKey);
  }
}

} // namespace basalt::admin
