#include "basalt/platform/com/xml_text_form.h"

#include <climits>
#include <cstring>
#include <libxml/SAX2.h>
#include <libxml/encoding.h>
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/valid.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlsave.h>
#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

namespace basalt::platform {
namespace {

const xmlChar* xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}
const char* chars(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

void quietGenericError(void* /*context*/, const char* /*format*/, ...) {}
void quietStructuredError(void* /*context*/, xmlErrorPtr /*error*/) {}

// Keeps libxml2 from writing its complaints to the client's standard error while the DOM
// calls it: what went wrong is told by results. The thread's own handlers come back after.
class QuietLibxml2 {
public:
  QuietLibxml2()
      : generic(xmlGenericError), genericContext(xmlGenericErrorContext),
        structured(xmlStructuredError), structuredContext(xmlStructuredErrorContext) {
    xmlSetGenericErrorFunc(nullptr, quietGenericError);
    xmlSetStructuredErrorFunc(nullptr, quietStructuredError);
  }
  ~QuietLibxml2() {
    xmlSetGenericErrorFunc(genericContext, generic);
    xmlSetStructuredErrorFunc(structuredContext, structured);
  }
  QuietLibxml2(const QuietLibxml2&) = delete;
  QuietLibxml2& operator=(const QuietLibxml2&) = delete;

private:
  xmlGenericErrorFunc generic;
  void* genericContext;
  xmlStructuredErrorFunc structured;
  void* structuredContext;
};

std::string contentOf(xmlNodePtr node) {
  xmlChar* content = xmlNodeGetContent(node);
  std::string text = content != nullptr ? chars(content) : "";
  xmlFree(content);
  return text;
}

std::string qualifiedName(xmlNodePtr node) {
  std::string name = chars(node->name);
  if (node->ns != nullptr && node->ns->prefix != nullptr) {
    name = std::string(chars(node->ns->prefix)) + ":" + name;
  }
  return name;
}

// The text between "<?xml" and "?>" when the input starts with an XML declaration in one of
// the encodings that keep ASCII in single bytes or in 16-bit units; empty otherwise.
std::string declarationOf(const char* bytes, std::size_t size) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes);
  std::size_t at = 0;
  std::size_t step = 1;
  std::size_t offset = 0; // of the byte that carries the character in each unit
  if (size >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) {
    at = 3;
  } else if (size >= 2 && data[0] == 0xFF && data[1] == 0xFE) {
    at = 2, step = 2;
  } else if (size >= 2 && data[0] == 0xFE && data[1] == 0xFF) {
    at = 2, step = 2, offset = 1;
  } else if (size >= 2 && data[0] == '<' && data[1] == 0) {
    step = 2;
  } else if (size >= 2 && data[0] == 0 && data[1] == '<') {
    step = 2, offset = 1;
  }
  std::string ascii;
  for (std::size_t i = at; i + step <= size && ascii.size() < 4096; i += step) {
    const unsigned char other = step == 2 ? data[i + 1 - offset] : 0;
    if (other != 0 || data[i + offset] >= 0x80) {
      break;
    }
    ascii += static_cast<char>(data[i + offset]);
    if (ascii.size() >= 2 && ascii.compare(ascii.size() - 2, 2, "?>") == 0) {
      break;
    }
  }
  if (ascii.size() < 8 || ascii.compare(0, 5, "<?xml") != 0 ||
      std::strchr(" \t\r\n", ascii[5]) == nullptr ||
      ascii.compare(ascii.size() - 2, 2, "?>") != 0) {
    return std::string();
  }
  const std::size_t first = ascii.find_first_not_of(" \t\r\n", 5);
  const std::size_t last = ascii.find_last_not_of(" \t\r\n", ascii.size() - 3);
  return first > last ? std::string() : ascii.substr(first, last - first + 1);
}

