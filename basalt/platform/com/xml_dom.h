#ifndef BASALT_PLATFORM_COM_XML_DOM_H
#define BASALT_PLATFORM_COM_XML_DOM_H

// The XML DOM service: a document, its nodes, node lists and attribute maps, and a stream in
// memory to load from and save to. Texts cross as automation strings; every operation gives
// an HRESULT and takes E_POINTER for a null out-argument.
//
// Documents are made with CoCreateInstance and one of the three class ids below; all three
// behave alike and differ only in the class id that IPersist::GetClassID gives.
//
// Loading keeps the document as it is written, entity references as references, but for text
// of white space alone that only separates markup: among children that are elements, comments
// or processing instructions and no other text, CDATA section or entity reference, unless
// xml:space="preserve" holds there. It reads no external entity or DTD, and keeps the XML
// declaration as a processing instruction named "xml", the first child of the document.
// Saving writes back what was loaded (declaration, DOCTYPE with its internal subset, tree),
// elements indented by two blanks only where loading drops that white space again, lines
// ended by "\n", in the encoding that the declaration names (UTF-8 without one) with
// character references where text needs them. When that encoding isn't known, doesn't read
// back, or can't hold a name, comment, processing instruction or CDATA section of the
// document, the document is written in UTF-8 with a declaration that names UTF-8.

#include "basalt/export.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/variant.h"

