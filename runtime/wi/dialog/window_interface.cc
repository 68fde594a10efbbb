// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/dialog/window_interface.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string_view>
#include <vector>

#include "marigold/windows.h"
#include "runtime/core/edit_mask.h"
#include "runtime/core/line_output.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/last_words.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/window/window_text.h"

namespace marigold::inner {
namespace {

constexpr int kQuestionColumns = 40;
constexpr int kAnswerColumns = kScreenColumns - kQuestionColumns - 1;
constexpr std::string_view kSideBySide = "110000000";
constexpr std::string_view kBelowEachOther = "100000000";

// The window of a fault in a source, and the places in it.
constexpr Rectangle kFaultWindow = {.top = 8, .left = 18, .height = 10, .width = 44};
constexpr int kFaultRow = 6;
constexpr int kSourceColumn = 2;
constexpr int kLineColumn = 15;
constexpr std::string_view kLineMask = "####";

struct State {
  UserInterface before;
};

State state;

// A text in the left half of the last row, in reverse. With the width of the screen the rest of the
// row is blank, so that a status line does not stand beside the answers.
class LastRow : public OwnWindow {
 public:
  explicit LastRow(std::string_view text, int width = kQuestionColumns)
      : OwnWindow(kScreenRows, 1, 1, width, true) {
    p_set_atr(number(), kReverseText);
    p_printstr(number(), 1, 1, fit(text, kQuestionColumns).c_str());
    show();
  }
};

bool fit_beside(const std::vector<SelectionEntry>& entries) {
  const auto add = [](std::size_t sum, const SelectionEntry& entry) {
    return sum + entry.text.size() + 2;
  };
  return std::accumulate(entries.begin(), entries.end(), std::size_t{0}, add) <= kAnswerColumns;
}

int choose_in_window(const char* question, std::span<const char* const> answers,
                     const char* help_key) {
  const LastRow row(question, kScreenColumns);
  std::vector<SelectionEntry> entries;
  for (const char* answer : answers)
    entries.push_back({.text = answer});
  const bool beside = fit_beside(entries);
  const int number = selection_field({.row = beside ? kScreenRows : 3,
                                      .column = beside ? kQuestionColumns + 2 : 3,
                                      .title = "",
                                      .entries = entries,
                                      .layout = beside ? kSideBySide : kBelowEachOther,
                                      .help_key = help_key});
  return number > 0 ? number - 1 : 0;
}

// Blanks the right half of the last row if a window of the program stands there. The questions about
// locks have windows of the left half alone, which programs know.
class BlankBesideQuestion {
 public:
  BlankBesideQuestion() {
    if (is_needed()) window_.emplace(kScreenRows, kQuestionColumns + 1, 1, kQuestionColumns, true);
    if (window_) window_->show();
  }

 private:
  // Without numbers for the question and its answers the row stays as it is.
  static bool is_needed() {
    constexpr int kNeeded = 3;
    const auto& windows = window_state().windows;
    const auto free = std::ranges::count(windows, false, &Window::used) - 1;  // 0 is no number
    return free >= kNeeded && std::ranges::any_of(shown_windows(), [&windows](int number) {
             const Rectangle& at = windows[static_cast<std::size_t>(number)].at;
             return at.top + at.height == kScreenRows && at.left + at.width > kQuestionColumns;
           });
  }

  std::optional<OwnWindow> window_;
};

// Escape means "back", though the first answer is "try again".
bool ask_in_window(const char* text, const char* help_key) {
  const BlankBesideQuestion blank;
  const LastRow row(text);
  const SelectionEntry entries[] = {{.text = systxt_tryagain.view()}, {.text = systxt_back.view()}};
  return selection_field({.row = kScreenRows,
                          .column = kQuestionColumns + 2,
                          .title = "",
                          .entries = entries,
                          .layout = kSideBySide,
                          .help_key = help_key}) == 1;
}

// Cuts the name to its place. The window needs a free number; a message line would not.
void show_fault(const std::string& source, const std::string& line) {
  int window = 0;
  create_w(window, kFaultWindow.top, kFaultWindow.left, kFaultWindow.height, kFaultWindow.width,
           false);
  p_printstr(window, kFaultRow, kSourceColumn, source.c_str());
  p_printstr(window, kFaultRow, kLineColumn, line.c_str());
  p_active_w(window);
  terminal_refresh();
}

// Also writes the line to standard error, because the system error that follows leaves the screen
// without waiting for the user.
void tell_fault_in_line(const char* source, int line) {
  const std::string text = "Fehler in Zeile: " + edit_number(kLineMask, line);
  const std::string name = fit(source, kLineColumn - kSourceColumn);
  if (wi_has_free_window()) show_fault(name, text);
  user_interface().hand_terminal_back();
  line_output_text(kFaultRow, kSourceColumn, (name + text).c_str(), kScreenColumns);
}

void wait_in_window(const char* text) {
  const LastRow row(text);
  clock_sleep(1);
}

}  // namespace

void window_interface_start() {
  UserInterface& interface = user_interface();
  state.before = interface;
  interface.warning = warning_box;
  interface.message = message_line;
  interface.choose = choose_in_window;
  interface.ask_for_lock = ask_in_window;
  interface.wait_for_lock = wait_in_window;
  interface.hand_terminal_back = terminal_end;
  interface.fault_in_line = tell_fault_in_line;
  last_words_set_leave(terminal_end);
}

void window_interface_end() {
  const auto fatal = user_interface().fatal;
  user_interface() = state.before;
  user_interface().fatal = fatal;
  last_words_set_leave(nullptr);
}

}  // namespace marigold::inner