// The declaration as the parser understood it, for encodings whose bytes don't show it
// (EBCDIC, UCS-4); empty when the document had none.
std::string declarationFrom(xmlDocPtr doc) {
  if (doc->standalone == -1) {
    return std::string();
  }
  std::string text =
      "version=\"" + std::string(doc->version != nullptr ? chars(doc->version) : "1.0") + "\"";
  if (doc->encoding != nullptr) {
    text += " encoding=\"" + std::string(chars(doc->encoding)) + "\"";
  }
  if (doc->standalone >= 0) {
    text += doc->standalone == 1 ? " standalone=\"yes\"" : " standalone=\"no\"";
  }
  return text;
}

// Where the value of the declaration's encoding stands in its text, or npos.
std::pair<std::size_t, std::size_t> encodingIn(const std::string& declaration) {
  const std::size_t key = declaration.find("encoding");
  const std::size_t quote =
      key == std::string::npos ? std::string::npos : declaration.find_first_of("\"'", key);
  const std::size_t end = quote == std::string::npos
                              ? std::string::npos
                              : declaration.find(declaration[quote], quote + 1);
  if (end == std::string::npos) {
    return {std::string::npos, std::string::npos};
  }
  return {quote + 1, end};
}

xmlNodePtr declarationNode(xmlDocPtr doc) {
  xmlNodePtr first = doc->children;
  return first != nullptr && first->type == XML_PI_NODE && xmlStrEqual(first->name, xml("xml")) != 0
             ? first
             : nullptr;
}

// The encoding that the document's declaration names; empty when it names none.
std::string declaredEncoding(xmlDocPtr doc) {
  xmlNodePtr declaration = declarationNode(doc);
  if (declaration == nullptr) {
    return std::string();
  }
  const std::string data = contentOf(declaration);
  const auto [begin, end] = encodingIn(data);
  return begin == std::string::npos ? std::string() : data.substr(begin, end - begin);
}

// libxml2 drops a default that doesn't suit the attribute's type (NMTOKEN "not a token") and
// would then write a declaration without one; the document keeps it as it was written.
void keepAttributeDefault(void* context, const xmlChar* element, const xmlChar* fullName, int type,
                          int def, const xmlChar* value, xmlEnumerationPtr tree) {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  xmlDtdPtr subset =
      parser->inSubset == 1 && parser->myDoc != nullptr ? parser->myDoc->intSubset : nullptr;
  xmlChar* prefix = nullptr;
  xmlChar* name =
      subset != nullptr && value != nullptr ? xmlSplitQName(parser, fullName, &prefix) : nullptr;
  const bool known =
      name != nullptr && xmlGetDtdQAttrDesc(subset, element, name, prefix) != nullptr;
  xmlSAX2AttributeDecl(context, element, fullName, type, def, value, tree);
  if (name != nullptr && !known) {
    xmlAttributePtr made = xmlGetDtdQAttrDesc(subset, element, name, prefix);
    if (made != nullptr && made->defaultValue == nullptr &&
        (made->def == XML_ATTRIBUTE_NONE || made->def == XML_ATTRIBUTE_FIXED)) {
      made->defaultValue = parser->myDoc->dict != nullptr
                               ? xmlDictLookup(parser->myDoc->dict, value, -1)
                               : xmlStrdup(value);
    }
  }
  xmlFree(name);
  xmlFree(prefix);
}

// An external parameter entity is never read, and libxml2 keeps no trace of a reference to
// it: the subset gets one of its own, text written as it stands, so that a save keeps it.
xmlEntityPtr findParameterEntity(void* context, const xmlChar* name) {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  xmlEntityPtr entity = xmlSAX2GetParameterEntity(context, name);
  xmlDtdPtr subset =
      parser->inSubset == 1 && parser->myDoc != nullptr ? parser->myDoc->intSubset : nullptr;
  if (entity != nullptr && entity->etype == XML_EXTERNAL_PARAMETER_ENTITY && subset != nullptr) {
    const std::string reference = "%" + std::string(chars(name)) + ";\n";
    xmlNodePtr kept = xmlNewDocText(parser->myDoc, xml(reference.c_str()));
    if (kept == nullptr) {
      xmlStopParser(parser); // the document would lose the reference: no document at all
    } else {
      kept->name = xmlStringTextNoenc;
      xmlAddChild(reinterpret_cast<xmlNodePtr>(subset), kept);
    }
  }
  return entity;
}

