// XmlSupport over the DOM: the class and search mode that XPXML picks, loading and saving
// through streams and real files, the tree operations and the attribute helpers.

#include "basalt/data/node_list_iterator.h"
#include "basalt/platform/com/xml_dom.h"
#include "xml_test_support.h"

#include <libxml/globals.h>
#include <libxml/xmlerror.h>

namespace {

using namespace basalt::test;
using Element = XmlSupport::Element;
using NodeList = XmlSupport::NodeList;

plat::CLSID classOf(XmlSupport& xml) {
  const Element root = xml.addAChild(Element(), "root");
  plat::CComPtr<plat::IXMLDOMDocument> document;
  EXPECT_EQ(root->get_ownerDocument(&document), plat::S_OK);
  plat::CComQIPtr<plat::IPersist> persist(static_cast<plat::IUnknown*>(document));
  plat::CLSID id{};
  EXPECT_EQ(persist->GetClassID(&id), plat::S_OK);
  return id;
}

// Runs action and returns the HRESULT it throws as a LONG; 0 when it throws nothing.
template <typename Action> plat::LONG thrown(Action action) {
  try {
    action();
  } catch (plat::LONG result) {
    return result;
  }
  return 0;
}

using XmlSupportTest = XmlTest;

TEST_F(XmlSupportTest, CreationFollowsComRules) {
  EXPECT_EQ(plat::CoInitialize(nullptr), plat::S_FALSE); // counted: the fixture holds one
  plat::CoUninitialize();
  const plat::CLSID unknown = {0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  void* object = nullptr;
  EXPECT_EQ(
      plat::CoCreateInstance(unknown, nullptr, plat::CLSCTX_ALL, plat::IUnknown::iid, &object),
      plat::REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr);

  const std::pair<std::optional<unsigned int>, plat::CLSID> choices[] = {
      {std::nullopt, plat::CLSID_DOMDocument},
      {1, plat::CLSID_DOMDocument02083B4E},
      {2, plat::CLSID_DOMDocument30},
      {3, plat::CLSID_DOMDocument}};
  for (const auto& [value, id] : choices) {
    setXpxml(value);
    XmlSupport other;
    ASSERT_EQ(other.createDocument(), plat::S_OK);
    EXPECT_TRUE(plat::IsEqualGUID(classOf(other), id)) << value.value_or(99);
  }

  // Without COM on the thread the failure comes back and nothing changes.
  parse("<root/>");
  plat::CoUninitialize();
  EXPECT_EQ(xml.createDocument(), plat::CO_E_NOTINITIALIZED);
  plat::CoInitialize(nullptr);
  EXPECT_EQ(xmlOf(xml), "<root/>\n");
}

// With XPXML missing or 0 the name is part of an XPath query; with any other value it is a
// tag name and the list is live.
TEST_F(XmlSupportTest, XpxmlPicksHowNamesAreSearched) {
  parse("<r><a><b/></a><c><a><b/><b/></a></c></r>");
  setXpxml(0);
  NodeList list;
  plat::LONG count = 0;
  EXPECT_EQ(xml.getList("a/b", list, count), plat::S_OK);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(thrown([&] { xml.getNodeList("a["); }), plat::E_FAIL);
  EXPECT_EQ(thrown([&] { xml.getNodeList("a and 1"); }), plat::E_FAIL); // no nodes: a boolean
  NodeList fixed;
  ASSERT_EQ(xml.getList("b", fixed), plat::S_OK);

  setXpxml(3);
  EXPECT_EQ(xml.getList("a/b", list, count), plat::E_FAIL); // no tag has that name
  ASSERT_TRUE(list);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(xml.getList("b", list, count), plat::S_OK);
  EXPECT_EQ(count, 3);

  // The tag-name list shows nodes added later; the iterator and a query's list keep the
  // length they had.
  NodeListIterator iterator(list);
  EXPECT_EQ(iterator.size(), 3);
  const Element r = xml.findChild(Element(), "r");
  xml.addAChild(r, "b");
  list->get_length(&count);
  EXPECT_EQ(count, 4);
  EXPECT_EQ(iterator.size(), 3);
  fixed->get_length(&count);
  EXPECT_EQ(count, 3);

  // From a node inside the document, only what lies below it counts, in either mode.
  XmlSupport inner(static_cast<plat::IXMLDOMElement*>(xml.findChild(r, "c")));
  for (const std::optional<unsigned int> value : {std::optional<unsigned int>(3), {}}) {
    setXpxml(value);
    EXPECT_EQ(inner.getList("b", list, count), plat::S_OK);
    EXPECT_EQ(count, 2);
  }
}

TEST_F(XmlSupportTest, WithoutADocumentEveryOperationIsNeutral) {
  EXPECT_TRUE(xml.loaded(true));
  EXPECT_TRUE(xml.loaded(false)); // a query, not a reset
  KELPString text("kept");
  EXPECT_EQ(xml.get_xml(text), plat::E_FAIL);
  EXPECT_EQ(xml.readXml(KELPString("<a/>")), 0);
  EXPECT_FALSE(xml.addVersion());
  EXPECT_FALSE(xml.addAChild(Element(), "a"));
  EXPECT_FALSE(xml.getNodeList("a"));
  NodeList list;
  EXPECT_EQ(xml.getList("a", list), plat::E_FAIL);
  NodeList children;
  EXPECT_EQ(xml.getChildList(list, children, 0), plat::E_FAIL);
  EXPECT_EQ(xml.save_ascii(nullptr), plat::E_FAIL);
  EXPECT_EQ(xml.save_all(nullptr), plat::E_POINTER);
  EXPECT_EQ(thrown([&] { xml.readXml(static_cast<plat::IStream*>(nullptr)); }), plat::E_POINTER);
  XmlSupport::AttributeMap map;
  EXPECT_EQ(xml.getAttribMap(list, 0, map), plat::E_FAIL);
  EXPECT_EQ(xml.getAttributeFromMap(map, "a", nullptr), plat::E_FAIL);
  xml.write_to(Element(), "a", KELPString("b")); // a null element: nothing happens
  xml.read_from(Element(), "a", text);
  EXPECT_TRUE(text == "kept");
  xml.clear();
  EXPECT_FALSE(xml.loaded(false));

  // Neither a list nor null is a node.
  EXPECT_EQ(xml.initializeFromNode(nullptr), plat::E_NOINTERFACE);
  parse("<a/>");
  ASSERT_EQ(xml.getList("a", list), plat::S_OK);
  EXPECT_EQ(thrown([&] { xml.readXml(static_cast<plat::IStream*>(nullptr)); }), plat::E_INVALIDARG);
  EXPECT_EQ(xml.save_all(nullptr), plat::E_INVALIDARG);
  EXPECT_EQ(thrown([&] { XmlSupport fromList(static_cast<plat::IUnknown*>(list)); }),
            plat::E_NOINTERFACE);
}

int clientErrors = 0;
void clientHandler(void* /*context*/, const char* /*format*/, ...) {
  ++clientErrors;
}

TEST_F(XmlSupportTest, MalformedTextLoadsNothingAndThrowsNothing) {
  ASSERT_EQ(xml.createDocument(), plat::S_OK);
  const char* const broken[] = {
      "",
      "<a>",
      "<a></b>",
      "<a x='1' x='2'/>",
      "<a>&undefined;</a>",
      "<a/><b/>",
      "text",
      "<?xml version='1.0'?><?xml version='1.0'?><a/>",
      "<a>\x01</a>",
      "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;&e</a>"};
  for (const char* text : broken) {
    EXPECT_EQ(xml.readXml(KELPString(text)), 0) << text;
    EXPECT_EQ(xmlOf(xml), "") << text; // a failed load leaves the document empty
  }
  // Bytes that aren't in the encoding the stream declares; libxml2 keeps its complaints from
  // the client's own handler, and gives the handler back.
  xmlSetGenericErrorFunc(nullptr, clientHandler);
  for (const std::string bytes : {"<?xml version=\"1.0\" encoding=\"UTF-8\"?><a>\xC3\x28</a>",
                                  "<?xml version=\"1.0\" encoding=\"EUC-JP\"?><a>.\xDB\xDB\xDB</a>",
                                  "<?xml version=\"1.0\" encoding=\"x-none\"?><a/>"}) {
    EXPECT_EQ(xml.readXml(streamOf(bytes)), 0) << bytes;
  }
  EXPECT_EQ(clientErrors, 0);
  EXPECT_EQ(xmlGenericError, clientHandler);
  xmlSetGenericErrorFunc(nullptr, nullptr);
  // And the document still works.
  EXPECT_EQ(xml.readXml(KELPString("<ok/>")), -1);
  EXPECT_EQ(xmlOf(xml), "<ok/>\n");
}

void setPath(plat::VARIANT& path, const std::string& libraryPath) {
  plat::VariantClear(&path);
  path.vt = plat::VT_BSTR;
  KELPString(wide(libraryPath)).createBSTR(&path.bstrVal);
}

// A document declared in ISO-8859-1 is saved in it, with references for what it can't hold;
// files are read and written at paths in the library's form.
TEST_F(XmlSupportTest, FilesKeepTheDeclaredEncoding) {
  setXpxml(2);
  parse("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<preis währung=\"€\">é</preis>");
  plat::CComPtr<plat::IXMLDOMDocument> document;
  ASSERT_EQ(xml.findChild(Element(), "preis")->get_ownerDocument(&document), plat::S_OK);
  plat::VARIANT path;
  plat::VariantInit(&path);
  setPath(path, scratch.library("latin1 ü.xml"));
  ASSERT_EQ(document->save(path), plat::S_OK);
  EXPECT_EQ(scratch.read("latin1 ü.xml"), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                                          "<preis w\xE4hrung=\"&#8364;\">\xE9</preis>\n");
  const std::string before = xmlOf(xml);
  ASSERT_EQ(xml.readXml(KELPString("<other/>")), -1);
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  ASSERT_EQ(document->load(path, &success), plat::S_OK);
  EXPECT_EQ(xmlOf(xml), before);

  // A missing file or directory is a failed load, not a failed call; writing there fails.
  setPath(path, scratch.library("missing\\x.xml"));
  EXPECT_EQ(document->load(path, &success), plat::S_FALSE);
  EXPECT_EQ(success, plat::VARIANT_FALSE);
  EXPECT_EQ(document->save(path), static_cast<plat::HRESULT>(0x80070003));
  plat::VariantClear(&path);
  // Neither a number nor an object that isn't a stream is a source.
  path.vt = plat::VT_I4;
  EXPECT_EQ(document->load(path, &success), plat::E_INVALIDARG);
  path.vt = plat::VT_UNKNOWN;
  path.punkVal = document;
  EXPECT_EQ(document->load(path, &success), plat::E_INVALIDARG);

  // An encoding nobody knows, one whose declaration wouldn't read back ("<" is "+ADw-" in
  // UTF-7), or one that lacks a character of a name: written in UTF-8, and said so.
  for (const char* const text :
       {"<?xml version=\"1.0\" encoding=\"x-none\"?><a/>",
        "<?xml version=\"1.0\" encoding=\"UTF-7\" standalone=\"yes\"?><a/>",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><東/>"}) {
    ASSERT_EQ(xml.readXml(KELPString(wide(text))), -1);
    const plat::CComPtr<plat::IStream> stream = streamOf("");
    ASSERT_EQ(xml.save_ascii(stream), plat::S_OK);
    std::string expected = text;
    const std::size_t quote = expected.find("encoding=\"") + 10;
    expected.replace(quote, expected.find('"', quote) - quote, "UTF-8");
    expected.insert(expected.find("?>") + 2, "\n");
    EXPECT_EQ(bytesOf(stream), expected + "\n");
  }
}

std::string nodeXml(plat::IXMLDOMNode* node) {
  plat::BSTR text = nullptr;
  EXPECT_EQ(node->get_xml(&text), plat::S_OK);
  return take(text);
}

TEST_F(XmlSupportTest, TreeOperations) {
  ASSERT_EQ(xml.createDocument(), plat::S_OK);
  const Element root = xml.addAChild(Element(), "r");
  // A second root element is refused by the DOM, and the refusal is thrown.
  EXPECT_EQ(thrown([&] { xml.addAChild(Element(), "second"); }), plat::E_FAIL);
  EXPECT_EQ(thrown([&] { xml.addAChild(root, "no name"); }), plat::E_FAIL);
  EXPECT_EQ(xml.addVersion(), true); // after the root: it doesn't come first
  const Element first = xml.addAChild(root, "same");
  xml.write_to(first, "n", KELPString("1"));
  xml.write_to(xml.addAChild(root, "same"), "n", KELPString("2"));
  // Text that isn't XML, and a name that isn't one, are refused: nothing is written.
  for (const Units& bad : {Units{0x1}, Units{'x', 0xD800, 'y'}}) {
    xml.write_to(first, "c", KELPString(bad.data(), bad.size()));
  }
  xml.write_to(first, "no name", static_cast<plat::LONG>(1));
  EXPECT_EQ(xmlOf(xml),
            "<r>\n  <same n=\"1\"/>\n  <same n=\"2\"/>\n</r>\n<?xml version=\"1.1\"?>\n");
  plat::CComPtr<plat::IXMLDOMDocument> document;
  ASSERT_EQ(root->get_ownerDocument(&document), plat::S_OK);
  plat::BSTR target = nullptr;
  plat::BSTR data = nullptr;
  KELPString("pi").createBSTR(&target);
  KELPString("a?>b").createBSTR(&data);
  plat::CComPtr<plat::IXMLDOMNode> instruction;
  EXPECT_EQ(document->createProcessingInstruction(target, data, &instruction), plat::E_FAIL);
  plat::SysFreeString(target);
  plat::SysFreeString(data);
  EXPECT_EQ(root->appendChild(nullptr, nullptr), plat::E_INVALIDARG);

  const Element found = xml.findChild(root, "same");
  EXPECT_EQ(static_cast<plat::IXMLDOMElement*>(found), static_cast<plat::IXMLDOMElement*>(first));
  EXPECT_FALSE(xml.findChild(root, "other"));
  EXPECT_FALSE(xml.findChild(first, "n")); // attributes aren't children

  NodeList list;
  ASSERT_EQ(xml.getList("same", list), plat::S_OK);
  XmlSupport::AttributeMap map;
  ASSERT_EQ(xml.getAttribMap(list, 1, map), plat::S_OK);
  plat::VARIANT value;
  plat::VariantInit(&value);
  ASSERT_EQ(xml.getAttributeFromMap(map, "n", &value), plat::S_OK);
  ASSERT_EQ(value.vt, plat::VT_BSTR);
  EXPECT_EQ(take(value.bstrVal), "2");
  value.vt = plat::VT_I4;
  value.lVal = 9;
  EXPECT_EQ(xml.getAttributeFromMap(map, "missing", &value), plat::E_FAIL);
  EXPECT_EQ(value.lVal, 9);
  EXPECT_EQ(thrown([&] { xml.getAttribMap(list, 5, map); }), plat::E_FAIL);

  // A query can give attribute nodes: they follow their value and have no children.
  ASSERT_EQ(xml.getList("@n", list), plat::S_OK);
  xml.write_to(first, "n", static_cast<plat::LONG>(5));
  plat::CComPtr<plat::IXMLDOMNode> attribute;
  ASSERT_EQ(list->get_item(0, &attribute), plat::S_OK);
  EXPECT_EQ(nodeXml(attribute), "n=\"5\"");
  NodeList none;
  ASSERT_EQ(xml.getChildList(list, none, 0), plat::S_OK);
  EXPECT_EQ(NodeListIterator(none).size(), 0);

  // A load replaces the tree: its nodes still answer, but can't join the new one. A matching
  // child that isn't an element gives null; an empty list has no map.
  parse("<m><?same x?><same/></m>");
  const Element m = xml.findChild(Element(), "m");
  EXPECT_EQ(nodeXml(first), "<same n=\"5\"/>");
  plat::CComPtr<plat::IXMLDOMNode> added;
  EXPECT_EQ(m->appendChild(first, &added), plat::E_FAIL);
  EXPECT_FALSE(xml.findChild(m, "same"));
  ASSERT_EQ(xml.getList("nothing", list), plat::S_OK);
  EXPECT_EQ(xml.getAttribMap(list, 0, map), plat::E_FAIL);
  // The document goes with its last node, not before.
  xml.clear();
  XmlSupport owner(static_cast<plat::IXMLDOMElement*>(m));
  EXPECT_EQ(xmlOf(owner), "<m>\n  <?same x?>\n  <same/>\n</m>\n");
}

// Deeper than a parser would take: searching, serialising and freeing must not recurse.
TEST_F(XmlSupportTest, DeepTreesBuiltByHand) {
  ASSERT_EQ(xml.createDocument(), plat::S_OK);
  Element at;
  for (int depth = 0; depth < 100000; ++depth) {
    at = xml.addAChild(at, "d");
  }
  setXpxml(3);
  NodeList all;
  plat::LONG count = 0;
  ASSERT_EQ(xml.getList("d", all, count), plat::S_OK);
  EXPECT_EQ(count, 100000);
  const std::string text = xmlOf(xml);
  EXPECT_EQ(text.compare(0, 9, "<d>\n  <d>"), 0);
  EXPECT_EQ(text.compare(text.size() - 10, 10, "</d>\n</d>\n"), 0);
}

TEST_F(XmlSupportTest, AttributesAreWrittenAsTextAndComeBackThroughAStream) {
  ASSERT_EQ(xml.createDocument(), plat::S_OK);
  EXPECT_TRUE(xml.addVersion());
  const Element e = xml.addAChild(Element(), "e");
  const KELPString value(wide("Grüße, 東京 \xF0\x9F\x98\x80 <&\"'>"));
  xml.write_to(e, "text", value);
  xml.write_to(e, "yes", true);
  xml.write_to(e, "long", static_cast<plat::LONG>(-2147483647 - 1));
  xml.write_to(e, "float", 0.1F);
  xml.write_to(e, "big", 1e20F);
  xml.write_to(e, "double", 1.0 / 3);
  plat::VARIANT flag;
  plat::VariantInit(&flag);
  flag.vt = plat::VT_BOOL;
  flag.boolVal = plat::VARIANT_TRUE;
  xml.write_to(e, "variant", flag);
  // The DOM can't turn an object into text: nothing is written, and the copy made on the way
  // gives its reference back.
  const plat::CComPtr<plat::IStream> stream = streamOf("");
  flag.vt = plat::VT_UNKNOWN;
  flag.punkVal = stream;
  xml.write_to(e, "object", flag);
  EXPECT_EQ(stream->AddRef(), 2u);
  stream->Release();
  const std::string text = xmlOf(xml);
  EXPECT_EQ(text, "<?xml version=\"1.1\"?>\n<e text=\"Grüße, 東京 😀 &lt;&amp;&quot;'&gt;\" "
                  "yes=\"1\" long=\"-2147483648\" float=\"0.1\" big=\"1e+20\" "
                  "double=\"0.333333333333333\" variant=\"-1\"/>\n");
  KELPString read;
  xml.read_from(e, "text", read);
  EXPECT_EQ(narrow(read), narrow(value));
  xml.read_from(e, "object", read); // no attribute: read keeps what it held
  EXPECT_EQ(narrow(read), narrow(value));
  EXPECT_TRUE(XmlSupport::boolToKelpString(2) == "True");

  // Read from the stream's start although the save left it at the end.
  ASSERT_EQ(xml.save_all(stream), plat::S_OK);
  ASSERT_EQ(xml.readXml(stream), -1);
  EXPECT_EQ(xmlOf(xml), text);
}

} // namespace
