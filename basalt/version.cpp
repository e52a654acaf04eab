#include "basalt/version.h"

namespace basalt {

const char* version() {
  return BASALT_VERSION;
}

} // namespace basalt
