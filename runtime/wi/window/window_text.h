// SPDX-License-Identifier: GPL-3.0-or-later
// Small helpers for drawing into windows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "marigold/windows.h"
#include "runtime/texte/char_table.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"

namespace marigold::inner {

inline constexpr const char* kPlainText = "0000";
inline constexpr const char* kReverseText = "0100";
inline constexpr const char* kBrightText = "0010";

// Whether a cell would show a character from a file wrongly or not at all: on the console many
// control characters are blanks, and some look like line drawings. A character from 128 on is fine
// if the screen's table has it.
inline bool is_control_character(char character) {
  const auto code = static_cast<std::uint8_t>(character);
  return code < ' ' || code == 127 || (code >= 128 && code < 160 && char_map_output(code) == 0);
}

// Returns the text with control characters as ".", like every character that a terminal cannot
// show.
inline std::string visible(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(shown, is_control_character, '.');
  return shown;
}

// Returns the text, cut or filled up with blanks to a width of at most the screen's columns.
inline std::string fit(std::string_view text, int width) {
  const auto columns = static_cast<std::size_t>(std::clamp(width, 0, kScreenColumns));
  std::string fitted = visible(text.substr(0, columns));
  fitted.resize(columns, ' ');
  return fitted;
}

// Returns the text as fit does, but with ">" in the last column of a longer one.
inline std::string cut_visibly(std::string_view text, int width) {
  std::string fitted = fit(text, width);
  if (!fitted.empty() && text.size() > fitted.size()) fitted.back() = '>';
  return fitted;
}

// Returns the text with a blank before and after it.
inline std::string padded(std::string_view text) {
  return std::string(1, ' ').append(text).append(1, ' ');
}

// Prints a text with an attribute and goes back to plain text.
inline void print_with(int window, const char* attribute, int row, int column,
                       const std::string& text) {
  p_set_atr(window, attribute);
  p_printstr(window, row, column, text.c_str());
  p_set_atr(window, kPlainText);
}

// A window that lives as long as this object. The destructor puts the cursor back where it was.
class OwnWindow {
 public:
  OwnWindow(int top, int left, int height, int width, bool no_frame)
      : cursor_row_(window_state().cursor_row), cursor_column_(window_state().cursor_column) {
    create_w(number_, top, left, height, width, no_frame);
  }
  OwnWindow(const OwnWindow&) = delete;
  OwnWindow& operator=(const OwnWindow&) = delete;
  ~OwnWindow() {
    p_destroy_w(number_);
    window_state().cursor_row = cursor_row_;
    window_state().cursor_column = cursor_column_;
    wi_restore_cursor();
    terminal_refresh();
  }

  [[nodiscard]] int number() const { return number_; }
  // Brings the window to the top and its contents to the screen.
  void show() const {
    p_active_w(number_);
    wi_refresh_active();
    terminal_refresh();
  }

 private:
  int cursor_row_;
  int cursor_column_;
  int number_ = 0;
};

}  // namespace marigold::inner
