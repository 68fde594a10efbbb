// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/engine/list_fault.h"

#include "runtime/core/user_interface.h"
#include "runtime/print/engine/list_state.h"
#include "runtime/print/output/number_text.h"
#include "runtime/print/output/output_channel.h"

namespace marigold {

using namespace inner;

namespace {

// State that outlives a list.
struct State {
  void (*on_overflow)(const ListOverflow& overflow) = nullptr;
};
State state;

}  // namespace

void inner::list_fail(const std::string& message, const char* help_key) {
  list_state().aborted = true;
  if (channel_is_open()) channel_stop(true);
  user_interface().message(message.c_str(), help_key);
}

void inner::list_overflow(const ListOverflow& overflow) {
  if (state.on_overflow != nullptr) return state.on_overflow(overflow);
  if (list_state().overflows_kept++ == 0)
    list_state().first_overflow = list_overflow_text(overflow);
}

std::string list_overflow_text(const ListOverflow& overflow) {
  std::string text = "page " + std::to_string(overflow.page) + ", line " +
                     std::to_string(overflow.line) + ", column " + std::to_string(overflow.column) +
                     ": ";
  text.append(overflow.field).append(": ").append(overflow.mask);
  if (overflow.mask.empty()) text += "a width of " + std::to_string(overflow.width);
  return text + " has no room for " + number_text({}, overflow.number).text;
}

void list_on_overflow(void (*told)(const ListOverflow& overflow)) {
  state.on_overflow = told;
}

}  // namespace marigold
