#include "basalt/data/node_list_iterator.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/com/automation_strings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace plat = basalt::platform;

namespace {

[[noreturn]] void raise(plat::HRESULT result) {
  throw static_cast<plat::LONG>(result);
}

std::basic_string<plat::WCHAR> unitsOf(std::string_view utf8) {
  std::basic_string<plat::WCHAR> units;
  plat::utf8::decodeAll(std::string(utf8), units);
  return units;
}

// The number at the start of the UTF-8 text (up to a zero), as the C library reads it: ASCII
// text, as numbers are, by narrow (strtol, strtod), which reads it exactly as the wide readers
// do and faster; other text by wide (wcstol, wcstod). Short texts are copied on the stack.
template <typename Narrow, typename Wide>
auto readNumber(std::string_view text, Narrow narrow, Wide wide) {
  if (std::all_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) == 0; })) {
    char local[64];
    std::string heap;
    char* copy = local;
    if (text.size() >= std::size(local)) {
      heap.resize(text.size());
      copy = heap.data();
    }
    *std::copy(text.begin(), text.end(), copy) = 0;
    return narrow(copy);
  }
  const std::basic_string<plat::WCHAR> units = unitsOf(text);
  const std::wstring widened(units.begin(), units.end());
  return wide(widened.c_str());
}

// A name as an automation string for an argument that the callee only reads: on the stack in
// the layout SysAllocStringLen gives (the byte length in front, a zero unit behind) when it is
// short, as attribute names are, made on the heap otherwise.
class ArgumentName {
public:
  explicit ArgumentName(const KELPString& name) {
    static_assert(offsetof(ArgumentName, units) == sizeof(std::uint32_t));
    if (name.size() < std::size(units)) {
      byteLength = static_cast<std::uint32_t>(name.size() * sizeof(plat::WCHAR));
      *std::copy(name.begin(), name.end(), units) = 0;
      value = units;
    } else {
      name.createBSTR(&made);
      value = made;
    }
  }
  ~ArgumentName() { plat::SysFreeString(made); }
  ArgumentName(const ArgumentName&) = delete;
  ArgumentName& operator=(const ArgumentName&) = delete;

  operator plat::BSTR() const { return value; } // NOLINT(google-explicit-constructor)

private:
  std::uint32_t byteLength = 0;
  plat::WCHAR units[62];
  plat::BSTR made = nullptr;
  plat::BSTR value = nullptr;
};

} // namespace

NodeListIterator::NodeListIterator(NodeList list) : list(std::move(list)) {}

NodeListIterator::~NodeListIterator() {
  reader.Release();
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
    reader = static_cast<plat::IUnknown*>(list);
  }
  position = 0;
  fetch(0);
  started = true;
}

void NodeListIterator::fetch(LONG thrown) {
  current.Release();
  attributes.Release();
  at = position;
  if (reader) { // the node object is made only when asked for; a step checks there is a node
    LONG now = 0;
    list->get_length(&now);
    if (position < 0 || position >= now) {
      raise(plat::E_UNEXPECTED);
    }
    return;
  }
  list->get_item(position, &current);
  if (!current) { // a position outside the list, or a list that has shrunk since
    raise(plat::E_UNEXPECTED);
  }
  const plat::HRESULT result = current->get_attributes(&attributes);
  if (plat::FAILED(result)) {
    raise(thrown != 0 ? thrown : result);
  }
}

plat::IXMLDOMNode* NodeListIterator::node() {
  start();
  if (!current && started) {
    list->get_item(at, &current);
  }
  return current;
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
  return node();
}

plat::CComQIPtr<plat::IXMLDOMNodeList> NodeListIterator::get_childList() {
  plat::IXMLDOMNode* from = node();
  childList.Release();
  if (from == nullptr) {
    raise(plat::E_UNEXPECTED);
  }
  from->get_childNodes(&childList);
  return childList;
}

