// Small helpers for what is drawn into windows.
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

namespace marigold {

inline constexpr const char* kPlainText = "0000";
inline constexpr const char* kReverseText = "0100";
inline constexpr const char* kBrightText = "0010";

// Whether the cell of a character from a file would show nothing of it, or what is none of it: on
// the console many control characters are blanks and some look like line drawings. Those from 128
// on are characters where the screen's table has them.
inline bool is_control_character(char character) {
  const auto code = static_cast<std::uint8_t>(character);
  return code < ' ' || code == 127 || (code >= 128 && code < 160 && char_map_output(code) == 0);
}

// With control characters as ".", like everything that a terminal cannot show.
inline std::string visible(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(shown, is_control_character, '.');
  return shown;
}

// Cut, or filled up with blanks, to a width of no more columns than the screen has.
inline std::string fit(std::string_view text, int width) {
  const auto columns = static_cast<std::size_t>(std::clamp(width, 0, kScreenColumns));
  std::string fitted = visible(text.substr(0, columns));
  fitted.resize(columns, ' ');
  return fitted;
}

// A blank before and behind it.
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

// A window that lives as long as this object. The cursor goes back with it to where it was.
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
  // Brings it to the top and what was drawn to the screen.
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

}  // namespace marigold