// The value of xml:space on element, its own or the default the internal subset declares;
// null when there is none.
xmlChar* spaceOf(xmlNodePtr element) {
  for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (attribute->ns != nullptr && xmlStrEqual(attribute->ns->href, XML_XML_NAMESPACE) != 0 &&
        xmlStrEqual(attribute->name, xml("space")) != 0) {
      return xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(attribute));
    }
  }
  xmlDtdPtr subset = element->doc != nullptr ? element->doc->intSubset : nullptr;
  if (subset == nullptr || subset->attributes == nullptr) {
    return nullptr;
  }
  xmlAttributePtr declared =
      xmlGetDtdQAttrDesc(subset, xml(qualifiedName(element).c_str()), xml("space"), xml("xml"));
  return declared != nullptr && declared->defaultValue != nullptr
             ? xmlStrdup(declared->defaultValue)
             : nullptr;
}

// Whether white space is preserved in element, given whether it is in its parent.
bool preserves(xmlNodePtr element, bool inParent) {
  xmlChar* space = spaceOf(element);
  bool result = inParent;
  if (xmlStrEqual(space, xml("preserve")) != 0) {
    result = true;
  } else if (xmlStrEqual(space, xml("default")) != 0) {
    result = false;
  }
  xmlFree(space);
  return result;
}

bool preservedAbove(xmlNodePtr node) {
  std::vector<xmlNodePtr> above;
  for (xmlNodePtr up = node->parent; up != nullptr && up->type == XML_ELEMENT_NODE;
       up = up->parent) {
    above.push_back(up);
  }
  bool preserved = false;
  for (auto up = above.rbegin(); up != above.rend(); ++up) {
    preserved = preserves(*up, preserved);
  }
  return preserved;
}

// Calls visit(element, preserved) for the elements at and below from, a document or an
// element, in document order and without recursion: a tree built through the DOM may be
// deeper than the stack. visit may change the element's children, not the element.
template <typename Visit> void forEachElement(xmlNodePtr from, Visit visit) {
  std::vector<bool> preserving{from->type == XML_ELEMENT_NODE && preservedAbove(from)};
  xmlNodePtr at = from;
  for (;;) {
    const bool isElement = at->type == XML_ELEMENT_NODE;
    if (isElement || at == from) {
      const bool preserved = isElement && preserves(at, preserving.back());
      if (isElement) {
        visit(at, preserved);
      }
      if (at->children != nullptr) {
        preserving.push_back(preserved);
        at = at->children;
        continue;
      }
    }
    while (at != from && at->next == nullptr) {
      at = at->parent;
      preserving.pop_back();
    }
    if (at == from) {
      return;
    }
    at = at->next;
  }
}

bool isBlank(const xmlChar* text) {
  for (; text != nullptr && *text != 0; ++text) {
    if (*text != ' ' && *text != '\t' && *text != '\n' && *text != '\r') {
      return false;
    }
  }
  return true;
}

// What libxml2's writer counts as text: an element with any of these is written as it
// stands, without indentation, and so is everything below it.
bool isTextLike(xmlNodePtr node) {
  return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE ||
         node->type == XML_ENTITY_REF_NODE;
}

// Drops the text of white space alone among element's children where they hold markup and no
// other text: exactly the white space that the writer's indentation adds.
void dropSeparatingBlanks(xmlNodePtr element) {
  bool markup = false;
  for (xmlNodePtr child = element->children; child != nullptr; child = child->next) {
    if (isTextLike(child)) {
      if (child->type != XML_TEXT_NODE || !isBlank(child->content)) {
        return;
      }
    } else {
      markup = true;
    }
  }
  if (!markup) {
    return;
  }
  for (xmlNodePtr child = element->children; child != nullptr;) {
    xmlNodePtr next = child->next;
    if (child->type == XML_TEXT_NODE) {
      xmlUnlinkNode(child);
      xmlFreeNode(child);
    }
    child = next;
  }
}