bool NodeListIterator::readerText(const KELPString& name, std::string_view& text) {
  const char* value = nullptr;
  plat::UINT length = 0;
  const plat::HRESULT result =
      reader->getItemAttributeText(at, ArgumentName(name), &value, &length);
  if (result == plat::E_UNEXPECTED) {
    raise(result);
  }
  if (result != plat::S_OK) {
    return false;
  }
  text = std::string_view(value, length);
  return true;
}

bool NodeListIterator::get_attribute(const KELPString& name, plat::VARIANT* value) {
  start();
  if (reader) {
    std::string_view text;
    if (!readerText(name, text)) {
      return false;
    }
    plat::VariantInit(value); // as get_nodeValue does: what value held isn't cleared
    const std::basic_string<plat::WCHAR> units = unitsOf(text);
    value->bstrVal = plat::SysAllocStringLen(units.data(), static_cast<plat::UINT>(units.size()));
    if (value->bstrVal == nullptr) {
      return false;
    }
    value->vt = plat::VT_BSTR;
    return true;
  }
  if (!attributes) {
    raise(plat::E_UNEXPECTED);
  }
  plat::CComPtr<plat::IXMLDOMNode> item;
  const plat::HRESULT result = attributes->getNamedItem(ArgumentName(name), &item);
  if (plat::FAILED(result)) {
    raise(result);
  }
  if (!item) {
    return false;
  }
  return plat::SUCCEEDED(item->get_nodeValue(value));
}

// The attribute's value as UTF-8, given to use while it lasts; false when there is none. Read
// in place from a list of this platform's DOM, through get_attribute from any other.
template <typename Use> bool NodeListIterator::readValue(const KELPString& name, Use use) {
  start();
  std::string_view text;
  if (reader) {
    const bool found = readerText(name, text);
    if (found) {
      use(text);
    }
    return found;
  }
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  const bool found = get_attribute(name, &variant);
  if (found) {
    std::string utf8;
    if (variant.vt == plat::VT_BSTR) {
      plat::utf8::append(utf8, variant.bstrVal, plat::SysStringLen(variant.bstrVal));
    }
    use(std::string_view(utf8));
  }
  plat::VariantClear(&variant);
  return found;
}

bool NodeListIterator::read(const KELPString& name, KELPString& value) {
  start();
  if (!reader) { // another DOM's text as it came, unpaired surrogates and all
    plat::VARIANT variant;
    plat::VariantInit(&variant);
    const bool found = get_attribute(name, &variant);
    value.fillFromBSTR(variant.vt == plat::VT_BSTR ? variant.bstrVal : nullptr);
    plat::VariantClear(&variant);
    return found;
  }
  return readValue(name, [&](std::string_view text) {
    const std::basic_string<plat::WCHAR> units = unitsOf(text);
    value.assign(units.data(), units.size());
  });
}

bool NodeListIterator::read(const KELPString& name, LONG& value) {
  return readValue(name, [&](std::string_view text) {
    // Clamped as a 32-bit wcstol would clamp.
    const long number = readNumber(
        text, [](const char* narrow) { return std::strtol(narrow, nullptr, 10); },
        [](const wchar_t* wide) { return std::wcstol(wide, nullptr, 10); });
    value = static_cast<LONG>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
  });
}

bool NodeListIterator::read(const KELPString& name, bool& value) {
  return readValue(name, [&](std::string_view text) {
    KELPString units;
    const std::basic_string<plat::WCHAR> decoded = unitsOf(text);
    units.assign(decoded.data(), decoded.size());
    // strtol rather than atoi: the same for every number a 32-bit int holds, and defined
    // beyond them.
    value = std::strtol(units.string().c_str(), nullptr, 10) == 1;
  });
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
  return readValue(name, [&](std::string_view text) {
    value = readNumber(
        text, [](const char* narrow) { return std::strtod(narrow, nullptr); },
        [](const wchar_t* wide) { return std::wcstod(wide, nullptr); });
  });
}
