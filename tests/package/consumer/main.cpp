// A client of the installed package: it must compile against the installed headers alone
// and link against the installed library.
#include <basalt/basalt.h>
#include <cstdio>
#include <cstring>

int main() {
  KELPString text("basalt");
  unsigned short* bstr = nullptr;
  text.createBSTR(&bstr);
  const bool ok = bstr != nullptr && basalt::platform::SysStringLen(bstr) == 6 &&
                  text.string() == "basalt" && std::strcmp(basalt::version(), BASALT_VERSION) == 0;
  basalt::platform::SysFreeString(bstr);
  {
    basalt::PavaneMutex mutex;
    basalt::PavaneSynchronized guard(mutex);
  }
  std::printf("consumer: basalt %s\n", ok ? "ok" : "broken");
  return ok ? 0 : 1;
}