xmlNodePtr addDeclaration(xmlDocPtr doc, const std::string& declaration) {
  xmlNodePtr instruction = xmlNewDocPI(doc, xml("xml"), xml(declaration.c_str()));
  if (instruction != nullptr) {
    if (doc->children != nullptr) {
      xmlAddPrevSibling(doc->children, instruction);
    } else {
      xmlAddChild(reinterpret_cast<xmlNodePtr>(doc), instruction);
    }
  }
  return instruction;
}

// A value that libxml2 keeps as parsed but unescaped, references to entities and to "&"
// left as they were written (a namespace name, an attribute's default), in the form that
// reads back to it: libxml2's writer would put it out as it stands.
std::string escapedValue(const xmlChar* value) {
  std::string out;
  for (const xmlChar* at = value; *at != 0; ++at) {
    switch (*at) {
    case '<':
      out += "&lt;";
      break;
    case '"':
      out += "&quot;";
      break;
    case '\t':
      out += "&#9;";
      break;
    case '\n':
      out += "&#10;";
      break;
    case '\r':
      out += "&#13;";
      break;
    default:
      out += static_cast<char>(*at);
    }
  }
  return out;
}

bool needsEscape(const xmlChar* value) {
  return value != nullptr && std::strpbrk(chars(value), "<\"\t\n\r") != nullptr;
}

// What libxml2's writer would get wrong, set right for one write and put back after it:
// namespace names and attribute defaults that it writes unescaped, elements under
// xml:space="preserve" that it would indent (an empty text node keeps it from that), and the
// encoding the declaration names when the document is written in another.
class WritingFixes {
public:
  WritingFixes() = default;
  ~WritingFixes() {
    for (auto& [place, original] : swapped) {
      *place = original;
    }
    for (xmlChar* text : made) {
      xmlFree(text);
    }
    for (xmlNodePtr marker : markers) {
      xmlUnlinkNode(marker);
      xmlFreeNode(marker);
    }
  }
  WritingFixes(const WritingFixes&) = delete;
  WritingFixes& operator=(const WritingFixes&) = delete;

  // False when memory ran out; what was done is put back all the same.
  bool fix(xmlNodePtr from) {
    if (from->type == XML_DOCUMENT_NODE || from->type == XML_DTD_NODE) {
      xmlDtdPtr subset = from->type == XML_DTD_NODE ? reinterpret_cast<xmlDtdPtr>(from)
                                                    : reinterpret_cast<xmlDocPtr>(from)->intSubset;
      for (xmlNodePtr child = subset != nullptr ? subset->children : nullptr; child != nullptr;
           child = child->next) {
        if (child->type == XML_ATTRIBUTE_DECL) {
          auto* declaration = reinterpret_cast<xmlAttributePtr>(child);
          complete = complete && escape(declaration->defaultValue);
        }
      }
    }
    forEachElement(from, [this](xmlNodePtr element, bool preserved) {
      for (xmlNsPtr ns = element->nsDef; ns != nullptr; ns = ns->next) {
        complete = complete && escape(ns->href);
      }
      if (preserved && element->children != nullptr) {
        bool text = false;
        for (xmlNodePtr child = element->children; child != nullptr && !text; child = child->next) {
          text = isTextLike(child);
        }
        if (!text) {
          complete = complete && mark(element);
        }
      }
    });
    return complete;
  }

  bool nameEncoding(xmlNodePtr declaration, const char* encoding) {
    std::string data = chars(declaration->content);
    const auto [begin, end] = encodingIn(data);
    data.replace(begin, end - begin, encoding);
    return replace(&declaration->content, data);
  }

private:
  bool escape(const xmlChar*& value) {
    return !needsEscape(value) || replace(&value, escapedValue(value));
  }

