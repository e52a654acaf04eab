#include "basalt/platform/code_pages.h"

#include <gtest/gtest.h>

namespace plat = basalt::platform;

namespace {

// iconv's converters for these pages hold base letters back for combining marks and write some
// letters as a base and a mark; one character must still be one byte each way.
TEST(CodePages, CombiningPagesConvertLettersOneByOne) {
  plat::WCHAR unit = 0;
  EXPECT_EQ(plat::MultiByteToWideChar(1258, plat::MB_PRECOMPOSED | plat::MB_ERR_INVALID_CHARS,
                                      "\xC3", 1, &unit, 1),
            1);
  EXPECT_EQ(unit, 0x0102);
  EXPECT_EQ(plat::MultiByteToWideChar(1255, plat::MB_PRECOMPOSED | plat::MB_ERR_INVALID_CHARS,
                                      "\xE0", 1, &unit, 1),
            1);
  EXPECT_EQ(unit, 0x05D0);

  const plat::WCHAR aWithTilde = 0x00C3; // only as 'A' and a combining tilde in 1258
  char bytes[3] = {};
  plat::BOOL usedDefault = plat::FALSE;
  EXPECT_EQ(plat::WideCharToMultiByte(1258, 0, &aWithTilde, 1, bytes, 3, nullptr, &usedDefault), 1);
  EXPECT_EQ(bytes[0], '?');
  EXPECT_TRUE(usedDefault);
}

} // namespace
