// NodeListIterator: starting by itself, positions at and beyond both ends, and attribute
// reads as typed values.

#include "basalt/data/node_list_iterator.h"
#include "xml_test_support.h"

#include <utility>

namespace {

using namespace basalt::test;
using NodeList = XmlSupport::NodeList;

// A client's own node list over one of the DOM's: it offers IXMLDOMNodeList alone, so the
// iterator walks it the general way, with node objects.
class ClientList final : public plat::IXMLDOMNodeList {
public:
  explicit ClientList(NodeList inner) : inner(std::move(inner)) {}
  plat::HRESULT QueryInterface(const plat::IID& id, void** object) override {
    if (!plat::IsEqualGUID(id, plat::IUnknown::iid) &&
        !plat::IsEqualGUID(id, plat::IXMLDOMNodeList::iid)) {
      *object = nullptr;
      return plat::E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<plat::IXMLDOMNodeList*>(this);
    return plat::S_OK;
  }
  plat::ULONG AddRef() override { return ++references; }
  plat::ULONG Release() override {
    const plat::ULONG left = --references;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  plat::HRESULT get_item(plat::LONG index, plat::IXMLDOMNode** node) override {
    return inner->get_item(index, node);
  }
  plat::HRESULT get_length(plat::LONG* length) override { return inner->get_length(length); }

private:
  ~ClientList() = default;
  NodeList inner;
  plat::ULONG references = 1;
};

// Every test walks a list of the DOM's (GetParam() false) and a client's own (true).
class NodeListIteratorTest : public XmlTest, public ::testing::WithParamInterface<bool> {
protected:
  // The elements named item of a document made from text.
  NodeList items(const char* text) {
    parse(text);
    NodeList list;
    xml.getList("item", list);
    return walked(list);
  }

  NodeList walked(const NodeList& list) {
    if (!GetParam() || !list) {
      return list;
    }
    NodeList client;
    client.Attach(new ClientList(list));
    return client;
  }

  std::string idOf(NodeListIterator& iterator) {
    const plat::CComQIPtr<plat::IXMLDOMElement> element(
        static_cast<plat::IUnknown*>(iterator.iter()));
    KELPString id;
    xml.read_from(element, "id", id);
    return narrow(id);
  }
};

TEST_P(NodeListIteratorTest, PositionsRunFreelyPastBothEnds) {
  NodeListIterator none{NodeList()};
  EXPECT_TRUE(none.atEnd());
  EXPECT_TRUE(none.penultimate());
  EXPECT_FALSE(none.iter());
  NodeListIterator empty(items("<r/>"));
  EXPECT_TRUE(empty.atEnd());
  EXPECT_TRUE(empty.penultimate());
  // Not started: reads have no node, and say so by throwing rather than crashing.
  KELPString id;
  EXPECT_THROW(empty.read("id", id), plat::LONG);

  NodeListIterator three(items("<r><item id='a'/><x><item id='b'/></x><item id='c'/></r>"));
  ++three;
  EXPECT_FALSE(three.penultimate());
  EXPECT_EQ(idOf(three), "b");
  ++three;
  EXPECT_TRUE(three.penultimate());
  EXPECT_FALSE(three.atEnd());
  ++three;
  ++three;
  EXPECT_TRUE(three.atEnd());
  EXPECT_TRUE(three.read("id", id)); // past the end the last node stays, and reads reach it
  EXPECT_TRUE(id == "c");

  three -= 10; // below 0: the node stays where it was
  EXPECT_FALSE(three.atEnd());
  EXPECT_EQ(idOf(three), "c");
  // Stepping while below 0 asks for a node that isn't there.
  EXPECT_THROW(++three, plat::LONG);
  three.begin();
  EXPECT_EQ(idOf(three), "a");

  // A copy moves by itself.
  NodeListIterator copy(three);
  ++copy;
  EXPECT_EQ(idOf(copy), "b");
  EXPECT_EQ(idOf(three), "a");
}

TEST_P(NodeListIteratorTest, ReadsConvertAsFarAsTheTextGoes) {
  NodeListIterator it(items("<r><item long='12ab' word='abc' big='99999999999' neg=' -7'"
                            " one='1' zero='0' two='2' True='True' empty=''"
                            " real='2.5e3xyz' tiny='1e-50' text='Zoë'/></r>"));
  // A 32-bit reader's clamping; a missing attribute leaves the value alone.
  const std::pair<const char*, plat::LONG> numbers[] = {
      {"long", 12}, {"word", 0}, {"big", 2147483647}, {"neg", -7}, {"missing", 42}};
  for (const auto& [name, expected] : numbers) {
    plat::LONG number = 42;
    EXPECT_EQ(it.read(name, number), std::string(name) != "missing") << name;
    EXPECT_EQ(number, expected) << name;
  }
  const std::pair<const char*, bool> flags[] = {{"one", true},   {"zero", false},  {"two", false},
                                                {"True", false}, {"empty", false}, {"long", false}};
  for (const auto& [name, expected] : flags) {
    bool flag = !expected;
    EXPECT_TRUE(it.read(name, flag)) << name;
    EXPECT_EQ(flag, expected) << name;
  }
  double real = 0;
  float single = 1;
  EXPECT_TRUE(it.read("real", real));
  EXPECT_EQ(real, 2500.0);
  EXPECT_TRUE(it.read("tiny", single)); // below the float's range
  EXPECT_EQ(single, 0.0F);
  KELPString text;
  EXPECT_TRUE(it.read("text", text));
  EXPECT_EQ(narrow(text), "Zoë");
}

TEST_P(NodeListIteratorTest, NodesWithoutAttributesThrowInsteadOfCrashing) {
  NodeList item = items("<r><item>text<b/></item></r>");
  NodeList children;
  ASSERT_EQ(xml.getChildList(item, children, 0), plat::S_OK);
  NodeListIterator it(walked(children));
  EXPECT_EQ(it.size(), 2);
  KELPString text;
  EXPECT_THROW(it.read("x", text), plat::LONG); // a text node has no attribute map
  ++it;
  EXPECT_FALSE(it.read("x", text)); // the element has one
  plat::LONG count = -1;
  EXPECT_EQ(it.get_childList()->get_length(&count), plat::S_OK);
  EXPECT_EQ(count, 0);
}

INSTANTIATE_TEST_SUITE_P(Lists, NodeListIteratorTest, ::testing::Bool());

} // namespace
