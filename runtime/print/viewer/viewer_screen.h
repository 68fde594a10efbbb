// SPDX-License-Identifier: GPL-3.0-or-later
// The three windows of the viewer: title, text and key line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/print/viewer/viewer_file.h"
#include "runtime/print/viewer/viewer_position.h"
#include "runtime/print/viewer/viewer_search.h"
#include "runtime/wi/window/window_text.h"

namespace marigold::inner {

// Highlights of the shown lines.
struct ViewerMarks {
  const ViewerSearch& search;  // its hits are reverse
  SearchPlace hit;             // the latest hit of the user's search is bright as well
};

// The windows are on the screen while this object lives. With the live flag off, everything drawn
// reaches the screen in one piece.
class ViewerScreen {
 public:
  explicit ViewerScreen(std::string_view name);

  // Shows the lines of this position. After a move by one line, scrolls the window and draws one
  // line. Returns 0, or the system's error number of a failed read; then lines are missing.
  int show(const ViewerFile& file, const ViewerPosition& position, const ViewerMarks& marks);
  // Makes the next `show` draw all lines, because the marks have changed.
  void draw_all_next() { shown_line_ = 0; }
  void show_key_line(std::string_view text);

 private:
  int show_lines(const ViewerFile& file, const ViewerPosition& position, const ViewerMarks& marks,
                 int first_row, int rows);
  void show_title(const ViewerPosition& position);
  void show_frame(const ViewerPosition& position);
  void put_on_frame(int row, int column, bool marked, char mark, std::uint8_t line_drawing);

  std::string name_;
  OwnWindow title_;
  OwnWindow key_line_;
  OwnWindow text_;
  std::int64_t shown_line_ = 0;  // 0: none
  int shown_column_ = 0;
};

}  // namespace marigold::inner
