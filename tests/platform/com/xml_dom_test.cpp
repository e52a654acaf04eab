// The layer's COM objects and XML DOM over libxml2: identity and lifetimes of nodes, what the
// DOM refuses, loading in other encodings, XPath selections, streams, and variants that hold
// objects.

#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/variant.h"
#include "basalt/platform/com/xml_dom.h"
#include "support/scratch_directory.h"

#include <gtest/gtest.h>
#include <libxml/globals.h>
#include <libxml/xmlerror.h>
#include <string>

namespace {

namespace plat = basalt::platform;
using basalt::test::narrow;
using basalt::test::Units;
using basalt::test::wide;
using plat::CComPtr;
using plat::CComQIPtr;

// An automation string for the length of one call.
class Text {
public:
  explicit Text(const std::string& utf8) {
    const Units units = wide(utf8);
    value = plat::SysAllocStringLen(units.data(), static_cast<plat::UINT>(units.size()));
  }
  ~Text() { plat::SysFreeString(value); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  operator plat::BSTR() const { return value; } // NOLINT(google-explicit-constructor)

private:
  plat::BSTR value;
};

// A memory stream holding the bytes.
CComPtr<plat::IStream> memoryStream(const std::string& bytes = "") {
  CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(reinterpret_cast<const plat::BYTE*>(bytes.data()),
                                        static_cast<plat::UINT>(bytes.size())));
  return stream;
}

plat::LONG lengthOf(plat::IXMLDOMNodeList* list) {
  plat::LONG length = -1;
  list->get_length(&length);
  return length;
}

std::string take(plat::BSTR text) {
  std::string result = narrow(Units(text, plat::SysStringLen(text)));
  plat::SysFreeString(text);
  return result;
}

class XmlDom : public ::testing::Test {
protected:
  void SetUp() override {
    plat::CoInitializeEx(nullptr, plat::COINIT_MULTITHREADED);
    ASSERT_EQ(plat::CoCreateInstance(plat::CLSID_DOMDocument, nullptr, plat::CLSCTX_INPROC_SERVER,
                                     plat::IXMLDOMDocument::iid, reinterpret_cast<void**>(&doc)),
              plat::S_OK);
  }
  void TearDown() override {
    doc.Release();
    plat::CoUninitialize();
  }

  void load(const std::string& text) {
    plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
    ASSERT_EQ(doc->loadXML(Text(text), &success), plat::S_OK) << text;
    ASSERT_EQ(success, plat::VARIANT_TRUE);
  }

  // A load source or save target; the caller keeps the stream.
  static plat::VARIANT streamVariant(plat::IStream* stream) {
    plat::VARIANT variant;
    plat::VariantInit(&variant);
    variant.vt = plat::VT_UNKNOWN;
    variant.punkVal = stream;
    return variant;
  }

  // Loads the bytes through a memory stream, as a client hands over a file's contents.
  plat::HRESULT loadBytes(const std::string& bytes, plat::VARIANT_BOOL* success) {
    const CComPtr<plat::IStream> stream = memoryStream(bytes);
    return doc->load(streamVariant(stream), success);
  }

  CComPtr<plat::IXMLDOMNode> first(const std::string& query) {
    CComPtr<plat::IXMLDOMNodeList> list;
    EXPECT_EQ(doc->selectNodes(Text(query), &list), plat::S_OK) << query;
    CComPtr<plat::IXMLDOMNode> node;
    if (list) {
      list->get_item(0, &node);
    }
    return node;
  }

  std::string xml(plat::IXMLDOMNode* node) {
    plat::BSTR text = nullptr;
    EXPECT_EQ(node->get_xml(&text), plat::S_OK);
    return take(text);
  }

