#ifndef BASALT_TESTS_DATA_XML_TEST_SUPPORT_H
#define BASALT_TESTS_DATA_XML_TEST_SUPPORT_H

// COM brought up for each test, a registry of the test's own for XPXML, and short ways to
// turn the DOM's automation strings into UTF-8.

#include "basalt/data/xml_support.h"
#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/com.h"
#include "support/registry_sandbox.h"
#include "support/scratch_directory.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace basalt::test {

namespace plat = basalt::platform;

class XmlTest : public ::testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(plat::CoInitialize(nullptr), plat::S_OK); }
  void TearDown() override { plat::CoUninitialize(); }

  // XPXML as a DWORD, or no value at all.
  void setXpxml(std::optional<unsigned int> value) {
    char line[64] = "";
    if (value) {
      std::snprintf(line, sizeof line, "\"XPXML\"=dword:%08x\n", *value);
    }
    const std::string name = "xpxml" + std::to_string(++configurations) + ".reg";
    registry.write(name, std::string("Windows Registry Editor Version 5.00\n\n") +
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Lowmarsh Software\\Remote Cube "
                             "Services]\n" +
                             line);
    registry.useSources(name);
  }

  // A document made from text.
  void parse(const std::string& text) {
    ASSERT_EQ(xml.createDocument(), plat::S_OK);
    ASSERT_EQ(xml.readXml(KELPString(wide(text))), -1) << text;
  }

  testing::RegistrySandbox registry;
  ScratchDirectory scratch;
  XmlSupport xml;

private:
  int configurations = 0;
};

// The automation string as UTF-8; frees it.
inline std::string take(plat::BSTR text) {
  std::string result = narrow(Units(text, plat::SysStringLen(text)));
  plat::SysFreeString(text);
  return result;
}

// A memory stream that holds the bytes.
inline plat::CComPtr<plat::IStream> streamOf(const std::string& bytes) {
  plat::CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(reinterpret_cast<const plat::BYTE*>(bytes.data()),
                                        static_cast<plat::UINT>(bytes.size())));
  return stream;
}

// All that the stream holds, from its start.
inline std::string bytesOf(plat::IStream* stream) {
  stream->Seek(0, plat::STREAM_SEEK_SET, nullptr);
  std::string bytes;
  char chunk[65536];
  plat::ULONG got = 0;
  while (stream->Read(chunk, sizeof chunk, &got) == plat::S_OK && got > 0) {
    bytes.append(chunk, got);
  }
  return bytes;
}

// The document as text, through XmlSupport.
inline std::string xmlOf(XmlSupport& xml) {
  KELPString text;
  EXPECT_EQ(xml.get_xml(text), plat::S_OK);
  return narrow(text);
}

} // namespace basalt::test

#endif
