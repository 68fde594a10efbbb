// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer_screen.h"

#include <algorithm>
#include <array>

namespace marigold::inner {
namespace {

constexpr const char* kLineText = "1000";  // of title and key line
constexpr int kPositionColumns = 20;       // at the right end of the title

// Rows and columns of the frame, by the numbers of rows and columns within it.
constexpr int kTopFrame = 0;
constexpr int kBottomFrame = kViewerRows + 1;
constexpr int kLeftFrame = 0;
constexpr int kRightFrame = kViewerColumns + 1;
constexpr int kMiddleRow = 10;
constexpr int kMiddleColumn = 39;

std::string position_text(const ViewerPosition& position) {
  return std::to_string(position.page()) + "-" + std::to_string(position.line_of_page()) + ":" +
         std::to_string(position.line()) + "-" + std::to_string(position.column());
}

// The columns of a line that are in sight.
class Cells {
 public:
  Cells(const VisibleLine& line, int first_column) : first_(first_column - 1) {
    row_fill(row_, ' ', kAttributePlain);
    for (int cell = 0; cell < kViewerColumns && at(first_ + cell) < line.length; ++cell) {
      const std::size_t column = at(first_ + cell);
      const char shown = is_control_character(line.text[column]) ? '.' : line.text[column];
      row_.characters[at(cell)] = static_cast<std::uint8_t>(shown);
      if (line.highlighted[column]) row_.attributes[at(cell)] = kAttributeBright;
    }
  }

  void mark(std::size_t column, std::size_t length, std::uint8_t attribute) {
    const int begin = static_cast<int>(column) - first_;
    const int end = std::min(begin + static_cast<int>(length), kViewerColumns);
    for (int cell = std::max(begin, 0); cell < end; ++cell)
      row_.attributes[at(cell)] = attribute;
  }

  [[nodiscard]] const ScreenRow& row() const { return row_; }

 private:
  static std::size_t at(int index) { return static_cast<std::size_t>(index); }

  int first_;
  ScreenRow row_;
};

void mark_hits(const VisibleLine& line, std::int64_t number, const ViewerMarks& marks,
               Cells& cells) {
  const std::size_t length = marks.search.length();
  for (std::size_t column = marks.search.find(line, 0); column != std::string_view::npos;
       column = marks.search.find(line, column + length)) {
    const bool current = marks.hit == SearchPlace{number, column};
    cells.mark(column, length, current ? kAttributeReverse | kAttributeBright : kAttributeReverse);
  }
}

}  // namespace

ViewerScreen::ViewerScreen(std::string_view name)
    : name_(name),
      title_(1, 1, 1, kScreenColumns, true),
      key_line_(kScreenRows, 1, 1, kScreenColumns, true),
      text_(2, 1, kViewerRows + 2, kViewerColumns + 2, false) {
  p_set_atr(title_.number(), kLineText);
  p_set_atr(key_line_.number(), kLineText);
  for (const OwnWindow* window : {&title_, &key_line_, &text_})
    p_active_w(window->number());
  wi_set_cursor(key_line_.number(), 1, kScreenColumns);
}

int ViewerScreen::show(const ViewerFile& file, const ViewerPosition& position,
                       const ViewerMarks& marks) {
  const bool same_columns = position.column() == shown_column_ && shown_line_ != 0;
  const std::int64_t moved = position.line() - shown_line_;
  int failed = 0;
  if (same_columns && moved == -1) {
    p_scroll_w(text_.number(), true);
    failed = show_lines(file, position, marks, 1, 1);
  } else if (same_columns && moved == 1) {
    p_scroll_w(text_.number(), false);
    failed = show_lines(file, position, marks, kViewerRows, 1);
  } else if (!same_columns || moved != 0) {
    failed = show_lines(file, position, marks, 1, kViewerRows);
  }
  shown_line_ = failed == 0 ? position.line() : 0;
  shown_column_ = position.column();
  show_frame(position);
  wi_refresh_active();
  show_title(position);
  terminal_refresh();
  return failed;
}

void ViewerScreen::show_key_line(std::string_view text) {
  p_printstr(key_line_.number(), 1, 1, fit(text, kScreenColumns).c_str());
  p_refreshany_w(key_line_.number());
  wi_set_cursor(key_line_.number(), 1, kScreenColumns);
  terminal_refresh();
}

int ViewerScreen::show_lines(const ViewerFile& file, const ViewerPosition& position,
                             const ViewerMarks& marks, int first_row, int rows) {
  std::array<DisplayRecord, kViewerRows> records;
  std::size_t count = 0;
  const std::int64_t first_line = position.line() + first_row - 1;
  const auto wanted = static_cast<std::size_t>(rows);
  const int failed = file.read(first_line, std::span(records).first(wanted), count);
  for (std::size_t index = 0; index < wanted; ++index) {
    VisibleLine line;
    if (index < count) visible_line(records[index], line);
    Cells cells(line, position.column());
    mark_hits(line, first_line + static_cast<std::int64_t>(index), marks, cells);
    p_print_tzeile(text_.number(), first_row + static_cast<int>(index), 1, kViewerColumns,
                   cells.row());
  }
  return failed;
}

// A position text that is longer than its columns shortens the name.
void ViewerScreen::show_title(const ViewerPosition& position) {
  const std::string place = position_text(position);
  const int place_columns = std::max(kPositionColumns, static_cast<int>(place.size()));
  std::string title = fit("Ausgabe: " + name_, kScreenColumns - place_columns);
  title.resize(static_cast<std::size_t>(kScreenColumns) - place.size(), ' ');
  p_printstr(title_.number(), 1, 1, (title + place).c_str());
  p_refreshany_w(title_.number());
}

void ViewerScreen::show_frame(const ViewerPosition& position) {
  put_on_frame(kTopFrame, kMiddleColumn, position.more_above(), '+', kLineHorizontal);
  put_on_frame(kBottomFrame, kMiddleColumn, position.more_below(), '+', kLineHorizontal);
  put_on_frame(kMiddleRow, kLeftFrame, position.more_left(), '<', kLineVertical);
  put_on_frame(kMiddleRow, kRightFrame, position.more_right(), '>', kLineVertical);
}

void ViewerScreen::put_on_frame(int row, int column, bool marked, char mark,
                                std::uint8_t line_drawing) {
  ScreenRow cell;
  cell.characters[0] = marked ? static_cast<std::uint8_t>(mark) : line_drawing;
  cell.attributes[0] =
      marked ? kAttributeBright | kAttributeReverse : std::uint8_t{kAttributeLineDrawing};
  p_print_tzeile(text_.number(), row, column, 1, cell);
}

}  // namespace marigold::inner
