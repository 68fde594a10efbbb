// Only until the console of the system is there: to be deleted with its lines in tests/wi and fuzz.
#include <cstdlib>

#include "runtime/wi/console.h"

namespace marigold {

const Console& system_console() {
  std::abort();
}

}  // namespace marigold