namespace basalt::platform {

constexpr CLSID CLSID_DOMDocument = {
    0x2933BF90, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
constexpr CLSID CLSID_DOMDocument30 = {
    0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};
// The third document class, known by its class id only.
constexpr CLSID CLSID_DOMDocument02083B4E = {
    0x02083B4E, 0x2D8F, 0x11D4, {0xAB, 0x62, 0x00, 0xC0, 0xDF, 0x23, 0x21, 0xCE}};

using LARGE_INTEGER = std::int64_t;
using ULARGE_INTEGER = std::uint64_t;

constexpr DWORD STREAM_SEEK_SET = 0;
constexpr DWORD STREAM_SEEK_CUR = 1;
constexpr DWORD STREAM_SEEK_END = 2;
constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001);

// A stream of bytes. One thread at a time, but for AddRef and Release.
class ISequentialStream : public IUnknown {
public:
  static constexpr IID iid = {
      0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
  // Up to size bytes from the position on; S_OK also at the end, with *done telling how many
  // came (done may be null).
  virtual HRESULT Read(void* buffer, ULONG size, ULONG* done) = 0;
  // Writes at the position, growing the stream as needed.
  virtual HRESULT Write(const void* buffer, ULONG size, ULONG* done) = 0;

protected:
  ~ISequentialStream() = default;
};

// A stream with a position. One thread at a time, but for AddRef and Release.
class IStream : public ISequentialStream {
public:
  static constexpr IID iid = {0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  // Moves the position by move from origin (STREAM_SEEK_*); newPosition may be null.
  // STG_E_INVALIDFUNCTION for a position before the start or an unknown origin.
  virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) = 0;

protected:
  ~IStream() = default;
};

class IXMLDOMNodeList;
class IXMLDOMNamedNodeMap;
class IXMLDOMDocument;
class IXMLDOMElement;

// A node of a document. A document and its nodes belong to one thread at a time, but for AddRef and
// Release.
class IXMLDOMNode : public IUnknown {
public:
  static constexpr IID iid = {
      0x2933BF80, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
  // The qualified name of an element or attribute, the target of a processing instruction,
  // "#text", "#comment", "#cdata-section" or "#document".
  virtual HRESULT get_nodeName(BSTR* name) = 0;
  // VT_BSTR for attributes, texts, comments and processing instructions; VT_NULL otherwise.
  virtual HRESULT get_nodeValue(VARIANT* value) = 0;
  // A live list: it shows later changes. Empty for nodes other than elements and documents.
  virtual HRESULT get_childNodes(IXMLDOMNodeList** list) = 0;
  // S_FALSE with null for nodes other than elements.
  virtual HRESULT get_attributes(IXMLDOMNamedNodeMap** map) = 0;
  // Moves child, from wherever it stood in the same document, to the end of this node's
  // children. E_FAIL when the move would break the tree: a child from another document, an
  // ancestor of this node, a second root element, text at the top, or a child for a node
  // that takes none.
  virtual HRESULT appendChild(IXMLDOMNode* child, IXMLDOMNode** added) = 0;
  // S_FALSE with null for the document itself.
  virtual HRESULT get_ownerDocument(IXMLDOMDocument** document) = 0;
  // The node and everything below it as text, with "\n" line ends.
  virtual HRESULT get_xml(BSTR* text) = 0;
  // The nodes an XPath 1.0 expression selects from this node, as a list that doesn't
  // change. E_FAIL for an expression that doesn't parse or doesn't give nodes.
  virtual HRESULT selectNodes(BSTR query, IXMLDOMNodeList** list) = 0;

protected:
  ~IXMLDOMNode() = default;
};

// An element node. A document and its nodes belong to one thread at a time, but for AddRef and
// Release.
class IXMLDOMElement : public IXMLDOMNode {
public:
  static constexpr IID iid = {
      0x2933BF86, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
  // VT_BSTR with the value, or S_FALSE with VT_NULL when there is no such attribute.
  virtual HRESULT getAttribute(BSTR name, VARIANT* value) = 0;
  // Takes the text of value: a text as it is, numbers in decimal ("1.5", "-3"), VT_BOOL as
  // "-1" or "0". DISP_E_TYPEMISMATCH for other types, E_FAIL for a name that isn't one.
  virtual HRESULT setAttribute(BSTR name, VARIANT value) = 0;
  // A live list of the elements of that qualified name below this one, in document order;
  // "*" names every element.
  virtual HRESULT getElementsByTagName(BSTR name, IXMLDOMNodeList** list) = 0;

protected:
  ~IXMLDOMElement() = default;
};

// A document. It and its nodes belong to one thread at a time, but for AddRef and Release.
class IXMLDOMDocument : public IXMLDOMNode {
public:
  static constexpr IID iid = {
      0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
  // A new element that belongs to the document and stands nowhere until it is appended.
  // E_FAIL for a name that isn't one.
  virtual HRESULT createElement(BSTR name, IXMLDOMElement** element) = 0;
  virtual HRESULT createProcessingInstruction(BSTR target, BSTR data,
                                              IXMLDOMNode** instruction) = 0;
  virtual HRESULT getElementsByTagName(BSTR name, IXMLDOMNodeList** list) = 0;
  // From a file (VT_BSTR with a path) or what is left of a stream (VT_UNKNOWN). S_OK with
  // VARIANT_TRUE, or S_FALSE with VARIANT_FALSE when the file can't be read or isn't
  // well-formed, and the document is then empty. E_INVALIDARG for other types.
  virtual HRESULT load(VARIANT source, VARIANT_BOOL* success) = 0;
  // From text; a declared encoding is not used, the text is Unicode already.
  virtual HRESULT loadXML(BSTR text, VARIANT_BOOL* success) = 0;
  // To a file (VT_BSTR with a path) or a stream (VT_UNKNOWN). E_FAIL when the file can't be
  // written, E_OUTOFMEMORY when memory runs out.
  virtual HRESULT save(VARIANT destination) = 0;

protected:
  ~IXMLDOMDocument() = default;
};

// A live list of nodes. One thread at a time, as its document, but for AddRef and Release.
class IXMLDOMNodeList : public IUnknown {
public:
  static constexpr IID iid = {
      0x2933BF82, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
  // S_FALSE with null for an index outside the list.
  virtual HRESULT get_item(LONG index, IXMLDOMNode** node) = 0;
  virtual HRESULT get_length(LONG* length) = 0;

protected:
  ~IXMLDOMNodeList() = default;
};

// Offered by this DOM's node lists beside IXMLDOMNodeList: the value of an attribute of the
// node at an index, read in place, without objects for the node or the attribute, for walks
// that only read through the nodes.
// One thread at a time, as its document, but for AddRef and Release.
class IXMLDOMNodeListAttributes : public IUnknown {
public:
  static constexpr IID iid = {
      0x6B1F3C52, 0x8D04, 0x4E9A, {0xA1, 0x7C, 0x2E, 0x5B, 0x90, 0x4D, 0x13, 0xF8}};
  // The value of the named attribute of the node at index, as UTF-8 of length bytes; it
  // stays valid until the next call on this list or change of the document. S_FALSE when
  // the node has no such attribute; E_UNEXPECTED when it is no element or there is none.
  virtual HRESULT getItemAttributeText(LONG index, BSTR name, const char** text, UINT* length) = 0;

protected:
  ~IXMLDOMNodeListAttributes() = default;
};

// An element's attributes. One thread at a time, as its document, but for AddRef and Release.
class IXMLDOMNamedNodeMap : public IUnknown {
public:
  static constexpr IID iid = {
      0x2933BF83, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
  // The attribute of that qualified name, or S_FALSE with null.
  virtual HRESULT getNamedItem(BSTR name, IXMLDOMNode** node) = 0;

protected:
  ~IXMLDOMNamedNodeMap() = default;
};

// A stream in memory that starts with a copy of size bytes of initial (none when it is null),
// positioned at its start. Null when memory runs out.
BASALT_API IStream* SHCreateMemStream(const BYTE* initial, UINT size);

} // namespace basalt::platform

#endif
