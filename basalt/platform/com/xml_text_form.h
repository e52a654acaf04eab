#ifndef BASALT_PLATFORM_COM_XML_TEXT_FORM_H
#define BASALT_PLATFORM_COM_XML_TEXT_FORM_H

// A libxml2 tree read from a document's bytes and written back, by the DOM's rules, so that
// what loads comes back from a save as the same tree with the same declaration and DOCTYPE.
// Private to the DOM.

#include <cstddef>
#include <libxml/tree.h>
#include <string>

namespace basalt::platform {

// The tree of a well-formed document, or null. Text of white space alone is dropped where it
// only separates markup: in an element whose other children are elements, comments or
// processing instructions, and no other text, CDATA section or entity reference; under
// xml:space="preserve" nothing is dropped. The XML declaration becomes the document's first
// child, a processing instruction named "xml". With unicodeText the bytes are UTF-8, whatever
// the declaration names.
xmlDocPtr readXmlDocument(const char* bytes, std::size_t size, bool unicodeText);

// The node and all below it as UTF-8; a document with its declaration only as that node.
// Elements are indented by two blanks where that adds only white space that loading drops
// again. False when memory runs out.
bool writeXmlText(xmlNodePtr node, std::string& out);

// The bytes of a saved document: in the encoding that its declaration names, with character
// references where text needs them, when a parser reads that encoding back and it holds every
// name, comment, processing instruction and CDATA section; otherwise in UTF-8, with the
// declaration naming UTF-8. False when memory runs out.
bool writeXmlDocument(xmlDocPtr doc, std::string& out);

} // namespace basalt::platform

#endif
