// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"

#include <algorithm>
#include <cstddef>

#include "runtime/texte/sysmsg.h"
#include "runtime/wi/terminal/letters.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

bool has_digit(std::string_view layout, std::size_t place) {
  return place < layout.size() && layout[place] == '1';
}

// A selection while it is on the screen. Entries have numbers from 0 here; -1 is none.
class Selection {
 public:
  explicit Selection(const SelectionField& field)
      : field_(field),
        side_by_side_(has_digit(field.layout, 1)),
        count_(static_cast<int>(field.entries.size())),
        current_(next_from(-1, 1)),
        window_(make_place(field)) {}

  int run() {
    for (;;) {
      draw();
      std::uint8_t character = 0;
      const int code = field_key(character);
      if (code == kKeyEscape || code == kKeyStart) return 0;
      if (code == kKeyEnter) return current_ + 1;
      if (code == kKeyHelp) {
        help_show(field_.help_key);
      } else if (code == kKeyCharacter) {
        go_to_letter(character);
      } else {
        move(code);
      }
    }
  }

 private:
  struct Place {
    int top, left, height, width;
    bool no_frame;
  };

  // A window with room for everything, or for as much as the screen has.
  struct Window : OwnWindow {
    explicit Window(const Place& at)
        : OwnWindow(at.top, at.left, at.height, at.width, at.no_frame) {}
  };

  Place make_place(const SelectionField& field) {
    int width = static_cast<int>(std::min<std::size_t>(field.title.size(), kScreenColumns));
    int in_row = 0;
    for (const SelectionEntry& entry : field.entries) {
      const int cells = static_cast<int>(std::min<std::size_t>(entry.text.size(), 200)) + 2;
      width = std::max(width, cells);
      in_row = std::min(in_row + cells, kScreenColumns);
    }
    width = std::max(width, static_cast<int>(std::min<std::size_t>(systxt_more.view().size(), 20)));
    title_rows_ = side_by_side_ || field.title.empty() ? 0 : 1;
    const int frame = side_by_side_ ? 0 : 2;
    Place at{};
    at.no_frame = side_by_side_;
    at.width = std::clamp(side_by_side_ ? in_row : width + frame, 1, kScreenColumns);
    at.height = side_by_side_ ? 1 : std::clamp(count_ + title_rows_ + frame, 3, kScreenRows);
    at.top = std::clamp(field.row, 1, kScreenRows - at.height + 1);
    at.left = std::clamp(field.column, 1, kScreenColumns - at.width + 1);
    inner_width_ = at.width - frame;
    rows_ = at.height - frame - title_rows_;
    return at;
  }

  [[nodiscard]] bool can_be_chosen(int entry) const {
    return entry >= 0 && entry < count_ &&
           field_.entries[static_cast<std::size_t>(entry)].can_be_chosen;
  }

  // Returns the next entry that can be chosen, around the list; the same one, or -1, without
  // another.
  [[nodiscard]] int next_from(int entry, int step) const {
    for (int i = 1; i <= count_; ++i) {
      const int candidate = ((entry + i * step) % count_ + count_) % count_;
      if (can_be_chosen(candidate)) return candidate;
    }
    return can_be_chosen(entry) ? entry : -1;
  }

  void go_to_letter(std::uint8_t character) {
    if (!has_digit(field_.layout, 0)) return;
    for (int i = 1; i <= count_; ++i) {
      const int candidate = (current_ + i) % count_;
      const std::string_view text = field_.entries[static_cast<std::size_t>(candidate)].text;
      if (!can_be_chosen(candidate) || text.empty()) continue;
      if (fold_letter(text.front()) != fold_letter(static_cast<char>(character))) continue;
      current_ = candidate;
      return;
    }
  }

  void move(int code) {
    if (current_ < 0) return;
    if (code == kKeyUp || code == kKeyLeft || code == kKeyBackTab)
      current_ = next_from(current_, -1);
    if (code == kKeyDown || code == kKeyRight || code == kKeyTab) current_ = next_from(current_, 1);
    if (code == kKeyHome) current_ = next_from(-1, 1);
    if (code == kKeyEnd) current_ = next_from(count_, -1);
    if (code == kKeyPageDown) page(1);
    if (code == kKeyPageUp) page(-1);
  }

  // Moves by a window's height, or as far as there is an entry that can be chosen.
  void page(int step) {
    const int wanted = std::clamp(current_ + step * std::max(1, rows_ - 1), 0, count_ - 1);
    for (int entry = wanted; entry != current_; entry -= step) {
      if (!can_be_chosen(entry)) continue;
      current_ = entry;
      return;
    }
  }

  void draw() {
    if (side_by_side_) {
      draw_row();
    } else {
      draw_list();
    }
    window_.show();
    wi_set_cursor(window_.number(), cursor_row_, cursor_column_);
  }

  void draw_entry(int entry, int row, int column, int width) {
    const bool is_current = entry == current_;
    const std::string_view text = field_.entries[static_cast<std::size_t>(entry)].text;
    print_with(window_.number(), is_current ? kReverseText : kPlainText, row, column,
               fit(padded(text), width));
    if (!is_current) return;
    cursor_row_ = row;
    cursor_column_ = column;
  }

  [[nodiscard]] int cells_of(int entry) const {
    const auto length = field_.entries[static_cast<std::size_t>(entry)].text.size();
    return std::min(static_cast<int>(std::min<std::size_t>(length, 200)) + 2, inner_width_);
  }

  // Begins with the first entry that leaves the current one visible.
  void draw_row() {
    p_clear_w(window_.number());
    int first = std::max(current_, 0);
    for (int room = inner_width_; first > 0; --first) {
      room -= cells_of(first);
      if (room < cells_of(first - 1)) break;
    }
    int column = 1;
    for (int entry = first; entry < count_ && column <= inner_width_; ++entry) {
      const int width = std::min(cells_of(entry), inner_width_ - column + 1);
      draw_entry(entry, 1, column, width);
      column += width;
    }
  }

  void draw_list() {
    const int number = window_.number();
    p_clear_w(number);
    if (title_rows_ > 0) print_with(number, kBrightText, 1, 1, fit(field_.title, inner_width_));
    if (current_ >= 0) top_ = std::clamp(top_, current_ - rows_ + 1, current_);
    // Headings above the first entry that can be chosen become visible with it.
    if (current_ == next_from(-1, 1) && current_ < rows_) top_ = 0;
    for (int row = 0; row < rows_ && top_ + row < count_; ++row)
      draw_entry(top_ + row, title_rows_ + row + 1, 1, inner_width_);
    if (top_ + rows_ < count_) {
      const std::string more(systxt_more.view().substr(0, static_cast<std::size_t>(inner_width_)));
      const int column = inner_width_ - static_cast<int>(more.size()) + 1;
      print_with(number, kBrightText, title_rows_ + rows_, column, more);
    }
  }

  const SelectionField& field_;
  bool side_by_side_;
  int count_;
  int current_;
  int top_ = 0;         // the first visible entry
  int title_rows_ = 0;  // 0 or 1
  int rows_ = 0;        // for entries
  int inner_width_ = 0;
  int cursor_row_ = 1;
  int cursor_column_ = 1;
  Window window_;
};

}  // namespace

int selection_field(const SelectionField& field) {
  return Selection(field).run();
}

}  // namespace marigold
