#ifndef BASALT_DATA_NODE_LIST_ITERATOR_H
#define BASALT_DATA_NODE_LIST_ITERATOR_H

#include "basalt/export.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/xml_dom.h"
#include "basalt/text/kelp_string.h"

#include <string_view>

// Walks an XML node list node by node, keeping the current node and its attributes so that
// they can be read by name as typed values, the counterpart of XmlSupport::write_to.
//
// It starts by itself on first use; the length is read once. The position runs freely: past
// the end the last node stays current, and below 0 (after operator-=) the node it stood on.
// Walk lists of elements and test atEnd first: a node without attributes has nothing to
// read, and the reads then throw E_UNEXPECTED; so does stepping while the position is below 0.
//
// A list of the platform's DOM is read in place: the node object of a step is made only when
// iter or get_childList asks for it. Any other list is walked through its nodes' attribute
// maps.
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
  // Moves to the node at position: with a list of this platform's DOM only checks that there
  // is one, else gets it and its attributes. E_UNEXPECTED when there is no node there; thrown
  // is what a failure of the attributes throws (0 for the DOM's own result).
  void fetch(LONG thrown);
  // The current node, made when it is first asked for.
  basalt::platform::IXMLDOMNode* node();
  // The attribute's value through the list's reader; false when there is none.
  bool readerText(const KELPString& name, std::string_view& text);
  template <typename Use> bool readValue(const KELPString& name, Use use);

  NodeList list;
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNode> current;
  NodeList childList;
  basalt::platform::CComPtr<basalt::platform::IXMLDOMNamedNodeMap> attributes;
  LONG position = 0;
  LONG length = 0;
  bool started = false;
  // The list's attribute reader, when it has one: then reads need no node objects.
  basalt::platform::CComQIPtr<basalt::platform::IXMLDOMNodeListAttributes> reader;
  LONG at = 0; // the index of the current node
};

#endif
