// The memory stream that clients hand the XML DOM: XmlSupport only reads and writes it from
// the start, so its seeking is tested here.

#include "basalt/platform/com/xml_dom.h"

#include <gtest/gtest.h>
#include <string>

namespace {

namespace plat = basalt::platform;

TEST(MemoryStream, SeeksReadsAndWritesLikeAFile) {
  plat::CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(reinterpret_cast<const plat::BYTE*>("abc"), 3));
  plat::ULARGE_INTEGER at = 9;
  EXPECT_EQ(stream->Seek(-1, plat::STREAM_SEEK_SET, &at), plat::STG_E_INVALIDFUNCTION);
  EXPECT_EQ(at, 9u);
  EXPECT_EQ(stream->Seek(0, 7, &at), plat::STG_E_INVALIDFUNCTION);
  ASSERT_EQ(stream->Seek(2, plat::STREAM_SEEK_END, &at), plat::S_OK);
  EXPECT_EQ(at, 5u);
  plat::ULONG done = 0;
  ASSERT_EQ(stream->Write("Z", 1, &done), plat::S_OK); // past the end: the gap is zeros
  ASSERT_EQ(stream->Seek(-6, plat::STREAM_SEEK_CUR, &at), plat::S_OK);
  char bytes[8] = {};
  ASSERT_EQ(stream->Read(bytes, 8, &done), plat::S_OK);
  EXPECT_EQ(std::string(bytes, done), std::string("abc\0\0Z", 6));
  EXPECT_EQ(stream->Read(bytes, 8, &done), plat::S_OK);
  EXPECT_EQ(done, 0u);
}

} // namespace
