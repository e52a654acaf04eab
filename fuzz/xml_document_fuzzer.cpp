// The DOM document on any bytes, loaded from a stream and as text. Whatever loads must walk,
// serialise, save in its declared encoding (when that is known) and load again to the same
// text.

#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/com.h"
#include "basalt/platform/com/xml_dom.h"
#include "fuzz_text.h"

#include <cstdint>
#include <string>

namespace plat = basalt::platform;

namespace {

std::basic_string<plat::WCHAR> textOf(plat::IXMLDOMNode* node) {
  plat::BSTR text = nullptr;
  require(node->get_xml(&text) == plat::S_OK, "a loaded node serialises");
  std::basic_string<plat::WCHAR> units(text, plat::SysStringLen(text));
  plat::SysFreeString(text);
  return units;
}

// Every node below node: its name, value and attributes, as a client walks them.
void walk(plat::IXMLDOMNode* node, int depth) {
  plat::BSTR name = nullptr;
  node->get_nodeName(&name);
  plat::SysFreeString(name);
  plat::VARIANT value;
  node->get_nodeValue(&value);
  plat::VariantClear(&value);
  plat::CComPtr<plat::IXMLDOMNamedNodeMap> attributes;
  node->get_attributes(&attributes);
  if (depth > 64) {
    return;
  }
  plat::CComPtr<plat::IXMLDOMNodeList> children;
  node->get_childNodes(&children);
  plat::LONG length = 0;
  children->get_length(&length);
  for (plat::LONG i = 0; i < length; ++i) {
    plat::CComPtr<plat::IXMLDOMNode> child;
    children->get_item(i, &child);
    walk(child, depth + 1);
  }
}

plat::CComPtr<plat::IXMLDOMDocument> newDocument() {
  plat::CComPtr<plat::IXMLDOMDocument> document;
  plat::CoCreateInstance(plat::CLSID_DOMDocument, nullptr, plat::CLSCTX_ALL,
                         plat::IXMLDOMDocument::iid, reinterpret_cast<void**>(&document));
  require(document, "a document is made");
  return document;
}

void check(plat::IXMLDOMDocument* document) {
  walk(document, 0);
  const auto text = textOf(document);
  plat::CComPtr<plat::IStream> stream;
  stream.Attach(plat::SHCreateMemStream(nullptr, 0));
  plat::VARIANT target;
  plat::VariantInit(&target);
  target.vt = plat::VT_UNKNOWN;
  target.punkVal = stream;
  if (document->save(target) != plat::S_OK) {
    return; // an encoding that can't be written
  }
  stream->Seek(0, plat::STREAM_SEEK_SET, nullptr);
  auto again = newDocument();
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  require(again->load(target, &success) == plat::S_OK && success == plat::VARIANT_TRUE,
          "what was saved loads");
  require(textOf(again) == text, "a saved document loads as it was");
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
  const plat::HRESULT loaded = document->load(source, &success);
  require(loaded == plat::S_OK || loaded == plat::S_FALSE, "a load fails only by its flag");
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
