#include "runtime/wi/field_key.h"

#include "runtime/wi/keys.h"
#include "runtime/wi/window.h"

namespace marigold {
namespace {

// The second bytes of keys that have no code of their own.
constexpr std::uint8_t kControlHome = 'w';
constexpr std::uint8_t kControlFStart = 'g';

}  // namespace

int field_key(std::uint8_t& character) {
  for (;;) {
    const int code = key_read(character);
    if (code == kKeyIgnored && character == kControlHome) return kKeyStart;
    if (code == kKeyEscape && character == kControlFStart) return kKeyStart;
    if (code == kKeyIgnored) {
      wi_restore_cursor();
    } else if (!key_hook_run(code)) {
      return code;
    }
  }
}

}  // namespace marigold
