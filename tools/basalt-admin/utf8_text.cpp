#include "tools/basalt-admin/utf8_text.h"

#include "basalt/platform/utf8.h"

namespace basalt::admin {

std::string toUtf8(const platform::WString& text) {
  std::string out;
  platform::utf8::append(out, text.data(), text.size());
  return out;
}

bool fromUtf8(const std::string& bytes, platform::WString& text) {
  text.clear();
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (std::size_t at = 0; at < bytes.size();) {
    platform::WCHAR units[2];
    int count = 0;
    const std::size_t used = platform::utf8::decode(data + at, bytes.size() - at, units, count);
    if (used == 0) {
      return false;
    }
    text.append(units, static_cast<std::size_t>(count));
    at += used;
  }
  return true;
}

} // namespace basalt::admin
