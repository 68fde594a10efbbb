// SPDX-License-Identifier: GPL-3.0-or-later
// The part of a list that the viewer shows, and its changes by the user's moves. Draws nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace marigold::inner {

// Size of the inside of the viewer's text window.
inline constexpr int kViewerRows = 20;
inline constexpr int kViewerColumns = 78;

class ViewerPosition {
 public:
  // With a page length below 1 the whole list is one page.
  ViewerPosition(std::int64_t lines, int width, int page_length);

  // First line and column that are shown, from 1.
  [[nodiscard]] std::int64_t line() const { return line_; }
  [[nodiscard]] int column() const { return column_; }
  // The printed page of the first line, and the line's number on that page, from 1.
  [[nodiscard]] std::int64_t page() const { return (line_ - 1) / page_length_ + 1; }
  [[nodiscard]] std::int64_t line_of_page() const { return (line_ - 1) % page_length_ + 1; }

  [[nodiscard]] bool more_above() const { return line_ > 1; }
  [[nodiscard]] bool more_below() const { return line_ < last_line(); }
  [[nodiscard]] bool more_left() const { return column_ > 1; }
  [[nodiscard]] bool more_right() const { return column_ < last_column(); }

  // The moves. None of them goes beyond the last screenful or before the first one.
  void forward() { go_to(line_ + kViewerRows - 1); }
  void back() { go_to(line_ - (kViewerRows - 1)); }
  void next_page() { go_to(page() * page_length_ + 1); }
  void previous_page() { go_to((page() - 2) * page_length_ + 1); }
  void line_down() { go_to(line_ + 1); }
  void line_up() { go_to(line_ - 1); }
  void far_right() { go_to_column(column_ + kFarRight); }
  void right() { go_to_column(column_ + 1); }
  void left() { go_to_column(column_ - 1); }
  void first_column() { column_ = 1; }
  void start();
  void end();
  // Makes the line the first one.
  void go_to(std::int64_t line);
  // Moves as little as possible to show these columns, from 1, of the line; a line that is out of
  // sight becomes the first one.
  void bring_into_sight(std::int64_t line, int column, int count);
  [[nodiscard]] bool in_sight(std::int64_t line) const {
    return line >= line_ && line < line_ + kViewerRows;
  }

 private:
  static constexpr int kFarRight = 26;  // a third of the shown columns

  [[nodiscard]] std::int64_t last_line() const;
  [[nodiscard]] int last_column() const;
  void go_to_column(int column);

  std::int64_t lines_;
  int width_;
  std::int64_t page_length_;
  std::int64_t line_ = 1;
  int column_ = 1;
};

}  // namespace marigold::inner
