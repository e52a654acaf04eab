#ifndef BASALT_DATA_XML_SUPPORT_H
#define BASALT_DATA_XML_SUPPORT_H

#include "basalt/export.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/xml_dom.h"
#include "basalt/text/kelp_string.h"

// One XML DOM document, or a node in one, and the few operations the library's users need.
//
// The registry value XPXML (a DWORD under HKEY_LOCAL_MACHINE\SOFTWARE\Lowmarsh Software\Remote
// Cube Services), read afresh at every use, picks the DOM class that createDocument makes
// (0 or missing: CLSID_DOMDocument, 1: the class 02083B4E, 2: CLSID_DOMDocument30, else as 0)
// and how getNodeList searches (missing or 0: the XPath query ".//name", else
// getElementsByTagName).
//
// Operations report in one of three ways, by operation: an HRESULT as result; an HRESULT
// thrown as a LONG; or nothing. COM must be initialised on the calling thread. Copies share
// the DOM objects. One thread at a time.
class BASALT_API XmlSupport {
public:
  using Element = basalt::platform::CComQIPtr<basalt::platform::IXMLDOMElement>;
  using NodeList = basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNodeList>;
  using AttributeMap = basalt::platform::CComPtr<basalt::platform::IXMLDOMNamedNodeMap>;
  // The original's long: results and thrown failures are 32-bit HRESULTs.
  using LONG = basalt::platform::LONG;

  XmlSupport();
  // Throws the result of initializeFromNode when it fails.
  explicit XmlSupport(basalt::platform::IUnknown* source);
  ~XmlSupport();
  XmlSupport(const XmlSupport& other) = default;
  XmlSupport& operator=(const XmlSupport& other) = default;

  // Works from source, a document or a node in one. E_NOINTERFACE (0x80004002) when source
  // is no node or has no document; throws when the DOM can't give the owner document.
  LONG initializeFromNode(basalt::platform::IUnknown* source);
  // A new, empty document of the class XPXML picks; the failure of CoCreateInstance as it
  // came, with nothing changed.
  LONG createDocument();
  // Back to no document; the loaded flag goes too.
  void clear();
  // The caller's own note: set by loaded(true), cleared only by clear.
  bool loaded(bool set);

  // -1 when the document loaded, 0 when the text isn't well-formed (the document is then
  // empty); a failure of the DOM is thrown. From the stream's start, wherever it stood.
  // Without a document E_POINTER is thrown, for a null stream E_INVALIDARG.
  short readXml(basalt::platform::IStream* stream);
  // 0 when there is no document.
  short readXml(const KELPString& text);
  // E_FAIL (0x80004005) when there is no document.
  LONG get_xml(KELPString& text);
  // E_POINTER when there is no document, E_INVALIDARG for a null stream.
  LONG save_all(basalt::platform::IStream* stream);
  // E_FAIL when there is no document.
  LONG save_ascii(basalt::platform::IStream* stream);
  // Appends the declaration <?xml version="1.1"?> to the document, so it comes first only
  // when added before the root. False when there is no document; DOM failures are thrown.
  bool addVersion();

  // A new element appended to parent, or to this object's node when parent is null. Null
  // when there is no document; DOM failures are thrown.
  Element addAChild(Element parent, const KELPString& name);
  // The first direct child of parent (or of the node) with that name, if it is an element;
  // null when there is nothing to search.
  Element findChild(Element parent, const KELPString& name);
  // Every element of that name below the node; null when there is no document. DOM failures
  // (a name that makes a bad query, among them) are thrown.
  basalt::platform::CComPtr<basalt::platform::IXMLDOMNodeList> getNodeList(const KELPString& name);
  // list := getNodeList(name); 0 when it isn't null, else E_FAIL.
  LONG getList(const KELPString& name, NodeList& list);
  // Also its length; E_FAIL unless the list holds at least one node.
  LONG getList(const KELPString& name, NodeList& list, LONG& count);
  // The child nodes of the list's node index. E_FAIL for a null list, else the last DOM
  // result.
  LONG getChildList(NodeList& list, NodeList& children, LONG index);
  // The attributes of the list's node index. E_FAIL for a null or empty list; DOM failures,
  // and an index outside the list (as E_FAIL), are thrown.
  LONG getAttribMap(NodeList& list, LONG index, AttributeMap& map);
  // The attribute's value into value; E_FAIL, with value untouched, when there is none (or
  // no map, or no value to fill).
  LONG getAttributeFromMap(AttributeMap& map, const KELPString& name,
                           basalt::platform::VARIANT* value);

  // Sets an attribute of element. Numbers go in as the DOM writes them in decimal; a bool as
  // 1 or 0. Failures (a null element among them) are not reported.
  void write_to(Element element, const KELPString& name, const KELPString& value);
  void write_to(Element element, const KELPString& name, const LONG& value);
  void write_to(Element element, const KELPString& name, const bool& value);
  void write_to(Element element, const KELPString& name, const float& value);
  void write_to(Element element, const KELPString& name, const double& value);
  void write_to(Element element, const KELPString& name, const basalt::platform::VARIANT& value);
  // The attribute's text; value stays as it was when there is none.
  void read_from(Element element, const KELPString& name, KELPString& value);

  // "True" for non-zero, "False" for 0.
  static KELPString boolToKelpString(int value);

private:
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMDocument> document;
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNode> node;
  bool loadedFlag = false;
};

#endif
