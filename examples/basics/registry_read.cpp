// A component's settings from the registry: text, number and yes/no values, and the sub-keys.
#include <basalt/basalt.h>
#include <cstdio>
#include <cstdlib>

int main() {
  setenv("BASALT_REGISTRY", EXAMPLES_REGISTRY, 0); // .reg files and directories, ':' between
  RegistryWrapper registry;
  const KELPString key("Software\\Example Vendor\\Cube Client");
  KELPString server;
  std::uint32_t port = 0;
  bool secure = false;
  if (!registry.readRegKeyValue(RegistryWrapper::LocalMachine, key, "Server", server, nullptr) ||
      !registry.readRegKeyValue(RegistryWrapper::LocalMachine, key, "Port", port, nullptr) ||
      !registry.readRegKeyValue(RegistryWrapper::LocalMachine, key, "Secure", secure, nullptr)) {
    std::printf("can't read the settings: %s\n", registry.getErrorText().string().c_str());
    return 1;
  }
  std::printf("server %s, port %u, %s\n", server.string().c_str(), port,
              secure ? "secure" : "plain");

  std::vector<RegistryKey*> vendors; // owned by the wrapper
  registry.enumRegKeys(RegistryWrapper::LocalMachine, "Software", vendors);
  std::printf("%zu keys under HKEY_LOCAL_MACHINE\\Software\n", vendors.size());
  return 0;
}
