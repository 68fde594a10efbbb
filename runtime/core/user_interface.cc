// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/user_interface.h"

#include <cstdio>
#include <cstdlib>

#include "runtime/core/terminal_text.h"
#include "runtime/platform/clock.h"

namespace marigold {

using namespace inner;

namespace {

void write_text(const char* text) {
  std::fprintf(stderr, "%s\n", error_text(text, LineEnds::kKept).c_str());
}

void write_line(const char* text) {
  std::fprintf(stderr, "%s\n", error_text(text, LineEnds::kShown).c_str());
}

void write_message(const char* text, const char* /*help_key*/) {
  write_line(text);
}

int take_first(const char* question, std::span<const char* const> /*answers*/,
               const char* /*help_key*/) {
  write_line(question);
  return 0;
}

void write_and_wait(const char* text) {
  write_line(text);
  clock_sleep(1);
}

bool write_and_give_up(const char* text, const char* /*help_key*/) {
  write_and_wait(text);
  return false;
}

void leave_nothing() {}

void leave_unsaid(const char* /*source*/, int /*line*/) {}

void write_number_and_abort(int number) {
  std::fprintf(stderr, "system error %d\n", number);
  std::abort();
}

constexpr UserInterface kStandardError{.warning = write_text,
                                       .message = write_message,
                                       .choose = take_first,
                                       .ask_for_lock = write_and_give_up,
                                       .wait_for_lock = write_and_wait,
                                       .hand_terminal_back = leave_nothing,
                                       .fatal = write_number_and_abort,
                                       .fault_in_line = leave_unsaid};

constinit UserInterface state = kStandardError;

}  // namespace

UserInterface& user_interface() {
  return state;
}

void inner::user_interface_start() {
  state = kStandardError;
}

void inner::raise_fatal(int number) {
  state.fatal(number);
  std::abort();
}

}  // namespace marigold
