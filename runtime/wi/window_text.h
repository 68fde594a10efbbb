// Small helpers for what is drawn into windows.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "runtime/wi/terminal.h"
#include "runtime/wi/window.h"
#include "runtime/wi/window_table.h"

namespace marigold {

inline constexpr const char* kPlainText = "0000";
inline constexpr const char* kReverseText = "0100";
inline constexpr const char* kBrightText = "0010";

// Cut, or filled up with blanks, to a width.
inline std::string fit(std::string_view text, int width) {
  std::string fitted(text.substr(0, static_cast<std::size_t>(width)));
  fitted.resize(static_cast<std::size_t>(width), ' ');
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
