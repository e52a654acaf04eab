#ifndef BASALT_DATA_NODE_LIST_ITERATOR_H
#define BASALT_DATA_NODE_LIST_ITERATOR_H

#include "basalt/export.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/xml_dom.h"
#include "basalt/text/kelp_string.h"

// Walks an XML node list node by node, keeping the current node and its attributes so that
// they can be read by name as typed values, the counterpart of XmlSupport::write_to.
//
// It starts by itself on first use; the length is read once. The position runs freely: past
// the end the last node stays current, and below 0 (after operator-=) the node it stood on.
// Walk lists of elements and test atEnd first: a node without attributes has nothing to
// read, and the reads then throw E_UNEXPECTED; so does stepping while the position is below 0.
//
// DOM failures are thrown as a 32-bit HRESULT (a LONG). Copies share the DOM objects and move
// by themselves. One thread at a time, with COM initialised on it.
class BASALT_API NodeListIterator {
public:
  using NodeList = basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNodeList>;
  using LONG = basalt::platform::LONG;

  explicit NodeListIterator(NodeList list);
  ~NodeListIterator();
  NodeListIterator(const NodeListIterator& other) = default;
  NodeListIterator& operator=(const NodeListIterator& other) = default;

  // Goes to the first node; does nothing while the list is null or empty.
  void begin();
  const LONG& size();
  void operator++();
  void operator-=(unsigned int count);
  // True for an empty list, or at or past the end.
  bool atEnd();
  // True for an empty list, or at or past the last node.
  bool penultimate();
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNode> iter();
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNodeList> get_childList();

  // False, with value untouched, when the current node has no such attribute. value isn't
  // cleared first.
  bool get_attribute(const KELPString& name, basalt::platform::VARIANT* value);
  // Numbers are read as far as they go, in base 10: "12ab" gives 12, text without digits 0,
  // and the result is still true. A flag is true only for a text whose number is exactly 1.
  bool read(const KELPString& name, KELPString& value);
  bool read(const KELPString& name, LONG& value);
  bool read(const KELPString& name, bool& value);
  bool read(const KELPString& name, float& value);
  bool read(const KELPString& name, double& value);

private:
  void start();
  // The node at position and its attributes. E_UNEXPECTED when there is no node there;
  // thrown is what a failure of the attributes throws (0 for the DOM's own result).
  void fetch(LONG thrown);
  // The attribute's text through get_attribute; false when there is none.
  bool readText(const KELPString& name, KELPString& text);
  basalt::platform::IXMLDOMNamedNodeMap* attributeMap();

  NodeList list;
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNode> current;
  NodeList childList;
  basalt::platform::CComPtr<basalt::platform::IXMLDOMNamedNodeMap> attributes;
  LONG position = 0;
  LONG length = 0;
  bool started = false;
};

#endif
