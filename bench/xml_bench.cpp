// The XML wrapper against libxml2 called directly, on the same document of a few thousand
// nodes: loading, and walking the items while reading their attributes as numbers. And the
// common variant's compare and convert against std::variant.

#include "basalt/data/node_list_iterator.h"
#include "basalt/data/smart_common_variant.h"
#include "basalt/data/xml_support.h"
#include "basalt/platform/com/com.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <string>
#include <variant>

namespace plat = basalt::platform;

namespace {

// 1000 items, each an element with two attributes and a text child: 3000 nodes and more.
const std::string& documentText() {
  static const std::string text = [] {
    std::string xml = "<?xml version=\"1.0\"?>\n<catalog>\n";
    for (int i = 0; i < 1000; ++i) {
      xml += "  <item id=\"" + std::to_string(i) + "\" price=\"" + std::to_string(i * 0.25) +
             "\">name " + std::to_string(i) + "</item>\n";
    }
    return xml + "</catalog>\n";
  }();
  return text;
}

class ComScope {
public:
  ComScope() { plat::CoInitialize(nullptr); }
  ~ComScope() { plat::CoUninitialize(); }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;
};

void BM_BasaltLoad(benchmark::State& state) {
  ComScope com;
  XmlSupport xml;
  xml.createDocument();
  const KELPString text(documentText());
  for (auto _ : state) {
    benchmark::DoNotOptimize(xml.readXml(text));
  }
}
BENCHMARK(BM_BasaltLoad);

void BM_Libxml2Load(benchmark::State& state) {
  const std::string& text = documentText();
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                  XML_PARSE_NONET | XML_PARSE_NOBLANKS);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
}
BENCHMARK(BM_Libxml2Load);

void BM_BasaltWalk(benchmark::State& state) {
  ComScope com;
  XmlSupport xml;
  xml.createDocument();
  xml.readXml(KELPString(documentText()));
  for (auto _ : state) {
    XmlSupport::NodeList list;
    xml.getList("item", list);
    long long sum = 0;
    for (NodeListIterator it(list); !it.atEnd(); ++it) {
      plat::LONG id = 0;
      double price = 0;
      it.read("id", id);
      it.read("price", price);
      sum += id + static_cast<long long>(price);
    }
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_BasaltWalk);

void BM_Libxml2Walk(benchmark::State& state) {
  const std::string& text = documentText();
  xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                XML_PARSE_NONET | XML_PARSE_NOBLANKS);
  for (auto _ : state) {
    long long sum = 0;
    for (xmlNodePtr node = xmlDocGetRootElement(doc)->children; node != nullptr;
         node = node->next) {
      if (node->type != XML_ELEMENT_NODE ||
          xmlStrcmp(node->name, reinterpret_cast<const xmlChar*>("item")) != 0) {
        continue;
      }
      xmlChar* id = xmlGetProp(node, reinterpret_cast<const xmlChar*>("id"));
      xmlChar* price = xmlGetProp(node, reinterpret_cast<const xmlChar*>("price"));
      sum += std::strtol(reinterpret_cast<const char*>(id), nullptr, 10) +
             static_cast<long long>(std::strtod(reinterpret_cast<const char*>(price), nullptr));
      xmlFree(id);
      xmlFree(price);
    }
    benchmark::DoNotOptimize(sum);
  }
  xmlFreeDoc(doc);
}
BENCHMARK(BM_Libxml2Walk);

using StdVariant = std::variant<std::monostate, std::u16string, double, int>;

void BM_BasaltVariantCompare(benchmark::State& state) {
  const SmartCommonVariant numbers[] = {SmartCommonVariant(1.5, 0), SmartCommonVariant(2.5, 0)};
  const SmartCommonVariant texts[] = {SmartCommonVariant(KELPString("alpha beta gamma")),
                                      SmartCommonVariant(KELPString("alpha beta delta"))};
  for (auto _ : state) {
    benchmark::DoNotOptimize(numbers[0] < numbers[1]);
    benchmark::DoNotOptimize(texts[0] < texts[1]);
    benchmark::DoNotOptimize(texts[0] == texts[1]);
  }
}
BENCHMARK(BM_BasaltVariantCompare);

void BM_StdVariantCompare(benchmark::State& state) {
  const StdVariant numbers[] = {1.5, 2.5};
  const StdVariant texts[] = {u"alpha beta gamma", u"alpha beta delta"};
  for (auto _ : state) {
    benchmark::DoNotOptimize(numbers[0] < numbers[1]);
    benchmark::DoNotOptimize(texts[0] < texts[1]);
    benchmark::DoNotOptimize(texts[0] == texts[1]);
  }
}
BENCHMARK(BM_StdVariantCompare);

plat::VARIANT seven() {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  variant.vt = plat::VT_I4;
  variant.lVal = 7;
  return variant;
}

// A VT_I4 taken as a number, and the number given back as VT_R8.
void BM_BasaltVariantConvert(benchmark::State& state) {
  SmartCommonVariant variant;
  plat::VARIANT out;
  plat::VariantInit(&out);
  for (auto _ : state) {
    plat::VARIANT in = seven();
    variant = in;
    variant.Variant(&out);
    benchmark::DoNotOptimize(out.dblVal);
  }
}
BENCHMARK(BM_BasaltVariantConvert);

// The layer's own steps for the same round: the conversion in place and a cleared target.
void BM_LayerVariantConvert(benchmark::State& state) {
  plat::VARIANT out;
  plat::VariantInit(&out);
  for (auto _ : state) {
    plat::VARIANT in = seven();
    plat::VariantChangeType(&in, &in, 0, plat::VT_R8);
    plat::VariantClear(&out);
    out.vt = plat::VT_R8;
    out.dblVal = in.dblVal;
    benchmark::DoNotOptimize(out.dblVal);
  }
}
BENCHMARK(BM_LayerVariantConvert);

void BM_StdVariantConvert(benchmark::State& state) {
  StdVariant variant;
  StdVariant out;
  for (auto _ : state) {
    const int in = 7;
    benchmark::DoNotOptimize(in);
    variant = static_cast<double>(in);
    out = std::get<double>(variant);
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(BM_StdVariantConvert);

} // namespace

BENCHMARK_MAIN();
