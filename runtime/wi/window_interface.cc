#include "runtime/wi/window_interface.h"

<<<<<<< HEAD
#include <numeric>
#include <string_view>
#include <vector>

#include "runtime/core/user_interface.h"
#include "runtime/platform/clock.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/message_box.h"
#include "runtime/wi/selection.h"
#include "runtime/wi/window_text.h"
=======
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/core/runtime_string.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/clock.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/compose.h"
#include "runtime/wi/window_table.h"
>>>>>>> 788326d0f772a79142220f05fd00700003553ea6

namespace marigold {
namespace {

<<<<<<< HEAD
constexpr int kQuestionColumns = 40;
constexpr int kAnswerColumns = kScreenColumns - kQuestionColumns - 1;
constexpr std::string_view kSideBySide = "110000000";
constexpr std::string_view kBelowEachOther = "100000000";

struct State {
  UserInterface before;
};

State state;

// The left half of the last row, in reverse.
class LastRow : public OwnWindow {
 public:
  explicit LastRow(std::string_view text) : OwnWindow(kScreenRows, 1, 1, kQuestionColumns, true) {
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
  const LastRow row(question);
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

// Escape leaves the lock alone: it is "back", though the first answer is the other one.
bool ask_in_window(const char* text, const char* help_key) {
  const LastRow row(text);
  const SelectionEntry entries[] = {{.text = systxt_tryagain.view()}, {.text = systxt_back.view()}};
  return selection_field({.row = kScreenRows,
                          .column = kQuestionColumns + 2,
                          .title = "",
                          .entries = entries,
                          .layout = kSideBySide,
                          .help_key = help_key}) == 1;
}

void wait_in_window(const char* text) {
  const LastRow row(text);
=======
// A box is centred and keeps a distance to the screen's edges.
constexpr std::size_t kWidestText = 70;
constexpr std::size_t kMostLines = 16;

constexpr int kLockColumns = 40;

struct State {
  bool in_place = false;
  UserInterface before;
};

constinit State state{};

// ---- Windows that are shown for a moment

class ShownWindow {
 public:
  ShownWindow(int top, int left, int height, int width, bool no_frame) {
    create_w(number_, top, left, height, width, no_frame);
  }
  ~ShownWindow() {
    p_destroy_w(number_);
    wi_restore_cursor();
    terminal_refresh();
  }
  ShownWindow(const ShownWindow&) = delete;
  ShownWindow& operator=(const ShownWindow&) = delete;

  [[nodiscard]] int number() const { return number_; }
  void show() const {
    p_active_w(number_);
    terminal_refresh();
  }

 private:
  int number_ = 0;
};

// A key other than an ignored one, Escape among them.
int wait_for_key(std::uint8_t& character) {
  int code = kKeyIgnored;
  while (code == kKeyIgnored)
    code = key_read(character);
  return code;
}

// ---- The one-line message

// Row 24, over all windows, until a key is pressed; its code. It takes no window, so that it can
// be shown when all of them are in use. Window 0 is never given out; its place is the line's.
int show_line(std::string_view text) {
  ScreenRow line;
  row_fill(line, ' ', kAttributeReverse);
  std::ranges::copy(text.substr(0, kScreenColumns), line.characters.begin());
  terminal_write_row(line, kScreenRows, 1, kScreenColumns);
  terminal_refresh();
  std::uint8_t character = 0;
  const int code = wait_for_key(character);
  window_state().windows[0].at = {kScreenRows - 1, 0, 1, kScreenColumns};
  compose_hide(0);
  write_rectangle(0);
  wi_restore_cursor();
  terminal_refresh();
  return code;
}

void show_no_help(const char* help_key) {
  show_line(std::string(systxt_nohelp.view()).append(help_key));
}

void show_message(const char* text, const char* help_key) {
  while (show_line(text) == kKeyHelp && *help_key != '\0')
    show_no_help(help_key);
}

// ---- Answers

struct Offer {
  std::vector<std::string> answers;
  std::size_t safe;  // the answer that Escape gives
  const char* help_key;
};

std::string label(const Offer& offer, std::size_t index) {
  return " F" + std::to_string(index + 1) + " " + offer.answers[index] + " ";
}

// What does not fit into the window is left out.
void draw_answers(int window, int row, const Offer& offer, std::size_t chosen) {
  WindowPlace place{};
  get_window_paras(window, place);
  const int columns = place.width - (place.no_frame ? 0 : 2);
  int column = 1;
  for (std::size_t index = 0; index < offer.answers.size() && column <= columns; ++index) {
    const auto room = static_cast<std::size_t>(columns + 1 - column);
    const std::string text = label(offer, index).substr(0, room);
    p_set_atr(window, index == chosen ? "0100" : "0000");
    p_printstr(window, row, column, text.c_str());
    column += static_cast<int>(text.size()) + 1;
  }
  wi_refresh_active();
  terminal_refresh();
}

// The answer whose function key or first letter was pressed; their number for none.
std::size_t answer_of_key(const Offer& offer, int code, std::uint8_t character) {
  const std::size_t none = offer.answers.size();
  if (code >= kKeyF1 && code <= kKeyF8)
    return std::min(static_cast<std::size_t>(code - kKeyF1), none);
  if (code != kKeyCharacter) return none;
  const auto found = std::ranges::find_if(offer.answers, [character](const std::string& answer) {
    return !answer.empty() && st_upper(answer[0]) == st_upper(static_cast<char>(character));
  });
  return static_cast<std::size_t>(found - offer.answers.begin());
}

// The answers in a row of the active window: by function key, by first letter, or with the cursor
// keys and Enter.
std::size_t take_answer(int window, int row, const Offer& offer) {
  const std::size_t count = offer.answers.size();
  std::size_t chosen = 0;
  while (true) {
    draw_answers(window, row, offer, chosen);
    std::uint8_t character = 0;
    const int code = wait_for_key(character);
    if (code == kKeyEnter) return chosen;
    if (code == kKeyEscape) return offer.safe;
    if (code == kKeyHelp) show_no_help(offer.help_key);
    if (code == kKeyRight || code == kKeyTab) chosen = (chosen + 1) % count;
    if (code == kKeyLeft) chosen = (chosen + count - 1) % count;
    const std::size_t pressed = answer_of_key(offer, code, character);
    if (pressed < count) return pressed;
  }
}

std::size_t answers_width(const Offer& offer) {
  std::size_t width = 0;
  for (std::size_t index = 0; index < offer.answers.size(); ++index)
    width += label(offer, index).size() + 1;
  return width;
}

// ---- Boxes

// Lines of at most 70 characters, broken at blanks where there are any, and at line ends.
std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty() && lines.size() < kMostLines) {
    std::size_t length = std::min(text.substr(0, kWidestText + 1).find('\n'), text.size());
    std::size_t skipped = 1;
    if (length > kWidestText) {
      length = text.substr(0, kWidestText + 1).rfind(' ');
      if (length == std::string_view::npos || length == 0) {
        length = kWidestText;
        skipped = 0;
      }
    }
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(std::min(length + skipped, text.size()));
  }
  return lines;
}

// A framed window in the middle of the screen with a title in its frame, a text, and answers.
std::size_t show_box(std::string_view title, std::string_view text, const Offer& offer) {
  const std::vector<std::string> lines = lines_of(text);
  std::size_t inside = std::max(title.size(), answers_width(offer));
  for (const std::string& line : lines)
    inside = std::max(inside, line.size());
  const int width = static_cast<int>(std::min<std::size_t>(inside + 4, kScreenColumns));
  const int height = static_cast<int>(lines.size()) + 4;
  const ShownWindow box(1 + (kScreenRows - height) / 2, 1 + (kScreenColumns - width) / 2, height,
                        width, false);
  p_set_atr(box.number(), "0010");
  // Row 0 is the frame.
  p_printstr(box.number(), 0, 2, std::string(title.substr(0, kWidestText)).c_str());
  p_set_atr(box.number(), "0000");
  for (std::size_t row = 0; row < lines.size(); ++row)
    p_printstr(box.number(), static_cast<int>(row) + 1, 2, lines[row].c_str());
  box.show();
  return take_answer(box.number(), height - 2, offer);
}

void show_warning(const char* text) {
  show_box(systxt_warning.view(), text, {{std::string(systxt_ok.view())}, 0, ""});
}

int choose(const char* question, std::span<const char* const> answers, const char* help_key) {
  // The first answer is the safe one, also where there is nothing to choose from.
  if (answers.empty()) return 0;
  const Offer offer{{answers.begin(), answers.end()}, 0, help_key};
  return static_cast<int>(show_box("", question, offer));
}

// ---- Locks

void print_lock(int window, const char* text) {
  p_set_atr(window, "0100");
  p_printstr(window, 1, 1, std::string(text).substr(0, kLockColumns).c_str());
}

bool ask_for_lock(const char* text, const char* help_key) {
  const ShownWindow lock(kScreenRows, 1, 1, kLockColumns, true);
  print_lock(lock.number(), text);
  lock.show();
  const ShownWindow keys(kScreenRows, kLockColumns + 1, 1, kScreenColumns - kLockColumns, true);
  keys.show();
  const Offer offer{
      {std::string(systxt_tryagain.view()), std::string(systxt_back.view())}, 1, help_key};
  return take_answer(keys.number(), 1, offer) == 0;
}

void wait_for_lock(const char* text) {
  const ShownWindow lock(kScreenRows, 1, 1, kLockColumns, true);
  print_lock(lock.number(), text);
  lock.show();
>>>>>>> 788326d0f772a79142220f05fd00700003553ea6
  clock_sleep(1);
}

}  // namespace

void window_interface_start() {
<<<<<<< HEAD
  UserInterface& interface = user_interface();
  state.before = interface;
  interface.warning = warning_box;
  interface.message = message_line;
  interface.choose = choose_in_window;
  interface.ask_for_lock = ask_in_window;
  interface.wait_for_lock = wait_in_window;
  interface.hand_terminal_back = terminal_end;
}

void window_interface_end() {
  const auto fatal = user_interface().fatal;
  user_interface() = state.before;
  user_interface().fatal = fatal;
=======
  UserInterface& hook = user_interface();
  if (!state.in_place) state.before = hook;
  state.in_place = true;
  hook.warning = show_warning;
  hook.message = show_message;
  hook.choose = choose;
  hook.ask_for_lock = ask_for_lock;
  hook.wait_for_lock = wait_for_lock;
  hook.hand_terminal_back = terminal_end;
}

void window_interface_end() {
  if (!state.in_place) return;
  // Who reports fatal errors may have changed meanwhile; that is not the window system's.
  state.before.fatal = user_interface().fatal;
  user_interface() = state.before;
  state.in_place = false;
>>>>>>> 788326d0f772a79142220f05fd00700003553ea6
}

}  // namespace marigold
