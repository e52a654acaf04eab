#include "basalt/platform/base/utf8.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using Units = std::basic_string<unsigned short>;

// The encoder takes 7-bit text four units at a time: a character of any other length must
// come out right wherever it falls against those groups, and behind text already there.
TEST(Utf8, EveryCharacterEncodesAtEveryPlaceAmong7BitText) {
  const struct {
    Units units;
    std::string bytes;
  } characters[] = {{{0x00E9}, "\xC3\xA9"},
                    {{0x20AC}, "\xE2\x82\xAC"},
                    {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
                    {{0xD800}, "\xEF\xBF\xBD"}, // a lone surrogate
                    {{0x007F}, "\x7F"}};
  const std::string ascii = "abcdefghijk";
  for (const auto& character : characters) {
    for (std::size_t at = 0; at <= ascii.size(); ++at) {
      Units text(ascii.begin(), ascii.end());
      text.insert(at, character.units);
      std::string out = "x";
      basalt::platform::utf8::append(out, text.data(), text.size());
      EXPECT_EQ(out, "x" + ascii.substr(0, at) + character.bytes + ascii.substr(at)) << at;
    }
  }
  // A pair cut by the end of the text is a lone surrogate too.
  EXPECT_EQ(basalt::platform::utf8::encode(Units{'a', 'b', 'c', 'd', 0xD83D}), "abcd\xEF\xBF\xBD");
}

} // namespace
