#include "runtime/platform/process.h"

#include <unistd.h>

namespace marigold {

long process_number() {
  return getpid();
}

}  // namespace marigold
