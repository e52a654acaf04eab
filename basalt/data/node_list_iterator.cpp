#include "basalt/data/node_list_iterator.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/com/automation_strings.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <utility>

namespace plat = basalt::platform;

namespace {

[[noreturn]] void raise(plat::HRESULT result) {
  throw static_cast<plat::LONG>(result);
}

// The text as wchar_t, which the C library's number readers take.
std::wstring wideOf(const KELPString& text) {
  std::wstring wide;
  for (const unsigned short unit : text) {
    if (unit == 0) {
      break;
    }
    wide += static_cast<wchar_t>(unit);
  }
  return wide;
}

} // namespace

NodeListIterator::NodeListIterator(NodeList list) : list(std::move(list)) {}

NodeListIterator::~NodeListIterator() {
  attributes.Release();
  childList.Release();
  current.Release();
  list.Release();
}

void NodeListIterator::start() {
  if (!started) {
    begin();
  }
}

void NodeListIterator::begin() {
  if (!started) {
    if (!list) {
      return;
    }
    list->get_length(&length);
    if (length == 0) {
      return;
    }
  }
  position = 0;
  fetch(0);
  started = true;
}

void NodeListIterator::fetch(LONG thrown) {
  current.Release();
  list->get_item(position, &current);
  attributes.Release();
  if (!current) { // a position outside the list, or a list that has shrunk since
    raise(plat::E_UNEXPECTED);
  }
  const plat::HRESULT result = current->get_attributes(&attributes);
  if (plat::FAILED(result)) {
    raise(thrown != 0 ? thrown : result);
  }
}

const NodeListIterator::LONG& NodeListIterator::size() {
  start();
  return length;
}

void NodeListIterator::operator++() {
  start();
  ++position;
  if (position < length) {
    fetch(plat::E_UNEXPECTED);
  }
}

void NodeListIterator::operator-=(unsigned int count) {
  start();
  position = static_cast<LONG>(static_cast<std::int64_t>(position) - count);
  if (position >= 0) {
    fetch(plat::E_UNEXPECTED);
  }
}

bool NodeListIterator::atEnd() {
  start();
  return length == 0 || position >= length;
}

bool NodeListIterator::penultimate() {
  start();
  return length == 0 || position >= length - 1;
}

plat::CComQIPtr<plat::IXMLDOMNode> NodeListIterator::iter() {
  start();
  return current;
}

plat::CComQIPtr<plat::IXMLDOMNodeList> NodeListIterator::get_childList() {
  start();
  childList.Release();
  if (!current) {
    raise(plat::E_UNEXPECTED);
  }
  current->get_childNodes(&childList);
  return childList;
}

plat::IXMLDOMNamedNodeMap* NodeListIterator::attributeMap() {
  start();
  if (!attributes) {
    raise(plat::E_UNEXPECTED);
  }
  return attributes;
}

bool NodeListIterator::get_attribute(const KELPString& name, plat::VARIANT* value) {
  plat::IXMLDOMNamedNodeMap* map = attributeMap();
  plat::BSTR text = nullptr;
  name.createBSTR(&text);
  plat::CComPtr<plat::IXMLDOMNode> item;
  const plat::HRESULT result = map->getNamedItem(text, &item);
  plat::SysFreeString(text);
  if (plat::FAILED(result)) {
    raise(result);
  }
  if (!item) {
    return false;
  }
  return plat::SUCCEEDED(item->get_nodeValue(value));
}

bool NodeListIterator::readText(const KELPString& name, KELPString& text) {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  const bool found = get_attribute(name, &variant);
  if (variant.vt != plat::VT_EMPTY) {
    text.fillFromBSTR(variant.vt == plat::VT_BSTR ? variant.bstrVal : nullptr);
  }
  plat::VariantClear(&variant);
  return found;
}

bool NodeListIterator::read(const KELPString& name, KELPString& value) {
  return readText(name, value);
}

bool NodeListIterator::read(const KELPString& name, LONG& value) {
  KELPString text;
  const bool found = readText(name, text);
  if (found) {
    // Clamped as a 32-bit wcstol would clamp.
    const long number = std::wcstol(wideOf(text).c_str(), nullptr, 10);
    value = static_cast<LONG>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
  }
  return found;
}

bool NodeListIterator::read(const KELPString& name, bool& value) {
  KELPString text;
  const bool found = readText(name, text);
  if (found) {
    // strtol rather than atoi: the same for every number a 32-bit int holds, and defined
    // beyond them.
    value = std::strtol(text.string().c_str(), nullptr, 10) == 1;
  }
  return found;
}

bool NodeListIterator::read(const KELPString& name, float& value) {
  double number = 0;
  const bool found = read(name, number);
  if (found) {
    value = static_cast<float>(number);
  }
  return found;
}

bool NodeListIterator::read(const KELPString& name, double& value) {
  KELPString text;
  const bool found = readText(name, text);
  if (found) {
    value = std::wcstod(wideOf(text).c_str(), nullptr);
  }
  return found;
}
