#include "basalt/data/xml_support.h"

#include "basalt/platform/com/automation_strings.h"
#include "basalt/system/registry_wrapper.h"

#include <cstdint>

namespace plat = basalt::platform;

namespace {

// An automation string made from a KELPString, freed when it goes.
class Bstr {
public:
  explicit Bstr(const KELPString& text) { text.createBSTR(&value); }
  ~Bstr() { plat::SysFreeString(value); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;

  operator plat::BSTR() const { return value; } // NOLINT(google-explicit-constructor)

private:
  plat::BSTR value = nullptr;
};

// A variant cleared when it goes.
class ScopedVariant {
public:
  ScopedVariant() { plat::VariantInit(&value); }
  ~ScopedVariant() { plat::VariantClear(&value); }
  ScopedVariant(const ScopedVariant&) = delete;
  ScopedVariant& operator=(const ScopedVariant&) = delete;

  plat::VARIANT value;
};

void throwIfFailed(plat::HRESULT result) {
  if (plat::FAILED(result)) {
    throw static_cast<plat::LONG>(result);
  }
}

// XPXML, or nothing when it can't be read.
bool readXpxml(std::uint32_t& value) {
  RegistryWrapper registry;
  return registry.readRegKeyValue(RegistryWrapper::LocalMachine,
                                  "SOFTWARE\\Lowmarsh Software\\Remote Cube Services", "XPXML",
                                  value, nullptr);
}

// Hands element a variant of type, filled by fill, as the attribute's value; the DOM's
// result is dropped.
template <typename Fill>
void setTyped(XmlSupport::Element& element, const KELPString& name, plat::VARTYPE type, Fill fill) {
  if (!element) {
    return;
  }
  ScopedVariant variant;
  variant.value.vt = type;
  fill(variant.value);
  element->setAttribute(Bstr(name), variant.value);
}

KELPString fromBstr(plat::BSTR text) {
  KELPString result;
  result.fillFromBSTR(text);
  return result;
}

} // namespace

XmlSupport::XmlSupport() = default;

XmlSupport::XmlSupport(plat::IUnknown* source) {
  throwIfFailed(initializeFromNode(source));
}

XmlSupport::~XmlSupport() {
  node.Release();
  document.Release();
}

XmlSupport::LONG XmlSupport::initializeFromNode(plat::IUnknown* source) {
  node = source;
  if (!node) {
    return plat::E_NOINTERFACE;
  }
  document = static_cast<plat::IUnknown*>(node);
  if (document) {
    return plat::S_OK;
  }
  throwIfFailed(node->get_ownerDocument(&document));
  return document ? plat::S_OK : plat::E_NOINTERFACE;
}

XmlSupport::LONG XmlSupport::createDocument() {
  std::uint32_t xpxml = 0;
  readXpxml(xpxml);
  const plat::CLSID& classId = xpxml == 1   ? plat::CLSID_DOMDocument02083B4E
                               : xpxml == 2 ? plat::CLSID_DOMDocument30
                                            : plat::CLSID_DOMDocument;
  plat::CComQIPtr<plat::IXMLDOMDocument> made;
  const plat::HRESULT result =
      plat::CoCreateInstance(classId, nullptr, plat::CLSCTX_ALL, plat::IXMLDOMDocument::iid,
                             reinterpret_cast<void**>(&made));
  if (plat::FAILED(result)) {
    return result;
  }
  document = made;
  node = static_cast<plat::IUnknown*>(document);
  return node ? result : plat::E_NOINTERFACE;
}

void XmlSupport::clear() {
  node.Release();
  document.Release();
  loadedFlag = false;
}

bool XmlSupport::loaded(bool set) {
  if (set) {
    loadedFlag = true;
  }
  return loadedFlag;
}

short XmlSupport::readXml(plat::IStream* stream) {
  if (!document) {
    throw static_cast<plat::LONG>(plat::E_POINTER);
  }
  if (stream != nullptr) {
    stream->Seek(0, plat::STREAM_SEEK_SET, nullptr);
  }
  ScopedVariant source;
  source.value.vt = plat::VT_UNKNOWN;
  source.value.punkVal = stream;
  if (stream != nullptr) {
    stream->AddRef();
  }
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  const plat::HRESULT result = document->load(source.value, &success);
  throwIfFailed(result);
  return success;
}

short XmlSupport::readXml(const KELPString& text) {
  if (!document) {
    return 0;
  }
  plat::VARIANT_BOOL success = plat::VARIANT_FALSE;
  throwIfFailed(document->loadXML(Bstr(text), &success));
  return success;
}

XmlSupport::LONG XmlSupport::get_xml(KELPString& text) {
  if (!document) {
    return plat::E_FAIL;
  }
  plat::BSTR xml = nullptr;
  const plat::HRESULT result = document->get_xml(&xml);
  if (xml != nullptr) {
    text.fillFromBSTR(xml);
    plat::SysFreeString(xml);
  }
  return result;
}

XmlSupport::LONG XmlSupport::save_all(plat::IStream* stream) {
  if (!document) {
    return plat::E_POINTER;
  }
  ScopedVariant destination;
  destination.value.vt = plat::VT_UNKNOWN;
  destination.value.punkVal = stream;
  if (stream != nullptr) {
    stream->AddRef();
  }
  return document->save(destination.value);
}

XmlSupport::LONG XmlSupport::save_ascii(plat::IStream* stream) {
  if (!document) {
    return plat::E_FAIL;
  }
  return save_all(stream);
}

bool XmlSupport::addVersion() {
  if (!document) {
    return false;
  }
  plat::CComPtr<plat::IXMLDOMNode> instruction;
  throwIfFailed(
      document->createProcessingInstruction(Bstr("xml"), Bstr("version=\"1.1\""), &instruction));
  plat::CComPtr<plat::IXMLDOMNode> added;
  throwIfFailed(document->appendChild(instruction, &added));
  return true;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value, as the interface has it
XmlSupport::Element XmlSupport::addAChild(Element parent, const KELPString& name) {
  if (!document) {
    return Element();
  }
  Element element;
  throwIfFailed(document->createElement(Bstr(name), &element));
  plat::CComPtr<plat::IXMLDOMNode> added;
  plat::IXMLDOMNode* to = parent ? static_cast<plat::IXMLDOMNode*>(parent) : node.p;
  throwIfFailed(to->appendChild(element, &added));
  return element;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value, as the interface has it
XmlSupport::Element XmlSupport::findChild(Element parent, const KELPString& name) {
  plat::IXMLDOMNode* from = parent ? static_cast<plat::IXMLDOMNode*>(parent) : node.p;
  plat::CComPtr<plat::IXMLDOMNodeList> children;
  if (from == nullptr || plat::FAILED(from->get_childNodes(&children)) || !children) {
    return Element();
  }
  plat::LONG length = 0;
  children->get_length(&length);
  for (plat::LONG i = 0; i < length; ++i) {
    plat::CComPtr<plat::IXMLDOMNode> child;
    plat::BSTR childName = nullptr;
    if (plat::FAILED(children->get_item(i, &child)) || !child) {
      continue;
    }
    child->get_nodeName(&childName);
    const bool same = fromBstr(childName) == name;
    plat::SysFreeString(childName);
    if (same) {
      return Element(static_cast<plat::IUnknown*>(child));
    }
  }
  return Element();
}

plat::CComPtr<plat::IXMLDOMNodeList> XmlSupport::getNodeList(const KELPString& name) {
  plat::CComPtr<plat::IXMLDOMNodeList> list;
  if (!document) {
    return list;
  }
  std::uint32_t xpxml = 0;
  if (readXpxml(xpxml) && xpxml != 0) {
    if (Element element{static_cast<plat::IUnknown*>(node)}) {
      throwIfFailed(element->getElementsByTagName(Bstr(name), &list));
    } else if (plat::CComQIPtr<plat::IXMLDOMDocument> asDocument{
                   static_cast<plat::IUnknown*>(node)}) {
      throwIfFailed(asDocument->getElementsByTagName(Bstr(name), &list));
    } else {
      return list;
    }
  } else {
    KELPString query(".//");
    query += name;
    throwIfFailed(node->selectNodes(Bstr(query), &list));
  }
  plat::LONG length = 0;
  throwIfFailed(list->get_length(&length));
  return list;
}

XmlSupport::LONG XmlSupport::getList(const KELPString& name, NodeList& list) {
  list = getNodeList(name);
  return list ? plat::S_OK : plat::E_FAIL;
}

XmlSupport::LONG XmlSupport::getList(const KELPString& name, NodeList& list, LONG& count) {
  list = getNodeList(name);
  if (!list) {
    return plat::E_FAIL;
  }
  list->get_length(&count);
  return count > 0 ? plat::S_OK : plat::E_FAIL;
}

XmlSupport::LONG XmlSupport::getChildList(NodeList& list, NodeList& children, LONG index) {
  if (!list) {
    return plat::E_FAIL;
  }
  plat::CComPtr<plat::IXMLDOMNode> item;
  plat::HRESULT result = list->get_item(index, &item);
  if (plat::SUCCEEDED(result) && item) {
    result = item->get_childNodes(&children);
  }
  return result;
}

XmlSupport::LONG XmlSupport::getAttribMap(NodeList& list, LONG index, AttributeMap& map) {
  if (!list) {
    return plat::E_FAIL;
  }
  plat::LONG length = 0;
  list->get_length(&length);
  if (length < 1) {
    return plat::E_FAIL;
  }
  plat::CComPtr<plat::IXMLDOMNode> item;
  throwIfFailed(list->get_item(index, &item));
  if (!item) {
    throw static_cast<plat::LONG>(plat::E_FAIL);
  }
  throwIfFailed(item->get_attributes(&map));
  return plat::S_OK;
}

XmlSupport::LONG XmlSupport::getAttributeFromMap(AttributeMap& map, const KELPString& name,
                                                 plat::VARIANT* value) {
  if (!map || value == nullptr) {
    return plat::E_FAIL;
  }
  plat::CComPtr<plat::IXMLDOMNode> item;
  if (plat::FAILED(map->getNamedItem(Bstr(name), &item))) {
    return plat::E_FAIL;
  }
  if (!item) {
    return plat::E_FAIL;
  }
  plat::VariantClear(value);
  item->get_nodeValue(value);
  return plat::S_OK;
}

void XmlSupport::write_to(Element element, const KELPString& name, const KELPString& value) {
  setTyped(element, name, plat::VT_BSTR, [&](plat::VARIANT& v) { value.createBSTR(&v.bstrVal); });
}

void XmlSupport::write_to(Element element, const KELPString& name, const LONG& value) {
  setTyped(element, name, plat::VT_I4, [&](plat::VARIANT& v) { v.lVal = value; });
}

void XmlSupport::write_to(Element element, const KELPString& name, const bool& value) {
  setTyped(element, name, plat::VT_I2, [&](plat::VARIANT& v) { v.iVal = value ? 1 : 0; });
}

void XmlSupport::write_to(Element element, const KELPString& name, const float& value) {
  setTyped(element, name, plat::VT_R4, [&](plat::VARIANT& v) { v.fltVal = value; });
}

void XmlSupport::write_to(Element element, const KELPString& name, const double& value) {
  setTyped(element, name, plat::VT_R8, [&](plat::VARIANT& v) { v.dblVal = value; });
}

void XmlSupport::write_to(Element element, const KELPString& name, const plat::VARIANT& value) {
  setTyped(element, name, value.vt, [&](plat::VARIANT& v) { plat::VariantCopy(&v, &value); });
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value, as the interface has it
void XmlSupport::read_from(Element element, const KELPString& name, KELPString& value) {
  if (!element) {
    return;
  }
  ScopedVariant variant;
  element->getAttribute(Bstr(name), &variant.value);
  if (variant.value.vt == plat::VT_BSTR) {
    value.fillFromBSTR(variant.value.bstrVal);
  }
}

KELPString XmlSupport::boolToKelpString(int value) {
  return KELPString(value != 0 ? "True" : "False");
}
