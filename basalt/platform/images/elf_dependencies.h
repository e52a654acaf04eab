#ifndef BASALT_PLATFORM_IMAGES_ELF_DEPENDENCIES_H
#define BASALT_PLATFORM_IMAGES_ELF_DEPENDENCIES_H

// The names of the shared objects that an ELF object needs, read from its file bytes before
// it is loaded. Every offset and address is checked against the bytes that are there.

#include <cstddef>
#include <string>
#include <vector>

namespace basalt::platform {

// The DT_NEEDED names of an ELF object of this machine's class, in their order; empty when
// it needs none or doesn't hold together.
std::vector<std::string> elfNeededLibraries(const unsigned char* bytes, std::size_t size);

} // namespace basalt::platform

#endif