  template <typename Text> bool replace(Text** place, const std::string& value) {
    xmlChar* copy = xmlStrdup(xml(value.c_str()));
    if (copy == nullptr) {
      return false;
    }
    try {
      made.push_back(copy);
    } catch (const std::bad_alloc&) {
      xmlFree(copy);
      return false;
    }
    try {
      swapped.emplace_back(const_cast<const xmlChar**>(place), *place);
    } catch (const std::bad_alloc&) {
      return false;
    }
    *place = copy;
    return true;
  }

  bool mark(xmlNodePtr element) {
    xmlNodePtr marker = xmlNewDocText(element->doc, xml(""));
    if (marker == nullptr) {
      return false;
    }
    try {
      markers.push_back(marker);
    } catch (const std::bad_alloc&) {
      xmlFreeNode(marker);
      return false;
    }
    xmlAddPrevSibling(element->children, marker);
    return true;
  }

  std::vector<std::pair<const xmlChar**, const xmlChar*>> swapped; // place, what it held
  std::vector<xmlChar*> made;
  std::vector<xmlNodePtr> markers;
  bool complete = true;
};

// Writes node in encoding; a document without libxml2's own declaration, since the
// declaration is a node of its own here.
bool serialise(xmlNodePtr node, const char* encoding, std::string& out) {
  xmlBufferPtr buffer = xmlBufferCreate();
  if (buffer == nullptr) {
    return false;
  }
  // Grown by exact sizes, every write would copy the whole text so far.
  xmlBufferSetAllocationScheme(buffer, XML_BUFFER_ALLOC_DOUBLEIT);
  bool done = false;
  // Written as parsed: no rules of HTML or XHTML (which would add a namespace and a <meta>).
  const int options = XML_SAVE_FORMAT | XML_SAVE_NO_DECL | XML_SAVE_NO_XHTML | XML_SAVE_AS_XML;
  if (xmlSaveCtxtPtr save = xmlSaveToBuffer(buffer, encoding, options)) {
    done = (node->type == XML_DOCUMENT_NODE ? xmlSaveDoc(save, reinterpret_cast<xmlDocPtr>(node))
                                            : xmlSaveTree(save, node)) >= 0;
    done = xmlSaveClose(save) >= 0 && done;
  }
  if (done) {
    try {
      out.assign(chars(xmlBufferContent(buffer)),
                 static_cast<std::size_t>(xmlBufferLength(buffer)));
    } catch (const std::bad_alloc&) {
      done = false;
    }
  }
  xmlBufferFree(buffer);
  return done;
}

bool serialiseFixed(xmlNodePtr node, const char* encoding, std::string& out, WritingFixes& fixes) {
  return fixes.fix(node) && serialise(node, encoding, out);
}

// Whether a document written in encoding reads back as it was, text that the encoding can't
// hold included: not so for UTF-7, whose "<" is "+ADw-", for encodings that libxml2 writes
// with a byte order mark it doesn't read, nor for those of its converters that put out wrong
// character references.
bool readsBack(const std::string& encoding) {
  xmlDocPtr probe = xmlNewDoc(xml("1.0"));
  if (probe == nullptr) {
    return false;
  }
  const char* const text = "a\xC3\xA4\xE4\xB8\x80\xF0\x9F\x98\x80<&z"; // a, ä, 一, 😀, <, &, z
  bool reads = false;
  std::string bytes;
  xmlNodePtr root = xmlNewDocNode(probe, nullptr, xml("a"), nullptr);
  if (root != nullptr) {
    xmlDocSetRootElement(probe, root);
    if (addDeclaration(probe, "version=\"1.0\" encoding=\"" + encoding + "\"") != nullptr &&
        xmlSetProp(root, xml("b"), xml(text)) != nullptr &&
        (xmlNodeAddContent(root, xml(text)), root->children != nullptr) &&
        serialise(reinterpret_cast<xmlNodePtr>(probe), encoding.c_str(), bytes) &&
        bytes.size() <= INT_MAX) {
      xmlDocPtr back = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                                     XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
      xmlNodePtr again = back != nullptr ? xmlDocGetRootElement(back) : nullptr;
      if (again != nullptr) {
        xmlChar* attribute = xmlGetProp(again, xml("b"));
        xmlChar* content = xmlNodeGetContent(again);
        reads = xmlStrEqual(attribute, xml(text)) != 0 && xmlStrEqual(content, xml(text)) != 0;
        xmlFree(content);
        xmlFree(attribute);
      }
      xmlFreeDoc(back);
    }
  }
  xmlFreeDoc(probe);
  return reads;
}

