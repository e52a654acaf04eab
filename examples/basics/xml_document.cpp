// An XML document loaded from text, searched for elements and their attributes, extended and
// saved as text again.
#include <basalt/basalt.h>
#include <cstdio>

int main() {
  basalt::platform::CoInitialize(nullptr); // on every thread that makes documents
  {
    XmlSupport xml;
    xml.createDocument();
    if (xml.readXml(KELPString("<cubes><cube name='Sales'/><cube name='Stock'/></cubes>")) == 0) {
      std::printf("not well-formed\n");
      return 1;
    }
    NodeListIterator cube(xml.getNodeList("cube"));
    for (cube.begin(); !cube.atEnd(); ++cube) {
      KELPString name;
      cube.read("name", name);
      std::printf("cube: %s\n", name.string().c_str());
    }
    xml.addAChild(xml.findChild(XmlSupport::Element(), "cubes"), "cube");
    KELPString saved;
    xml.get_xml(saved);
    std::printf("%s", saved.string().c_str());
  }
  basalt::platform::CoUninitialize();
  return 0;
}
