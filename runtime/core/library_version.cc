#include "runtime/core/library_version.h"

namespace marigold {

const char* library_version() {
  return MARIGOLD_VERSION;
}

}  // namespace marigold