  CComPtr<plat::IXMLDOMDocument> doc;
};

// XmlSupport's tests in tests/data show that a search gives the node that was added, and which
// nodes are elements; here is what outlives a tree.
TEST_F(XmlDom, NodesOutliveWhatLedToThem) {
  load("<r><a id='1'/><a id='2'>text</a></r>");
  CComPtr<plat::IXMLDOMNode> viaQuery = first("//a[2]");

  // A new load replaces the tree; nodes of the old one still answer, but can't come back.
  load("<fresh/>");
  EXPECT_EQ(xml(viaQuery), "<a id=\"2\">text</a>");
  CComPtr<plat::IXMLDOMNode> root = first("/fresh");
  CComPtr<plat::IXMLDOMNode> added;
  EXPECT_EQ(root->appendChild(viaQuery, &added), plat::E_FAIL);

  // The document goes with its last node, and elements never linked in go with it.
  CComPtr<plat::IXMLDOMElement> loose;
  ASSERT_EQ(doc->createElement(Text("loose"), &loose), plat::S_OK);
  CComPtr<plat::IXMLDOMElement> inner;
  ASSERT_EQ(doc->createElement(Text("inner"), &inner), plat::S_OK);
  ASSERT_EQ(loose->appendChild(inner, nullptr), plat::S_OK);
  doc.Release();
  CComPtr<plat::IXMLDOMDocument> owner;
  ASSERT_EQ(inner->get_ownerDocument(&owner), plat::S_OK);
  EXPECT_EQ(xml(owner), "<fresh/>\n");
}

TEST_F(XmlDom, RefusesWhatWouldBreakTheTreeOrTheText) {
  load("<r><a/></r>");
  CComQIPtr<plat::IXMLDOMElement> a(static_cast<plat::IUnknown*>(first("//a")));
  EXPECT_EQ(doc->createElement(Text("ok"), nullptr), plat::E_POINTER);
  CComPtr<plat::IXMLDOMNode> instruction;
  EXPECT_EQ(doc->createProcessingInstruction(Text("pi"), Text("a?>b"), &instruction), plat::E_FAIL);

  plat::VARIANT value;
  for (const Units& bad : {Units{0x1}, Units{'x', 0xD800, 'y'}}) { // not XML text
    value.vt = plat::VT_BSTR;
    value.bstrVal = plat::SysAllocStringLen(bad.data(), static_cast<plat::UINT>(bad.size()));
    EXPECT_EQ(a->setAttribute(Text("c"), value), plat::E_INVALIDARG);
    EXPECT_EQ(a->setAttribute(Text("no name"), value), plat::E_INVALIDARG);
    plat::VariantClear(&value);
  }
  value.vt = plat::VT_I4;
  value.lVal = -12;
  EXPECT_EQ(a->setAttribute(Text("no name"), value), plat::E_FAIL);
  EXPECT_EQ(a->setAttribute(Text("n"), value), plat::S_OK);

  plat::VARIANT read;
  EXPECT_EQ(a->getAttribute(Text("n"), &read), plat::S_OK);
  EXPECT_EQ(take(read.bstrVal), "-12");
  EXPECT_EQ(a->getAttribute(Text("missing"), &read), plat::S_FALSE);
  EXPECT_EQ(read.vt, plat::VT_NULL);

  EXPECT_EQ(a->appendChild(nullptr, nullptr), plat::E_INVALIDARG);
  EXPECT_EQ(xml(doc), "<r>\n  <a n=\"-12\"/>\n</r>\n");
}

TEST_F(XmlDom, LoadsOtherEncodingsAndKeepsTheirDeclaration) {
  // UTF-16LE with a byte order mark, from a stream.
  const std::u16string text = u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n"
                              u"<w xml:space=\"preserve\"> <z>\u00e4\U0001F600</z> </w>";
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  ASSERT_EQ(loadBytes(bytes, &success), plat::S_OK);
  ASSERT_EQ(success, plat::VARIANT_TRUE);
  CComPtr<plat::IXMLDOMNode> declaration = first("/processing-instruction('xml')");
  ASSERT_TRUE(declaration);
  plat::VARIANT data;
  ASSERT_EQ(declaration->get_nodeValue(&data), plat::S_OK);
  EXPECT_EQ(take(data.bstrVal), "version=\"1.0\" encoding=\"UTF-16\"");
  EXPECT_EQ(xml(first("/w")), "<w xml:space=\"preserve\"> <z>ä😀</z> </w>");

  // Saved again in UTF-16, and it loads as it was.
  const CComPtr<plat::IStream> out = memoryStream();
  plat::VARIANT source = streamVariant(out);
  ASSERT_EQ(doc->save(source), plat::S_OK);
  out->Seek(0, plat::STREAM_SEEK_SET, nullptr);
  char head[4] = {};
  plat::ULONG got = 0;
  out->Read(head, 4, &got);
  EXPECT_EQ(std::string(head, 4), std::string("\xFF\xFE<\0", 4));
  out->Seek(0, plat::STREAM_SEEK_SET, nullptr);
  const std::string before = xml(doc);
  ASSERT_EQ(doc->load(source, &success), plat::S_OK);
  EXPECT_EQ(xml(doc), before);

  // Neither a number nor an object that isn't a stream is a source.
  source.punkVal = declaration;
  EXPECT_EQ(doc->load(source, &success), plat::E_INVALIDARG);
  source.vt = plat::VT_I4;
  EXPECT_EQ(doc->load(source, &success), plat::E_INVALIDARG);
}

TEST_F(XmlDom, ExternalEntitiesAreNeverRead) {
  basalt::test::ScratchDirectory scratch;
  scratch.write("secret.txt", "SECRET");
  load("<!DOCTYPE r [<!ENTITY e SYSTEM \"file://" + scratch.os("secret.txt") + "\">]><r>&e;</r>");
  EXPECT_EQ(xml(first("/r")), "<r>&e;</r>");
}

// The DOM silences libxml2 while it works and gives the thread's handler back afterwards.
int clientErrors = 0;
void clientHandler(void* /*context*/, const char* /*format*/, ...) {
  ++clientErrors;
}

TEST_F(XmlDom, LeavesTheClientsLibxml2HandlerAlone) {
  xmlSetGenericErrorFunc(nullptr, clientHandler);
  const std::string bytes = "<?xml version=\"1.0\" encoding=\"EUC-JP\"?><a>\xDB\xDB\xDB</a>";
  plat::VARIANT_BOOL success = plat::VARIANT_TRUE;
  EXPECT_EQ(loadBytes(bytes, &success), plat::S_FALSE);
  EXPECT_EQ(clientErrors, 0); // libxml2 would have told it of the bad bytes
  EXPECT_EQ(xmlGenericError, clientHandler);
  xmlSetGenericErrorFunc(nullptr, nullptr);
}

TEST_F(XmlDom, SelectionsAreFixedAndMustGiveNodes) {
  load("<r><a id='x'/><a id='y'/></r>");
  CComPtr<plat::IXMLDOMNodeList> ids;
  ASSERT_EQ(doc->selectNodes(Text("//@id"), &ids), plat::S_OK);
  EXPECT_EQ(lengthOf(ids), 2);
  CComPtr<plat::IXMLDOMNode> id;
  ids->get_item(1, &id);
  EXPECT_EQ(xml(id), "id=\"y\"");
  // The value can change under the attribute node, which keeps answering.
  CComQIPtr<plat::IXMLDOMElement> owner(static_cast<plat::IUnknown*>(first("//a[2]")));
  plat::VARIANT value;
  plat::VariantInit(&value);
  value.vt = plat::VT_I2;
  value.iVal = 5;
  ASSERT_EQ(owner->setAttribute(Text("id"), value), plat::S_OK);
  EXPECT_EQ(xml(id), "id=\"5\"");
  CComPtr<plat::IXMLDOMNodeList> none;
  ASSERT_EQ(id->get_childNodes(&none), plat::S_OK);
  EXPECT_EQ(lengthOf(none), 0);

  CComPtr<plat::IXMLDOMNodeList> list;
  EXPECT_EQ(doc->selectNodes(Text("count(//a)"), &list), plat::E_FAIL);
  ASSERT_EQ(doc->selectNodes(Text("//a"), &list), plat::S_OK);
  CComPtr<plat::IXMLDOMElement> more;
  doc->createElement(Text("a"), &more);
  first("/r")->appendChild(more, nullptr);
  EXPECT_EQ(lengthOf(list), 2);
}

// Deeper than a parser would take: searching, serialising and freeing must not recurse.
TEST_F(XmlDom, DeepTreesBuiltByHand) {
  CComPtr<plat::IXMLDOMElement> top;
  ASSERT_EQ(doc->createElement(Text("d"), &top), plat::S_OK);
  ASSERT_EQ(doc->appendChild(top, nullptr), plat::S_OK);
  CComPtr<plat::IXMLDOMElement> at = top;
  for (int depth = 1; depth < 100000; ++depth) {
    CComPtr<plat::IXMLDOMElement> next;
    ASSERT_EQ(doc->createElement(Text("d"), &next), plat::S_OK);
    ASSERT_EQ(at->appendChild(next, nullptr), plat::S_OK);
    at = next;
  }
  CComPtr<plat::IXMLDOMNodeList> all;
  ASSERT_EQ(doc->getElementsByTagName(Text("d"), &all), plat::S_OK);
  EXPECT_EQ(lengthOf(all), 100000);
  const std::string text = xml(doc);
  EXPECT_EQ(text.compare(0, 9, "<d>\n  <d>"), 0);
  EXPECT_EQ(text.compare(text.size() - 10, 10, "</d>\n</d>\n"), 0);
}

TEST(MemoryStream, SeeksReadsAndWritesLikeAFile) {
  const CComPtr<plat::IStream> stream = memoryStream("abc");
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

// A variant holding an object holds a reference, released by VariantClear.
TEST(VariantObjects, CopyAndClearCountReferences) {
  const CComPtr<plat::IStream> stream = memoryStream();
  plat::VARIANT held;
  plat::VariantInit(&held);
  held.vt = plat::VT_UNKNOWN;
  held.punkVal = stream;
  plat::VARIANT copy;
  plat::VariantInit(&copy);
  ASSERT_EQ(plat::VariantCopy(&copy, &held), plat::S_OK);
  EXPECT_EQ(stream->AddRef(), 3u); // ours, the copy's, and this one
  stream->Release();
  plat::VariantClear(&copy);
  EXPECT_EQ(stream->AddRef(), 2u);
  stream->Release();

  plat::VARIANT number;
  plat::VariantInit(&number);
  number.vt = plat::VT_R8;
  number.dblVal = 0.1 + 0.2;
  ASSERT_EQ(plat::VariantChangeType(&number, &number, 0, plat::VT_BSTR), plat::S_OK);
  EXPECT_EQ(take(number.bstrVal), "0.3"); // 15 significant digits, '.' in every locale
  number.vt = plat::VT_R4;
  number.fltVal = 1e20F;
  ASSERT_EQ(plat::VariantChangeType(&number, &number, 0, plat::VT_BSTR), plat::S_OK);
  EXPECT_EQ(take(number.bstrVal), "1e+20");
}

} // namespace
