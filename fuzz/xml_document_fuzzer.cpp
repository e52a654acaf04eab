// The DOM document on any bytes, loaded from a stream and as text. Whatever loads must walk,
// serialise, save, and load again as the same tree with the same declaration, which may name
// UTF-8 instead when the document was written in it; a second save gives the same bytes.

#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/xml_dom.h"
#include "fuzz_text.h"

#include <cstdint>
#include <string>

namespace plat = basalt::platform;

namespace {

using Units = std::basic_string<plat::WCHAR>;

Units take(plat::BSTR text) {
  Units units(text, plat::SysStringLen(text));
  plat::SysFreeString(text);
  return units;
}

Units textOf(plat::IXMLDOMNode* node) {
  plat::BSTR text = nullptr;
  require(node->get_xml(&text) == plat::S_OK, "a loaded node serialises");
  return take(text);
}

// Every node below node, as a client walks it: kind and name, value, and where each list of
// children begins and ends, so that text split or joined differently shows.
void walk(plat::IXMLDOMNode* node, Units& out) {
  plat::BSTR name = nullptr;
  node->get_nodeName(&name);
  out += take(name);
  plat::VARIANT value;
  node->get_nodeValue(&value);
  if (value.vt == plat::VT_BSTR) {
    out += '=';
    out += Units(value.bstrVal, plat::SysStringLen(value.bstrVal));
  }
  plat::VariantClear(&value);
  plat::CComPtr<plat::IXMLDOMNamedNodeMap> attributes;
  node->get_attributes(&attributes);
  plat::CComPtr<plat::IXMLDOMNodeList> children;
  node->get_childNodes(&children);
  plat::LONG length = 0;
  children->get_length(&length);
  out += '(';
  for (plat::LONG i = 0; i < length; ++i) {
    plat::CComPtr<plat::IXMLDOMNode> child;
    children->get_item(i, &child);
    walk(child, out);
  }
  out += ')';
}

plat::CComPtr<plat::IXMLDOMDocument> newDocument() {
  plat::CComPtr<plat::IXMLDOMDocument> document;
  plat::CoCreateInstance(plat::CLSID_DOMDocument, nullptr, plat::CLSCTX_ALL,
                         plat::IXMLDOMDocument::iid, reinterpret_cast<void**>(&document));
  require(document, "a document is made");
  return document;
}

// The document's declaration, empty when there is none.
Units declarationOf(plat::IXMLDOMDocument* document) {
  plat::CComPtr<plat::IXMLDOMNodeList> children;
  document->get_childNodes(&children);
  plat::CComPtr<plat::IXMLDOMNode> first;
  children->get_item(0, &first);
  if (!first) {
    return Units();
  }
  plat::BSTR name = nullptr;
  first->get_nodeName(&name);
  if (take(name) != Units{'x', 'm', 'l'}) {
    return Units();
  }
  plat::VARIANT value;
  first->get_nodeValue(&value);
  Units data(value.bstrVal, plat::SysStringLen(value.bstrVal));
  plat::VariantClear(&value);
  return data;
}

// The declaration with its encoding's value replaced by UTF-8.
Units namingUtf8(Units declaration) {
  const Units key{'e', 'n', 'c', 'o', 'd', 'i', 'n', 'g'};
  const std::size_t at = declaration.find(key);
  const std::size_t quote =
      at == Units::npos ? Units::npos : declaration.find_first_of(Units{'"', '\''}, at);
  const std::size_t end =
      quote == Units::npos ? Units::npos : declaration.find(declaration[quote], quote + 1);
  if (end != Units::npos) {
    declaration.replace(quote + 1, end - quote - 1, Units{'U', 'T', 'F', '-', '8'});
  }
  return declaration;
}

std::string saved(plat::IXMLDOMDocument* document) {
  plat::CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(nullptr, 0));
  plat::VARIANT target;
  plat::VariantInit(&target);
  target.vt = plat::VT_UNKNOWN;
  target.punkVal = stream;
  require(document->save(target) == plat::S_OK, "a loaded document saves");
  stream->Seek(0, plat::STREAM_SEEK_SET, nullptr);
  std::string bytes;
  char chunk[4096];
  plat::ULONG got = 0;
  while (stream->Read(chunk, sizeof chunk, &got) == plat::S_OK && got > 0) {
    bytes.append(chunk, got);
  }
  return bytes;
}

plat::CComPtr<plat::IXMLDOMDocument> loaded(const std::string& bytes) {
  auto document = newDocument();
  plat::CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(reinterpret_cast<const plat::BYTE*>(bytes.data()),
                                        static_cast<plat::UINT>(bytes.size())));
  plat::VARIANT source;
  plat::VariantInit(&source);
  source.vt = plat::VT_UNKNOWN;
  source.punkVal = stream;
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  require(document->load(source, &success) == plat::S_OK && success == plat::VARIANT_TRUE,
          "what was saved loads");
  return document;
}

void check(plat::IXMLDOMDocument* document) {
  Units tree;
  walk(document, tree);
  const Units text = textOf(document);
  const Units declaration = declarationOf(document);
  const std::string bytes = saved(document);
  auto again = loaded(bytes);
  Units treeAgain;
  walk(again, treeAgain);
  Units textAgain = textOf(again);
  const Units declarationAgain = declarationOf(again);
  if (declarationAgain != declaration) {
    // Written in UTF-8 instead: the rest must be the same.
    require(declarationAgain == namingUtf8(declaration), "a changed declaration names UTF-8");
    const std::size_t at = textAgain.find(declarationAgain);
    textAgain.replace(at, declarationAgain.size(), declaration);
    const std::size_t inTree = treeAgain.find(declarationAgain);
    treeAgain.replace(inTree, declarationAgain.size(), declaration);
  }
  require(treeAgain == tree, "a saved document loads as the same tree");
  require(textAgain == text, "a saved document loads as it was");
  require(saved(again) == bytes, "saving it again gives the same bytes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool comUp = plat::SUCCEEDED(plat::CoInitialize(nullptr));
  require(comUp, "COM comes up");

  auto document = newDocument();
  plat::CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(data, static_cast<plat::UINT>(size)));
  plat::VARIANT source;
  plat::VariantInit(&source);
  source.vt = plat::VT_UNKNOWN;
  source.punkVal = stream;
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  const plat::HRESULT result = document->load(source, &success);
  require(result == plat::S_OK || result == plat::S_FALSE, "a load fails only by its flag");
  if (success == plat::VARIANT_TRUE) {
    check(document);
  }

  FuzzedDataProvider input(data, size);
  const auto units = consumeUnits(input, size);
  plat::BSTR text = plat::SysAllocStringLen(units.data(), static_cast<plat::UINT>(units.size()));
  success = plat::VARIANT_FALSE;
  document->loadXML(text, &success);
  plat::SysFreeString(text);
  if (success == plat::VARIANT_TRUE) {
    check(document);
  }
  return 0;
}
