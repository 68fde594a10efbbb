// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/progress.h"

#include <algorithm>
#include <array>
#include <string>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(250);
constexpr int kCallsBetweenLooks = 16;
constexpr int kColumns = 78;

// Whether a key other than Ctrl-R, which only repaints the screen, was pressed.
bool a_key_was_pressed() {
  if (!key_is_waiting()) return false;
  std::uint8_t character = 0;
  return key_read(character) != kKeyIgnored || character != 0;
}

void bring_back(int window) {
  if (window != kNoWindow) p_active_w(window);
}

}  // namespace

Progress::Progress(const char* text, const char* built_in)
    : text_(text),
      built_in_(built_in == nullptr ? text : built_in),
      due_(Clock::now() + kPatience) {}

Progress::~Progress() {
  if (window_ == 0) return;
  p_destroy_w(window_);
  wi_restore_cursor();
  terminal_refresh();
}

bool Progress::go_on(std::int64_t done, std::int64_t all) {
  if (interrupted_) return false;
  if (++calls_ % kCallsBetweenLooks != 0 || !open_subsystems().window_system) return true;
  const Clock::time_point now = Clock::now();
  if (now < due_) return true;
  due_ = now + kInterval;
  if (window_ != 0 && a_key_was_pressed() && !user_goes_on()) {
    interrupted_ = true;
    return false;
  }
  show(done, all);
  return true;
}

void Progress::show(std::int64_t done, std::int64_t all) {
  const int before = wi_active();
  std::string line = screen_text_or(text_, built_in_) + ": " + std::to_string(done);
  if (all > 0) line += " / " + std::to_string(all);
  line.append("  ").append(systxt_cancel.view());
  if (window_ == 0) create_w(window_, kScreenRows, 2, 1, kColumns, true);
  p_active_w(window_);
  print_with(window_, kReverseText, 1, 1, fit(line, kColumns));
  wi_refresh_active();
  bring_back(before);
  terminal_refresh();
}

bool Progress::user_goes_on() {
  const std::array<std::string, 2> answers{screen_text_or("PROGRESS.CONTINUE", "Continue"),
                                           screen_text_or("PROGRESS.INTERRUPT", "Interrupt")};
  const std::array<const char*, 2> shown{answers[0].c_str(), answers[1].c_str()};
  return user_interface().choose(screen_text_or(text_, built_in_).c_str(), shown, "") == 0;
}

}  // namespace marigold