// Whether encoding holds text both ways, without the character references that libxml2's
// encoder puts in for what it can't write.
bool holds(xmlCharEncodingHandlerPtr encoding, const std::string& text) {
  xmlBufferPtr in = xmlBufferCreate();
  xmlBufferPtr encoded = xmlBufferCreate();
  xmlBufferPtr back = xmlBufferCreate();
  bool same = false;
  if (in != nullptr && encoded != nullptr && back != nullptr &&
      xmlBufferAdd(in, xml(text.data()), static_cast<int>(text.size())) == 0 &&
      xmlCharEncOutFunc(encoding, encoded, in) >= 0 &&
      xmlCharEncInFunc(encoding, back, encoded) >= 0) {
    same = static_cast<std::size_t>(xmlBufferLength(back)) == text.size() &&
           std::memcmp(xmlBufferContent(back), text.data(), text.size()) == 0;
  }
  xmlBufferFree(back);
  xmlBufferFree(encoded);
  xmlBufferFree(in);
  return same;
}

// The texts of a document where a character reference doesn't stand for a character: names,
// comments, processing instructions, CDATA sections, and the DOCTYPE but for its values.
class MarkupText {
public:
  explicit MarkupText(xmlDocPtr doc) {
    for (xmlNodePtr child = doc->children; child != nullptr; child = child->next) {
      if (child->type == XML_DTD_NODE) {
        addSubset(reinterpret_cast<xmlDtdPtr>(child));
      } else if (child->type != XML_ELEMENT_NODE) {
        addNode(child);
      }
    }
    if (xmlNodePtr root = xmlDocGetRootElement(doc)) {
      forEachElement(root, [this](xmlNodePtr element, bool /*preserved*/) {
        addName(element);
        for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
             attribute = attribute->next) {
          addName(reinterpret_cast<xmlNodePtr>(attribute));
        }
        for (xmlNsPtr ns = element->nsDef; ns != nullptr; ns = ns->next) {
          add(ns->prefix);
        }
        for (xmlNodePtr child = element->children; child != nullptr; child = child->next) {
          if (child->type != XML_ELEMENT_NODE) {
            addNode(child);
          }
        }
      });
    }
  }

  std::string text;

private:
  void add(const xmlChar* piece) {
    if (piece != nullptr && seen.insert(piece).second) {
      text += chars(piece);
      text += '\n';
    }
  }
  void addName(xmlNodePtr node) {
    add(node->name);
    if (node->ns != nullptr) {
      add(node->ns->prefix);
    }
  }
  void addNode(xmlNodePtr node) {
    if (node->type != XML_TEXT_NODE) {
      add(node->name);
      if (node->type != XML_ENTITY_REF_NODE) {
        add(node->content);
      }
    }
  }
  void addSubset(xmlDtdPtr subset) {
    add(subset->name);
    add(subset->ExternalID);
    add(subset->SystemID);
    for (xmlNodePtr child = subset->children; child != nullptr; child = child->next) {
      switch (child->type) {
      case XML_ELEMENT_DECL:
        addElementDeclaration(reinterpret_cast<xmlElementPtr>(child));
        break;
      case XML_ATTRIBUTE_DECL: {
        auto* declaration = reinterpret_cast<xmlAttributePtr>(child);
        add(declaration->elem);
        add(declaration->name);
        add(declaration->prefix);
        for (xmlEnumerationPtr value = declaration->tree; value != nullptr; value = value->next) {
          add(value->name);
        }
        break;
      }
      case XML_ENTITY_DECL: {
        auto* entity = reinterpret_cast<xmlEntityPtr>(child);
        add(entity->name);
        add(entity->ExternalID);
        add(entity->SystemID);
        if (entity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY) {
          add(entity->content); // the notation's name
        }
        break;
      }
      default:
        addNode(child);
      }
    }
    if (subset->notations != nullptr) {
      xmlBufferPtr buffer = xmlBufferCreate();
      if (buffer != nullptr) {
        xmlDumpNotationTable(buffer, static_cast<xmlNotationTablePtr>(subset->notations));
        text.append(chars(xmlBufferContent(buffer)),
                    static_cast<std::size_t>(xmlBufferLength(buffer)));
        xmlBufferFree(buffer);
      }
    }
  }
  void addElementDeclaration(xmlElementPtr declaration) {
    xmlBufferPtr buffer = xmlBufferCreate();
    if (buffer != nullptr) {
      xmlDumpElementDecl(buffer, declaration);
      text.append(chars(xmlBufferContent(buffer)),
                  static_cast<std::size_t>(xmlBufferLength(buffer)));
      xmlBufferFree(buffer);
    }
  }

  std::unordered_set<const xmlChar*> seen; // names come from the parser's dictionary
};

