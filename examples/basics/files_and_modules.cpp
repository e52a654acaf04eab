// A text file written and read back, a listing by wildcard, and a loaded module's symbol.
// Paths take '\' between their parts, as on the library's first platform.
#include <basalt/basalt.h>
#include <cstdio>

int main() {
  basalt::FileLocator place("notes.txt");
  place.setLocationToTemp(); // $TMPDIR, else /tmp
  {
    File file(place);
    if (!file.open("w+")) {
      std::printf("can't write %s\n", place.getFullFileName().string().c_str());
      return 1;
    }
    file.writeLine("first line");
    file.writeLine("second line");
  }
  File file(place);
  KELPString text;
  file.open("r");
  file.readToEOF(text);
  std::printf("%s holds:\n%s", place.getFileName().string().c_str(), text.string().c_str());

  basalt::FileLocator pattern(place);
  pattern.setFileName("*.txt");
  std::vector<KELPString> names;
  pattern.listFiles(names, 0);
  std::printf("%zu .txt files there\n", names.size());

  SharedLibrary library;
  if (!library.load(basalt::FileLocator("libm.so.6"))) {
    std::printf("no libm: %s\n", library.lastError().string().c_str());
    return 1;
  }
  auto* cosine = reinterpret_cast<double (*)(double)>(library.findSymbol("cos"));
  std::printf("cos(0) from %s = %g\n", "libm.so.6", cosine != nullptr ? cosine(0.0) : -1.0);
  return 0;
}
