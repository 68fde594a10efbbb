// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/texte/sysmsg.h"
#include "runtime/wi/window/compose.h"
#include "runtime/wi/window/window_table.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kWarningColumns = 60;
constexpr std::size_t kWarningLines = 15;

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
  if (end > kWarningColumns) {
    const std::size_t blank = text.rfind(' ', kWarningColumns);
    const bool between_words = blank != std::string_view::npos && blank > 0;
    length = between_words ? blank : kWarningColumns;
    taken = between_words ? blank + 1 : kWarningColumns;
  }
  const std::string_view line = text.substr(0, length);
  text.remove_prefix(taken);
  return line;
}

std::vector<std::string_view> break_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty() && lines.size() < kWarningLines)
    lines.push_back(next_line(text));
  return lines;
}

int centred(int width, std::size_t length) {
  return std::max(1, (width - static_cast<int>(length)) / 2 + 1);
}

}  // namespace

void message_line(const char* text, const char* help_key) {
  while (show_line(view_of(text)) == kKeyHelp && !view_of(help_key).empty())
    help_show(help_key);
}

void warning_box(const char* text) {
  const std::vector<std::string_view> lines = break_lines(view_of(text));
  std::size_t widest = std::max(systxt_warning.view().size(), systxt_ok.view().size());
  for (const std::string_view line : lines)
    widest = std::max(widest, line.size());
  const int width = static_cast<int>(std::min(widest, kWarningColumns)) + 2;
  const int height = static_cast<int>(lines.size()) + 4;  // title, blank, lines, blank, button
  const OwnWindow window((kScreenRows - height - 2) / 2 + 1, (kScreenColumns - width - 2) / 2 + 1,
                         height + 2, width + 2, false);
  const int number = window.number();
  const auto inside = static_cast<std::size_t>(width);
  const std::string title = visible(systxt_warning.view().substr(0, inside));
  const std::string button = visible(systxt_ok.view().substr(0, inside));
  print_with(number, kReverseText, 1, centred(width, title.size()), title);
  int row = 3;
  for (const std::string_view line : lines)
    p_printstr(number, row++, 2, visible(line).c_str());
  const int column = centred(width, button.size());
  print_with(number, kReverseText, height, column, button);
  window.show();
  wi_set_cursor(number, height, column);
  wait_for_key();
}

void help_show(const char* help_key) {
  const std::string text = std::string(systxt_nohelp.view()) + std::string(view_of(help_key));
  message_line(text.c_str(), "");
}

}  // namespace marigold
