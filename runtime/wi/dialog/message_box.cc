// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/window/compose.h"
#include "runtime/wi/window/window_table.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kBoxColumns = 60;
constexpr std::size_t kBoxLines = 15;

std::string_view view_of(const char* text) {
  return text == nullptr ? std::string_view{} : std::string_view(text);
}

int wait_for_key() {
  std::uint8_t character = 0;
  return field_key(character);
}

// Shows the line until the user presses a key, and returns the key's code. The line lies over all
// windows and is not a window, so that it can appear when all windows are in use: it takes the
// place of window 0, which no program gets.
int show_line(std::string_view text) {
  ScreenRow line;
  row_fill(line, ' ', kAttributeReverse);
  std::ranges::copy(visible(text.substr(0, kScreenColumns)), line.characters.begin());
  terminal_write_row(line, kScreenRows, 1, kScreenColumns);
  terminal_refresh();
  const int code = wait_for_key();
  window_state().windows[0].at = {kScreenRows - 1, 0, 1, kScreenColumns};
  compose_hide(0);
  write_rectangle(0);
  wi_restore_cursor();
  terminal_refresh();
  return code;
}

// Takes the next line off a text: up to a line end, or as many words as fit; divides a longer word.
std::string_view next_line(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::size_t length = end;
  std::size_t taken = std::min(end + 1, text.size());
  if (end > kBoxColumns) {
    const std::size_t blank = text.rfind(' ', kBoxColumns);
    const bool between_words = blank != std::string_view::npos && blank > 0;
    length = between_words ? blank : kBoxColumns;
    taken = between_words ? blank + 1 : kBoxColumns;
  }
  const std::string_view line = text.substr(0, length);
  text.remove_prefix(taken);
  return line;
}

// Adds the lines of a text; an empty one has no line.
void break_lines(std::string_view text, std::vector<std::string_view>& lines) {
  while (!text.empty())
    lines.push_back(next_line(text));
}

int centred(int width, std::size_t length) {
  return std::max(1, (width - static_cast<int>(length)) / 2 + 1);
}

// Shows a title, lines and a button in the middle of the screen until the user presses a key, and
// returns the key's code.
int show_box(std::string_view title_text, std::span<const std::string_view> lines,
             std::string_view button_text) {
  std::size_t widest = std::max(title_text.size(), button_text.size());
  for (const std::string_view line : lines)
    widest = std::max(widest, line.size());
  const int width = static_cast<int>(std::min(widest, kBoxColumns)) + 2;
  const int height = static_cast<int>(lines.size()) + 4;  // title, blank, lines, blank, button
  const OwnWindow window((kScreenRows - height - 2) / 2 + 1, (kScreenColumns - width - 2) / 2 + 1,
                         height + 2, width + 2, false);
  const int number = window.number();
  const auto inside = static_cast<std::size_t>(width);
  const std::string title = visible(title_text.substr(0, inside));
  const std::string button = visible(button_text.substr(0, inside));
  print_with(number, kReverseText, 1, centred(width, title.size()), title);
  int row = 3;
  for (const std::string_view line : lines)
    p_printstr(number, row++, 2, visible(line).c_str());
  const int column = centred(width, button.size());
  print_with(number, kReverseText, height, column, button);
  window.show();
  wi_set_cursor(number, height, column);
  return wait_for_key();
}

}  // namespace

void message_line(const char* text, const char* help_key) {
  while (show_line(view_of(text)) == kKeyHelp && !view_of(help_key).empty())
    help_show(help_key);
}

void warning_box(const char* text) {
  std::vector<std::string_view> lines;
  break_lines(view_of(text), lines);
  lines.resize(std::min(lines.size(), kBoxLines));
  show_box(systxt_warning.view(), lines, systxt_ok.view());
}

void help_show(const char* help_key) {
  const std::vector<std::string> texts = screen_text_lines(help_key);
  if (texts.empty()) {
    const std::string text = std::string(systxt_nohelp.view()) + std::string(view_of(help_key));
    return message_line(text.c_str(), "");
  }
  std::vector<std::string_view> lines;
  for (const std::string& text : texts) {
    break_lines(text, lines);
    if (text.empty()) lines.emplace_back();
  }
  for (std::span<const std::string_view> left = lines; !left.empty();) {
    const std::size_t count = std::min(left.size(), kBoxLines);
    const bool is_last = count == left.size();
    const std::string_view button = is_last ? systxt_ok.view() : systxt_more.view();
    if (show_box("", left.first(count), button) == kKeyEscape) return;
    left = left.subspan(count);
  }
}

}  // namespace marigold