bool canWrite(xmlDocPtr doc, const std::string& encoding) {
  if (!readsBack(encoding)) {
    return false;
  }
  xmlCharEncodingHandlerPtr handler = xmlFindCharEncodingHandler(encoding.c_str());
  if (handler == nullptr) {
    return false;
  }
  const bool fits = holds(handler, MarkupText(doc).text);
  xmlCharEncCloseFunc(handler);
  return fits;
}

} // namespace

xmlDocPtr readXmlDocument(const char* bytes, std::size_t size, bool unicodeText) {
  if (size > INT_MAX) {
    return nullptr;
  }
  const QuietLibxml2 quiet;
  xmlParserCtxtPtr parser = xmlNewParserCtxt();
  if (parser == nullptr) {
    return nullptr;
  }
  parser->sax->attributeDecl = keepAttributeDefault;
  parser->sax->getParameterEntity = findParameterEntity;
  int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  if (unicodeText) {
    options |= XML_PARSE_IGNORE_ENC;
  }
  xmlDocPtr doc = xmlCtxtReadMemory(parser, bytes, static_cast<int>(size), nullptr,
                                    unicodeText ? "UTF-8" : nullptr, options);
  xmlFreeParserCtxt(parser);
  if (doc == nullptr) {
    return nullptr;
  }
  std::string declaration = declarationOf(bytes, size);
  if (declaration.empty()) {
    declaration = declarationFrom(doc);
  }
  if (!declaration.empty() && addDeclaration(doc, declaration) == nullptr) {
    xmlFreeDoc(doc);
    return nullptr;
  }
  forEachElement(reinterpret_cast<xmlNodePtr>(doc), [](xmlNodePtr element, bool preserved) {
    if (!preserved) {
      dropSeparatingBlanks(element);
    }
  });
  return doc;
}

bool writeXmlText(xmlNodePtr node, std::string& out) {
  const QuietLibxml2 quiet;
  try {
    WritingFixes fixes;
    return serialiseFixed(node, "UTF-8", out, fixes);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool writeXmlDocument(xmlDocPtr doc, std::string& out) {
  const QuietLibxml2 quiet;
  auto* node = reinterpret_cast<xmlNodePtr>(doc);
  const std::string encoding = declaredEncoding(doc);
  try {
    WritingFixes fixes;
    if (encoding.empty() || xmlParseCharEncoding(encoding.c_str()) == XML_CHAR_ENCODING_UTF8) {
      return serialiseFixed(node, "UTF-8", out, fixes);
    }
    if (canWrite(doc, encoding)) {
      return serialiseFixed(node, encoding.c_str(), out, fixes);
    }
    return fixes.nameEncoding(declarationNode(doc), "UTF-8") &&
           serialiseFixed(node, "UTF-8", out, fixes);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

} // namespace basalt::platform
