#include "basalt/platform/com/xml_dom.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/xml_document_class.h"
#include "basalt/platform/com/xml_text_form.h"
#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xpath.h>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace basalt::platform {
namespace {

constexpr HRESULT PATH_NOT_FOUND = static_cast<HRESULT>(0x80070003);
constexpr HRESULT ACCESS_DENIED = static_cast<HRESULT>(0x80070005);

const xmlChar* xml(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}
const char* chars(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

std::string utf8Of(BSTR text) {
  std::string out;
  utf8::append(out, text, SysStringLen(text));
  return out;
}

// UTF-8 as an automation string, made in one piece when it is ASCII, as names and numbers are.
HRESULT giveText(const char* utf8Text, std::size_t size, BSTR* target) {
  if (std::all_of(utf8Text, utf8Text + size, [](char byte) { return (byte & 0x80) == 0; })) {
    *target = size <= UINT_MAX ? SysAllocStringLen(nullptr, static_cast<UINT>(size)) : nullptr;
    if (*target == nullptr) {
      return E_OUTOFMEMORY;
    }
    std::copy(utf8Text, utf8Text + size, *target);
    return S_OK;
  }
  std::basic_string<WCHAR> units;
  utf8::decodeAll(std::string(utf8Text, size), units);
  *target = SysAllocStringLen(units.data(), static_cast<UINT>(units.size()));
  return *target == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT giveText(const std::string& utf8Text, BSTR* target) {
  return giveText(utf8Text.data(), utf8Text.size(), target);
}

// Text that XML 1.0 can carry: no control characters but tab, line feed and carriage
// return, no lone surrogates, and neither U+FFFE nor U+FFFF.
bool isXmlText(BSTR text) {
  const UINT length = SysStringLen(text);
  for (UINT i = 0; i < length; ++i) {
    const WCHAR unit = text[i];
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      if (i + 1 == length || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF) {
        return false;
      }
      ++i;
    } else if ((unit < 0x20 && unit != 0x9 && unit != 0xA && unit != 0xD) ||
               (unit >= 0xDC00 && unit <= 0xDFFF) || unit >= 0xFFFE) {
      return false;
    }
  }
  return true;
}

void quietStructuredError(void* /*context*/, xmlErrorPtr /*error*/) {}

// Stamps the versions of trees, so that a live list sees every change, of any tree, as new.
std::atomic<std::uint64_t> lastStamp{0};

// One libxml2 document and the nodes made for it. Nodes that were made but never linked into
// the document go with it, whole subtrees at a time.
struct Tree {
  explicit Tree(xmlDocPtr document) : doc(document), stamp(++lastStamp) {}
  ~Tree() {
    std::vector<xmlNodePtr> detached;
    for (xmlNodePtr node : created) {
      if (node->parent == nullptr) {
        detached.push_back(node);
      }
    }
    for (xmlNodePtr node : detached) {
      xmlFreeNode(node);
    }
    xmlFreeDoc(doc);
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  void changed() { stamp = ++lastStamp; }
  xmlNodePtr docNode() const { return reinterpret_cast<xmlNodePtr>(doc); }

  xmlDocPtr doc;
  std::uint64_t stamp;
  std::vector<xmlNodePtr> created;
};
using TreePtr = std::shared_ptr<Tree>;

class DomDocument;

// What the library's own node objects share, found through QueryInterface with an id that
// only this file knows, so that nodes of other makers are told apart.
class NodeCore : public IUnknown {
public:
  static constexpr IID iid = {
      0x5E1C0A77, 0x0B5A, 0x4A17, {0x9D, 0x21, 0x6B, 0x0F, 0xA2, 0x33, 0x48, 0xC1}};
  virtual TreePtr tree() = 0;
  virtual xmlNodePtr node() = 0;
  virtual DomDocument* owner() = 0;

protected:
  ~NodeCore() = default;
};

// The reference count of every object here; the object deletes itself at 0.
class Counted {
protected:
  Counted() = default;
  virtual ~Counted() = default;
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  ULONG addRef() { return ++references; }
  ULONG release() {
    const ULONG left = --references;
    if (left == 0) {
      delete this;
    }
    return left;
  }

private:
  std::atomic<ULONG> references{1};
};

template <typename Interface> HRESULT give(Interface* object, void** target) {
  object->AddRef();
  *target = object;
  return S_OK;
}

// QueryInterface of an object that offers one interface besides IUnknown.
template <typename Interface> HRESULT queryOne(Interface* self, REFIID id, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  if (IsEqualGUID(id, IUnknown::iid) || IsEqualGUID(id, Interface::iid)) {
    return give(self, object);
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

IXMLDOMNode* wrap(DomDocument* owner, const TreePtr& tree, xmlNodePtr node);

std::string qualifiedName(xmlNodePtr node) {
  std::string name = chars(node->name);
  if (node->ns != nullptr && node->ns->prefix != nullptr) {
    name = std::string(chars(node->ns->prefix)) + ":" + name;
  }
  return name;
}

// Whether name goes on at at with the zero-ended bytes; at moves past them.
template <typename Unit>
bool goesOnWith(std::basic_string_view<Unit> name, std::size_t& at, const char* bytes) {
  for (; *bytes != 0; ++bytes, ++at) {
    if (at == name.size() ||
        static_cast<std::make_unsigned_t<Unit>>(name[at]) != static_cast<unsigned char>(*bytes)) {
      return false;
    }
  }
  return true;
}

// Whether name, in UTF-8 or in units that are all ASCII, is the node's qualified name, without
// building it.
template <typename Unit> bool hasQualifiedName(xmlNodePtr node, std::basic_string_view<Unit> name) {
  std::size_t at = 0;
  if (node->ns != nullptr && node->ns->prefix != nullptr &&
      !(goesOnWith(name, at, chars(node->ns->prefix)) && goesOnWith(name, at, ":"))) {
    return false;
  }
  return goesOnWith(name, at, chars(node->name)) && at == name.size();
}

std::string nodeName(xmlNodePtr node) {
  switch (node->type) {
  case XML_TEXT_NODE:
    return "#text";
  case XML_CDATA_SECTION_NODE:
    return "#cdata-section";
  case XML_COMMENT_NODE:
    return "#comment";
  case XML_DOCUMENT_NODE:
    return "#document";
  case XML_ELEMENT_NODE:
  case XML_ATTRIBUTE_NODE:
    return qualifiedName(node);
  default:
    return node->name != nullptr ? chars(node->name) : "";
  }
}

std::string contentOf(xmlNodePtr node) {
  xmlChar* content = xmlNodeGetContent(node);
  std::string text = content != nullptr ? chars(content) : "";
  xmlFree(content);
  return text;
}

template <typename Unit>
xmlAttrPtr findAttribute(xmlNodePtr element, std::basic_string_view<Unit> name) {
  for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (hasQualifiedName(reinterpret_cast<xmlNodePtr>(attribute), name)) {
      return attribute;
    }
  }
  return nullptr;
}

// An ASCII name, as most are, is compared as it came.
xmlAttrPtr findAttribute(xmlNodePtr element, BSTR name) {
  const std::basic_string_view<WCHAR> units(name, SysStringLen(name));
  if (std::all_of(units.begin(), units.end(), [](WCHAR unit) { return unit < 0x80; })) {
    return findAttribute(element, units);
  }
  return findAttribute(element, std::string_view(utf8Of(name)));
}

// An attribute's text is not offered as nodes: libxml2 frees and remakes it whenever the
// value changes, and a node object must never outlive its libxml2 node.
bool hasChildList(xmlNodePtr node) {
  return node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE;
}

// In document order, without recursion: a tree built through the DOM may be deeper than
// the stack.
template <typename Match>
void collectElements(xmlNodePtr from, Match matches, std::vector<xmlNodePtr>& found) {
  xmlNodePtr at = from->children;
  while (at != nullptr) {
    if (at->type == XML_ELEMENT_NODE) {
      if (matches(at)) {
        found.push_back(at);
      }
      if (at->children != nullptr) {
        at = at->children;
        continue;
      }
    }
    while (at != from && at->next == nullptr) {
      at = at->parent;
    }
    at = at == from ? nullptr : at->next;
  }
}

// The value of an attribute, text, comment or processing instruction: in place where it is one
// piece of text, as most attributes' values are, else put together in made.
std::string_view valueOf(xmlNodePtr node, std::string& made) {
  xmlNodePtr holder = node;
  if (node->type == XML_ATTRIBUTE_NODE) {
    xmlNodePtr only = node->children;
    if (only == nullptr) {
      return std::string_view();
    }
    if (only->next != nullptr || only->type != XML_TEXT_NODE) {
      made = contentOf(node);
      return made;
    }
    holder = only;
  }
  return holder->content != nullptr ? std::string_view(chars(holder->content)) : std::string_view();
}

HRESULT nodeValueOf(xmlNodePtr node, VARIANT* value) {
  if (value == nullptr) {
    return E_POINTER;
  }
  VariantInit(value);
  switch (node->type) {
  case XML_ATTRIBUTE_NODE:
  case XML_TEXT_NODE:
  case XML_CDATA_SECTION_NODE:
  case XML_COMMENT_NODE:
  case XML_PI_NODE: {
    std::string made;
    const std::string_view content = valueOf(node, made);
    BSTR text = nullptr;
    const HRESULT result = giveText(content.data(), content.size(), &text);
    if (SUCCEEDED(result)) {
      value->vt = VT_BSTR;
      value->bstrVal = text;
    }
    return result;
  }
  default:
    value->vt = VT_NULL;
    return S_FALSE;
  }
}

// A list over a node: its children or its elements of one name, read again whenever the tree
// has changed since; or a fixed selection.
class DomNodeList final : public IXMLDOMNodeList,
                          public IXMLDOMNodeListAttributes,
                          private Counted {
public:
  enum Kind { Children, Elements, Fixed };

  DomNodeList(NodeCore* source, Kind kind, std::string name)
      : source(source), kind(kind), name(std::move(name)) {
    source->AddRef();
  }
  DomNodeList(NodeCore* source, TreePtr tree, std::vector<xmlNodePtr> nodes)
      : source(source), kind(Fixed), tree(std::move(tree)), nodes(std::move(nodes)) {
    source->AddRef();
  }

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    if (IsEqualGUID(id, IUnknown::iid) || IsEqualGUID(id, IXMLDOMNodeList::iid)) {
      return give(static_cast<IXMLDOMNodeList*>(this), object);
    }
    if (IsEqualGUID(id, IXMLDOMNodeListAttributes::iid)) {
      return give(static_cast<IXMLDOMNodeListAttributes*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return addRef(); }
  ULONG Release() override { return release(); }

  HRESULT getItemAttributeText(LONG index, BSTR name, const char** text, UINT* length) override {
    if (text == nullptr || length == nullptr) {
      return E_POINTER;
    }
    refresh();
    if (index < 0 || static_cast<std::size_t>(index) >= nodes.size() ||
        nodes[static_cast<std::size_t>(index)]->type != XML_ELEMENT_NODE) {
      return E_UNEXPECTED;
    }
    xmlAttrPtr attribute = findAttribute(nodes[static_cast<std::size_t>(index)], name);
    if (attribute == nullptr) {
      return S_FALSE;
    }
    const std::string_view value = valueOf(reinterpret_cast<xmlNodePtr>(attribute), made);
    *text = value.empty() ? "" : value.data();
    *length = static_cast<UINT>(value.size());
    return S_OK;
  }

  HRESULT get_item(LONG index, IXMLDOMNode** node) override {
    if (node == nullptr) {
      return E_POINTER;
    }
    refresh();
    if (index < 0 || static_cast<std::size_t>(index) >= nodes.size()) {
      *node = nullptr;
      return S_FALSE;
    }
    *node = wrap(source->owner(), tree, nodes[static_cast<std::size_t>(index)]);
    return *node == nullptr ? E_OUTOFMEMORY : S_OK;
  }

  HRESULT get_length(LONG* length) override {
    if (length == nullptr) {
      return E_POINTER;
    }
    refresh();
    *length = static_cast<LONG>(std::min<std::size_t>(nodes.size(), LONG_MAX));
    return S_OK;
  }

private:
  ~DomNodeList() override { source->Release(); }

  void refresh() {
    if (kind == Fixed) {
      return;
    }
    TreePtr now = source->tree();
    if (tree != nullptr && now->stamp == stamp) {
      return;
    }
    tree = std::move(now);
    stamp = tree->stamp;
    nodes.clear();
    xmlNodePtr from = source->node();
    if (kind == Elements) {
      collectElements(
          from,
          [this](xmlNodePtr element) {
            return name == "*" || hasQualifiedName(element, std::string_view(name));
          },
          nodes);
    } else if (hasChildList(from)) {
      for (xmlNodePtr child = from->children; child != nullptr; child = child->next) {
        nodes.push_back(child);
      }
    }
  }

  NodeCore* source; // counted
  Kind kind;
  std::string name;
  TreePtr tree;
  std::uint64_t stamp = 0;
  std::vector<xmlNodePtr> nodes;
  std::string made; // the last attribute value put together for getItemAttributeText
};

// The attribute map of an element: a part of the element's object, counted with it, so that
// asking for it makes nothing.
class DomAttributeMap final : public IXMLDOMNamedNodeMap {
public:
  explicit DomAttributeMap(NodeCore* element) : element(element) {}
  ~DomAttributeMap() = default;
  DomAttributeMap(const DomAttributeMap&) = delete;
  DomAttributeMap& operator=(const DomAttributeMap&) = delete;

  HRESULT QueryInterface(REFIID id, void** object) override {
    return queryOne<IXMLDOMNamedNodeMap>(this, id, object);
  }
  ULONG AddRef() override { return element->AddRef(); }
  ULONG Release() override { return element->Release(); }

  HRESULT getNamedItem(BSTR name, IXMLDOMNode** node) override {
    if (node == nullptr) {
      return E_POINTER;
    }
    *node = nullptr;
    xmlAttrPtr attribute = findAttribute(element->node(), name);
    if (attribute == nullptr) {
      return S_FALSE;
    }
    *node = wrap(element->owner(), element->tree(), reinterpret_cast<xmlNodePtr>(attribute));
    return *node == nullptr ? E_OUTOFMEMORY : S_OK;
  }

private:
  NodeCore* element; // the object this map is part of
};

HRESULT xmlOf(xmlNodePtr node, BSTR* text) {
  if (text == nullptr) {
    return E_POINTER;
  }
  *text = nullptr;
  std::string out;
  if (node->type == XML_ATTRIBUTE_NODE) {
    xmlChar* escaped = xmlEncodeSpecialChars(node->doc, xml(contentOf(node)));
    out = qualifiedName(node) + "=\"" + (escaped != nullptr ? chars(escaped) : "") + "\"";
    xmlFree(escaped);
  } else if (!writeXmlText(node, out)) {
    return E_OUTOFMEMORY;
  }
  return giveText(out, text);
}

HRESULT selectFrom(NodeCore* source, BSTR query, IXMLDOMNodeList** list) {
  if (list == nullptr) {
    return E_POINTER;
  }
  *list = nullptr;
  xmlNodePtr context = source->node();
  if (context->type == XML_DTD_NODE || context->type == XML_ENTITY_REF_NODE) {
    return E_FAIL;
  }
  TreePtr tree = source->tree();
  const std::string expression = utf8Of(query);
  // ".//name", the search XmlSupport makes: the elements below of that name in no namespace,
  // in document order, as XPath selects them, found without evaluating XPath.
  if (expression.size() > 3 && expression.compare(0, 3, ".//") == 0 &&
      xmlValidateNCName(xml(expression.substr(3)), 0) == 0) {
    const char* name = expression.c_str() + 3;
    // A parsed document's names are in its dictionary, each once: mostly compared by address.
    const xmlChar* known =
        tree->doc->dict != nullptr ? xmlDictExists(tree->doc->dict, xml(name), -1) : nullptr;
    std::vector<xmlNodePtr> nodes;
    try {
      collectElements(
          context,
          [name, known](xmlNodePtr element) {
            return element->ns == nullptr &&
                   (element->name == known || (element->name[0] == static_cast<xmlChar>(name[0]) &&
                                               std::strcmp(chars(element->name), name) == 0));
          },
          nodes);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    *list = new (std::nothrow) DomNodeList(source, tree, std::move(nodes));
    return *list == nullptr ? E_OUTOFMEMORY : S_OK;
  }
  xmlXPathContextPtr xpath = xmlXPathNewContext(tree->doc);
  if (xpath == nullptr) {
    return E_OUTOFMEMORY;
  }
  xpath->node = context;
  xpath->error = quietStructuredError;
  xmlXPathObjectPtr result = xmlXPathEvalExpression(xml(expression), xpath);
  HRESULT outcome = E_FAIL;
  if (result != nullptr && result->type == XPATH_NODESET) {
    std::vector<xmlNodePtr> nodes;
    if (result->nodesetval != nullptr) {
      for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
        xmlNodePtr node = result->nodesetval->nodeTab[i];
        if (node->type != XML_NAMESPACE_DECL) { // copies, freed with the result
          nodes.push_back(node);
        }
      }
    }
    *list = new (std::nothrow) DomNodeList(source, tree, std::move(nodes));
    outcome = *list == nullptr ? E_OUTOFMEMORY : S_OK;
  }
  xmlXPathFreeObject(result);
  xmlXPathFreeContext(xpath);
  return outcome;
}

HRESULT childrenOf(NodeCore* source, IXMLDOMNodeList** list) {
  if (list == nullptr) {
    return E_POINTER;
  }
  *list = new (std::nothrow) DomNodeList(source, DomNodeList::Children, std::string());
  return *list == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT elementsBelow(NodeCore* source, BSTR name, IXMLDOMNodeList** list) {
  if (list == nullptr) {
    return E_POINTER;
  }
  *list = new (std::nothrow) DomNodeList(source, DomNodeList::Elements, utf8Of(name));
  return *list == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT appendTo(NodeCore* parentCore, IXMLDOMNode* child, IXMLDOMNode** added) {
  if (added != nullptr) {
    *added = nullptr;
  }
  if (child == nullptr) {
    return E_INVALIDARG;
  }
  CComQIPtr<NodeCore> childCore(child);
  if (!childCore) {
    return E_INVALIDARG;
  }
  xmlNodePtr parent = parentCore->node();
  xmlNodePtr node = childCore->node();
  const bool toDocument = parent->type == XML_DOCUMENT_NODE;
  if (parent->type != XML_ELEMENT_NODE && !toDocument) {
    return E_FAIL;
  }
  switch (node->type) {
  case XML_ELEMENT_NODE:
  case XML_COMMENT_NODE:
  case XML_PI_NODE:
    break;
  case XML_TEXT_NODE:
  case XML_CDATA_SECTION_NODE:
  case XML_ENTITY_REF_NODE:
    if (toDocument) {
      return E_FAIL;
    }
    break;
  default:
    return E_FAIL;
  }
  const xmlDocPtr parentDoc = toDocument ? reinterpret_cast<xmlDocPtr>(parent) : parent->doc;
  if (node->doc != parentDoc) {
    return E_FAIL;
  }
  // Only a node with children can be an ancestor; a leaf needs no walk up the tree.
  for (xmlNodePtr above = parent; above != nullptr; above = above->parent) {
    if (above == node) {
      return E_FAIL;
    }
    if (node->children == nullptr) {
      break;
    }
  }
  if (toDocument && node->type == XML_ELEMENT_NODE) {
    const xmlNodePtr root = xmlDocGetRootElement(parentDoc);
    if (root != nullptr && root != node) {
      return E_FAIL;
    }
  }
  // Linked by hand: xmlAddChild would merge a text node into its neighbour and free it.
  xmlUnlinkNode(node);
  node->parent = parent;
  node->prev = parent->last;
  node->next = nullptr;
  if (parent->last != nullptr) {
    parent->last->next = node;
  } else {
    parent->children = node;
  }
  parent->last = node;
  parentCore->tree()->changed();
  if (added != nullptr) {
    child->AddRef();
    *added = child;
  }
  return S_OK;
}

class DomDocument final : public IXMLDOMDocument,
                          public IPersist,
                          public NodeCore,
                          private Counted {
public:
  DomDocument(const CLSID& classId, TreePtr tree) : classId(classId), current(std::move(tree)) {}

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    if (IsEqualGUID(id, IUnknown::iid) || IsEqualGUID(id, IXMLDOMNode::iid) ||
        IsEqualGUID(id, IXMLDOMDocument::iid)) {
      return give(static_cast<IXMLDOMDocument*>(this), object);
    }
    if (IsEqualGUID(id, IPersist::iid)) {
      return give(static_cast<IPersist*>(this), object);
    }
    if (IsEqualGUID(id, NodeCore::iid)) {
      return give(static_cast<NodeCore*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return addRef(); }
  ULONG Release() override { return release(); }

  TreePtr tree() override { return current; }
  xmlNodePtr node() override { return current->docNode(); }
  DomDocument* owner() override { return this; }

  HRESULT GetClassID(CLSID* target) override {
    if (target == nullptr) {
      return E_POINTER;
    }
    *target = classId;
    return S_OK;
  }

  HRESULT get_nodeName(BSTR* name) override {
    return name == nullptr ? E_POINTER : giveText("#document", name);
  }
  HRESULT get_nodeValue(VARIANT* value) override { return nodeValueOf(node(), value); }
  HRESULT get_childNodes(IXMLDOMNodeList** list) override { return childrenOf(this, list); }
  HRESULT get_attributes(IXMLDOMNamedNodeMap** map) override {
    if (map == nullptr) {
      return E_POINTER;
    }
    *map = nullptr;
    return S_FALSE;
  }
  HRESULT appendChild(IXMLDOMNode* child, IXMLDOMNode** added) override {
    return appendTo(this, child, added);
  }
  HRESULT get_ownerDocument(IXMLDOMDocument** document) override {
    if (document == nullptr) {
      return E_POINTER;
    }
    *document = nullptr;
    return S_FALSE;
  }
  HRESULT get_xml(BSTR* text) override { return xmlOf(node(), text); }
  HRESULT selectNodes(BSTR query, IXMLDOMNodeList** list) override {
    return selectFrom(this, query, list);
  }

  HRESULT createElement(BSTR name, IXMLDOMElement** element) override {
    if (element == nullptr) {
      return E_POINTER;
    }
    *element = nullptr;
    const std::string text = utf8Of(name);
    if (xmlValidateName(xml(text), 0) != 0) {
      return E_FAIL;
    }
    xmlNodePtr made = xmlNewDocNode(current->doc, nullptr, xml(text), nullptr);
    IXMLDOMNode* node = adopt(made);
    if (node == nullptr) {
      return E_OUTOFMEMORY;
    }
    void* asElement = nullptr;
    node->QueryInterface(IXMLDOMElement::iid, &asElement);
    node->Release();
    *element = static_cast<IXMLDOMElement*>(asElement);
    return S_OK;
  }

  HRESULT createProcessingInstruction(BSTR target, BSTR data, IXMLDOMNode** instruction) override {
    if (instruction == nullptr) {
      return E_POINTER;
    }
    *instruction = nullptr;
    const std::string name = utf8Of(target);
    const std::string content = utf8Of(data);
    if (xmlValidateName(xml(name), 0) != 0 || !isXmlText(data) ||
        content.find("?>") != std::string::npos) {
      return E_FAIL;
    }
    *instruction = adopt(xmlNewDocPI(current->doc, xml(name), xml(content)));
    return *instruction == nullptr ? E_OUTOFMEMORY : S_OK;
  }

  HRESULT getElementsByTagName(BSTR name, IXMLDOMNodeList** list) override {
    return elementsBelow(this, name, list);
  }

  HRESULT load(VARIANT source, VARIANT_BOOL* success) override;
  HRESULT loadXML(BSTR text, VARIANT_BOOL* success) override;
  HRESULT save(VARIANT destination) override;

private:
  ~DomDocument() override = default;

  // A node made for the current tree, wrapped; it stays the tree's until it is linked in.
  IXMLDOMNode* adopt(xmlNodePtr made) {
    if (made == nullptr) {
      return nullptr;
    }
    try {
      current->created.push_back(made);
    } catch (const std::bad_alloc&) {
      xmlFreeNode(made);
      return nullptr;
    }
    return wrap(this, current, made);
  }

  HRESULT parse(const char* bytes, std::size_t size, bool unicodeText, VARIANT_BOOL* success);

  CLSID classId;
  TreePtr current;
};

// Every node other than the document: element, attribute, text, comment, processing
// instruction. Only elements answer for IXMLDOMElement. One object per libxml2 node at a
// time, found again through the node's _private field, so that a node keeps its identity.
class DomNode final : public IXMLDOMElement, public NodeCore, private Counted {
public:
  DomNode(DomDocument* owner, TreePtr tree, xmlNodePtr node)
      : ownerDocument(owner), nodeTree(std::move(tree)), xmlNode(node) {
    ownerDocument->AddRef();
    xmlNode->_private = this;
  }

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    if (IsEqualGUID(id, IUnknown::iid) || IsEqualGUID(id, IXMLDOMNode::iid) ||
        (IsEqualGUID(id, IXMLDOMElement::iid) && xmlNode->type == XML_ELEMENT_NODE)) {
      return give(static_cast<IXMLDOMElement*>(this), object);
    }
    if (IsEqualGUID(id, NodeCore::iid)) {
      return give(static_cast<NodeCore*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return addRef(); }
  ULONG Release() override { return release(); }

  TreePtr tree() override { return nodeTree; }
  xmlNodePtr node() override { return xmlNode; }
  DomDocument* owner() override { return ownerDocument; }

  HRESULT get_nodeName(BSTR* name) override {
    return name == nullptr ? E_POINTER : giveText(nodeName(xmlNode), name);
  }
  HRESULT get_nodeValue(VARIANT* value) override { return nodeValueOf(xmlNode, value); }
  HRESULT get_childNodes(IXMLDOMNodeList** list) override { return childrenOf(this, list); }
  HRESULT get_attributes(IXMLDOMNamedNodeMap** map) override {
    if (map == nullptr) {
      return E_POINTER;
    }
    *map = nullptr;
    if (xmlNode->type != XML_ELEMENT_NODE) {
      return S_FALSE;
    }
    attributeMap.AddRef();
    *map = &attributeMap;
    return S_OK;
  }
  HRESULT appendChild(IXMLDOMNode* child, IXMLDOMNode** added) override {
    return appendTo(this, child, added);
  }
  HRESULT get_ownerDocument(IXMLDOMDocument** document) override {
    if (document == nullptr) {
      return E_POINTER;
    }
    ownerDocument->AddRef();
    *document = ownerDocument;
    return S_OK;
  }
  HRESULT get_xml(BSTR* text) override { return xmlOf(xmlNode, text); }
  HRESULT selectNodes(BSTR query, IXMLDOMNodeList** list) override {
    return selectFrom(this, query, list);
  }

  HRESULT getAttribute(BSTR name, VARIANT* value) override {
    if (value == nullptr) {
      return E_POINTER;
    }
    xmlAttrPtr attribute = findAttribute(xmlNode, name);
    if (attribute == nullptr) {
      VariantInit(value);
      value->vt = VT_NULL;
      return S_FALSE;
    }
    return nodeValueOf(reinterpret_cast<xmlNodePtr>(attribute), value);
  }

  HRESULT setAttribute(BSTR name, VARIANT value) override {
    VARIANT text;
    VariantInit(&text);
    HRESULT result = VariantChangeType(&text, &value, 0, VT_BSTR);
    if (FAILED(result)) {
      return result;
    }
    const std::string qualified = utf8Of(name);
    if (!isXmlText(text.bstrVal)) {
      result = E_INVALIDARG;
    } else if (xmlAttrPtr existing = findAttribute(xmlNode, std::string_view(qualified))) {
      result =
          xmlSetNsProp(xmlNode, existing->ns, existing->name, xml(utf8Of(text.bstrVal))) == nullptr
              ? E_OUTOFMEMORY
              : S_OK;
    } else if (xmlValidateQName(xml(qualified), 0) != 0) {
      result = E_FAIL;
    } else {
      result = xmlSetProp(xmlNode, xml(qualified), xml(utf8Of(text.bstrVal))) == nullptr
                   ? E_OUTOFMEMORY
                   : S_OK;
    }
    VariantClear(&text);
    return result;
  }

  HRESULT getElementsByTagName(BSTR name, IXMLDOMNodeList** list) override {
    return elementsBelow(this, name, list);
  }

private:
  ~DomNode() override {
    xmlNode->_private = nullptr;
    ownerDocument->Release();
  }

  DomDocument* ownerDocument; // counted
  TreePtr nodeTree;
  xmlNodePtr xmlNode;
  DomAttributeMap attributeMap{this};
};

IXMLDOMNode* wrap(DomDocument* owner, const TreePtr& tree, xmlNodePtr node) {
  if (node->type == XML_DOCUMENT_NODE) {
    owner->AddRef();
    return owner;
  }
  if (node->_private != nullptr) {
    auto* known = static_cast<DomNode*>(node->_private);
    known->AddRef();
    return known;
  }
  return new (std::nothrow) DomNode(owner, tree, node);
}

HRESULT DomDocument::parse(const char* bytes, std::size_t size, bool unicodeText,
                           VARIANT_BOOL* success) {
  xmlDocPtr doc = readXmlDocument(bytes, size, unicodeText);
  const bool parsed = doc != nullptr;
  if (doc == nullptr) {
    doc = xmlNewDoc(xml("1.0"));
    if (doc == nullptr) {
      return E_OUTOFMEMORY;
    }
  }
  try {
    current = std::make_shared<Tree>(doc);
  } catch (const std::bad_alloc&) {
    xmlFreeDoc(doc);
    return E_OUTOFMEMORY;
  }
  *success = parsed ? VARIANT_TRUE : VARIANT_FALSE;
  return parsed ? S_OK : S_FALSE;
}

HRESULT DomDocument::loadXML(BSTR text, VARIANT_BOOL* success) {
  if (success == nullptr) {
    return E_POINTER;
  }
  const std::string bytes = utf8Of(text);
  return parse(bytes.data(), bytes.size(), true, success);
}

HRESULT readFile(const std::string& path, std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    return S_FALSE;
  }
  char chunk[65536];
  HRESULT result = S_OK;
  for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, file)) > 0;) {
    bytes.append(chunk, got);
  }
  if (std::ferror(file) != 0) {
    result = S_FALSE;
  }
  std::fclose(file);
  return result;
}

HRESULT readStream(IStream* stream, std::string& bytes) {
  char chunk[65536];
  for (;;) {
    ULONG got = 0;
    const HRESULT result = stream->Read(chunk, sizeof chunk, &got);
    if (FAILED(result)) {
      return result;
    }
    if (got == 0) {
      return S_OK;
    }
    bytes.append(chunk, got);
  }
}

HRESULT DomDocument::load(VARIANT source, VARIANT_BOOL* success) {
  if (success == nullptr) {
    return E_POINTER;
  }
  std::string bytes;
  HRESULT read = S_OK;
  if (source.vt == VT_BSTR) {
    read = readFile(toOsPath(source.bstrVal), bytes);
  } else if (source.vt == VT_UNKNOWN && source.punkVal != nullptr) {
    CComQIPtr<IStream> stream(source.punkVal);
    if (!stream) {
      return E_INVALIDARG;
    }
    read = readStream(stream, bytes);
  } else {
    return E_INVALIDARG;
  }
  if (FAILED(read)) {
    return read;
  }
  if (read == S_FALSE) {
    bytes.clear(); // nothing to parse: the document ends up empty
  }
  return parse(bytes.data(), bytes.size(), false, success);
}

HRESULT writeFile(const std::string& path, const std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    return errno == ENOENT || errno == ENOTDIR                                      ? PATH_NOT_FOUND
           : errno == EACCES || errno == EPERM || errno == EROFS || errno == EISDIR ? ACCESS_DENIED
                                                                                    : E_FAIL;
  }
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written ? S_OK : E_FAIL;
}

HRESULT DomDocument::save(VARIANT destination) {
  std::string bytes;
  if (!writeXmlDocument(current->doc, bytes)) {
    return E_OUTOFMEMORY;
  }
  if (destination.vt == VT_BSTR) {
    return writeFile(toOsPath(destination.bstrVal), bytes);
  }
  if (destination.vt == VT_UNKNOWN && destination.punkVal != nullptr) {
    CComQIPtr<IStream> stream(destination.punkVal);
    if (!stream) {
      return E_INVALIDARG;
    }
    for (std::size_t at = 0; at < bytes.size();) {
      const auto chunk = static_cast<ULONG>(std::min<std::size_t>(bytes.size() - at, 1U << 30));
      ULONG done = 0;
      const HRESULT result = stream->Write(bytes.data() + at, chunk, &done);
      if (FAILED(result)) {
        return result;
      }
      if (done == 0) {
        return E_FAIL;
      }
      at += done;
    }
    return S_OK;
  }
  return E_INVALIDARG;
}

// A stream over a growing buffer in memory.
class MemoryStream final : public IStream, private Counted {
public:
  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    if (IsEqualGUID(id, IUnknown::iid) || IsEqualGUID(id, ISequentialStream::iid) ||
        IsEqualGUID(id, IStream::iid)) {
      return give(static_cast<IStream*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return addRef(); }
  ULONG Release() override { return release(); }

  HRESULT Read(void* buffer, ULONG size, ULONG* done) override {
    if (buffer == nullptr && size > 0) {
      return E_POINTER;
    }
    const std::size_t available = position < bytes.size() ? bytes.size() - position : 0;
    const std::size_t count = std::min<std::size_t>(size, available);
    if (count > 0) {
      std::memcpy(buffer, bytes.data() + position, count);
    }
    position += count;
    if (done != nullptr) {
      *done = static_cast<ULONG>(count);
    }
    return S_OK;
  }

  HRESULT Write(const void* buffer, ULONG size, ULONG* done) override {
    if (buffer == nullptr && size > 0) {
      return E_POINTER;
    }
    try {
      if (bytes.size() < position + size) {
        bytes.resize(position + size);
      }
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    if (size > 0) {
      std::memcpy(bytes.data() + position, buffer, size);
    }
    position += size;
    if (done != nullptr) {
      *done = size;
    }
    return S_OK;
  }

  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override {
    std::int64_t base = 0;
    if (origin == STREAM_SEEK_CUR) {
      base = static_cast<std::int64_t>(position);
    } else if (origin == STREAM_SEEK_END) {
      base = static_cast<std::int64_t>(bytes.size());
    } else if (origin != STREAM_SEEK_SET) {
      return STG_E_INVALIDFUNCTION;
    }
    if (move < -base || move > INT64_MAX - base) {
      return STG_E_INVALIDFUNCTION;
    }
    position = static_cast<std::size_t>(base + move);
    if (newPosition != nullptr) {
      *newPosition = position;
    }
    return S_OK;
  }

  std::vector<BYTE> bytes;

private:
  ~MemoryStream() override = default;

  std::size_t position = 0;
};

} // namespace

HRESULT createXmlDocument(REFCLSID classId, REFIID id, void** object) {
  if (!IsEqualGUID(classId, CLSID_DOMDocument) && !IsEqualGUID(classId, CLSID_DOMDocument30) &&
      !IsEqualGUID(classId, CLSID_DOMDocument02083B4E)) {
    return REGDB_E_CLASSNOTREG;
  }
  xmlInitParser();
  xmlDocPtr doc = xmlNewDoc(xml("1.0"));
  if (doc == nullptr) {
    return E_OUTOFMEMORY;
  }
  TreePtr tree;
  try {
    tree = std::make_shared<Tree>(doc);
  } catch (const std::bad_alloc&) {
    xmlFreeDoc(doc);
    return E_OUTOFMEMORY;
  }
  auto* document = new (std::nothrow) DomDocument(classId, std::move(tree));
  if (document == nullptr) {
    return E_OUTOFMEMORY;
  }
  const HRESULT result = static_cast<IXMLDOMDocument*>(document)->QueryInterface(id, object);
  static_cast<IXMLDOMDocument*>(document)->Release();
  return result;
}

IStream* SHCreateMemStream(const BYTE* initial, UINT size) {
  auto* stream = new (std::nothrow) MemoryStream;
  if (stream == nullptr) {
    return nullptr;
  }
  if (initial != nullptr && size > 0) {
    try {
      stream->bytes.assign(initial, initial + size);
    } catch (const std::bad_alloc&) {
      stream->Release();
      return nullptr;
    }
  }
  return stream;
}

} // namespace basalt::platform
