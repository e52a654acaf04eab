#include "basalt/frame/exit_list.h"
#include "basalt/frame/static_objects.h"

namespace {

// The loader's calls: make the static objects when the library is loaded, and run the exit
// list when it goes, whether by dlclose or at process exit.
__attribute__((constructor)) void onLibraryLoad() {
  basalt::frame::makeStaticObjects();
}

__attribute__((destructor)) void onLibraryUnload() {
  basalt::frame::runExitList();
}

} // namespace
