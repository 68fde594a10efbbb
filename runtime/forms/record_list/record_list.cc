// SPDX-License-Identifier: GPL-3.0-or-later
// The window of a record list and its keys. The list knows the place of its current record and the
// rows that the window shows; it reads the rows again when the file has changed.
#include "marigold/record_lists.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "runtime/forms/record_list/record_cells.h"
#include "runtime/forms/record_list/record_walk.h"
#include "runtime/texte/screen_text.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

struct Row {
  IsamPlace place;
  std::string primary_key;
  std::string text;  // of all cells
};

int width_of(const std::vector<ShownColumn>& columns) {
  int width = 1;  // for the mark
  for (const ShownColumn& column : columns)
    width += column.width + 1;
  return width;
}

// The other case of a letter of ISO 8859-1; other characters as they are.
char other_case(char letter) {
  const auto code = static_cast<std::uint8_t>(letter);
  const bool is_letter = std::isalpha(code & 0x7F) != 0 || code >= 0xC0;
  return is_letter ? static_cast<char>(code ^ 0x20) : letter;
}

std::unique_ptr<OwnWindow> shown_keys(const RecordListLayout& layout) {
  if (*layout.keys == '\0') return nullptr;
  auto line = std::make_unique<OwnWindow>(layout.keys_row, 1, 1, kScreenColumns, true);
  p_printstr(line->number(), 1, 2, screen_text(layout.keys).c_str());
  line->show();
  return line;
}

// The layout of the list in one of its orders.
RecordListLayout in_order(RecordListLayout layout, std::size_t order) {
  if (layout.orders.empty()) return layout;
  layout.key = layout.orders[order].key;
  layout.title = layout.orders[order].title;
  return layout;
}

}  // namespace

class RecordList::Rows {
 public:
  explicit Rows(const RecordListLayout& layout)
      : layout_(layout),
        file_(*layout.file),
        walk_(layout_),
        columns_(shown_columns(layout_)),
        title_(screen_text(layout.title)),
        width_(std::max(width_of(columns_), static_cast<int>(title_.size()))),
        first_row_(title_.empty() ? 2 : 3),
        keys_(shown_keys(layout_)),
        window_(layout.row, layout.column, layout.rows + first_row_ + 2, width_ + 2, false) {
    const ReadsAhead ahead(file_);
    move_to(walk_.first());
  }

  int run() {
    const ReadsAhead ahead(file_);
    if (changes_of_file() != changes_) read_rows();
    for (;;) {
      draw();
      const std::string seen = is_empty() ? "" : current().primary_key;
      std::uint8_t character = 0;
      const int code = field_key(character);
      if (changes_of_file() != changes_) read_rows();
      if (handle(code, character)) continue;
      // The user means the record that was on the screen.
      const bool is_gone = !seen.empty() && (is_empty() || current().primary_key != seen);
      if (is_gone && !leaves(code)) continue;
      if (take_current(code)) return code;
    }
  }

  bool go_to_record() {
    const ReadsAhead ahead(file_);
    const bool found = walk_.find_primary();
    if (found) {
      forget_search();
      move_to(true);
    } else {
      take_current(kKeyEscape);
    }
    return found;
  }

  [[nodiscard]] const std::set<std::string>& marks() const { return marks_; }
  void mark_all(const std::set<std::string>& keys) { marks_ = keys; }
  void unmark_all() { marks_.clear(); }
  void put_key(const std::string& key) { walk_.set_primary_key(key); }
  [[nodiscard]] DataFile& file() const { return file_; }

 private:
  // Reads a page in a few round trips to a cluster. Each page is read from a place on, so that
  // nothing old comes into it. What the program reads itself, between two runs, is not read ahead.
  class ReadsAhead {
   public:
    explicit ReadsAhead(DataFile& file) : file_(file) { is_read_ahead(file_, kRecords); }
    ReadsAhead(const ReadsAhead&) = delete;
    ReadsAhead& operator=(const ReadsAhead&) = delete;
    ~ReadsAhead() { is_read_ahead(file_, 0); }

   private:
    static constexpr int kRecords = 128;
    DataFile& file_;
  };

  [[nodiscard]] bool is_empty() const { return rows_.empty(); }
  [[nodiscard]] Row& current() { return rows_[static_cast<std::size_t>(at_)]; }

  [[nodiscard]] std::uint64_t changes_of_file() const { return is_changes(file_); }

  // The row of the record in the buffer.
  Row row_here() {
    Row row;
    is_keep_place(file_, row.place);
    row.primary_key = walk_.primary_key();
    for (const ShownColumn& column : columns_)
      row.text += cell_text(column, file_, layout_.context) + ' ';
    return row;
  }

  // After a step of the walk: its record becomes the current one. Stays if there is none.
  void move_to(bool found) {
    if (!found) return;
    rows_.assign(1, row_here());
    at_ = 0;
    fill(layout_.rows / 2);
  }

  // Reads rows around the only one: so many before it, as far as there are, and then after it.
  void fill(int before) {
    changes_ = changes_of_file();
    grow_up(before);
    grow_down(layout_.rows);
    grow_up(layout_.rows);
  }
  void grow_up(int rows) {
    static_cast<void>(walk_.return_to(rows_.front().place));
    while (static_cast<int>(rows_.size()) < layout_.rows && at_ < rows && walk_.previous()) {
      rows_.push_front(row_here());
      ++at_;
    }
  }
  void grow_down(int rows) {
    static_cast<void>(walk_.return_to(rows_.back().place));
    while (static_cast<int>(rows_.size()) < rows && walk_.next())
      rows_.push_back(row_here());
  }

  // Reads all rows again, with the current record in the same row. When the record is gone the next
  // one is the current one, or else the one before.
  void read_rows() {
    const int before = at_;
    bool found = false;
    if (!is_empty()) {
      const IsamPlace place = current().place;
      found = walk_.return_to(place) || walk_.next();
      if (!found) {
        static_cast<void>(walk_.return_to(place));
        found = walk_.previous();
      }
    }
    if (!found) found = walk_.first();
    rows_.clear();
    at_ = 0;
    changes_ = changes_of_file();
    if (!found) return;
    rows_.push_back(row_here());
    fill(before);
  }

  // ---- Keys

  // Returns false for a key that is the program's.
  bool handle(int code, std::uint8_t character) {
    switch (code) {
      case kKeyCharacter:
        return find(static_cast<char>(character));
      case kKeyBackspace:
        return shorten_search();
      case kKeyUp:
        return leave_search(&Rows::up, 1);
      case kKeyDown:
        return leave_search(&Rows::down, 1);
      case kKeyPageUp:
        return leave_search(&Rows::up, layout_.rows - 1);
      case kKeyPageDown:
        return leave_search(&Rows::down, layout_.rows - 1);
      case kKeyHome:
      case kKeyStart:
        forget_search();
        move_to(walk_.first());
        return true;
      case kKeyEnd:
        forget_search();
        move_to(walk_.last());
        return true;
      case kKeyInsert:
        return mark();
      case kKeyHelp:
      case kKeyF1:
        return show_help(code);
      default:
        return false;
    }
  }

  bool leave_search(void (Rows::*move)(int), int rows) {
    forget_search();
    if (!is_empty()) (this->*move)(rows);
    return true;
  }

  void up(int rows) {
    for (; rows > 0; --rows) {
      if (at_ == 0 && !scroll_up()) return;
      if (at_ > 0) --at_;
    }
  }
  void down(int rows) {
    for (; rows > 0; --rows) {
      if (at_ + 1 == static_cast<int>(rows_.size()) && !scroll_down()) return;
      ++at_;
    }
  }

  // Bring one more row in at an end; the row at the other end goes.
  bool scroll_up() {
    static_cast<void>(walk_.return_to(rows_.front().place));
    if (!walk_.previous()) return false;
    rows_.push_front(row_here());
    ++at_;
    if (static_cast<int>(rows_.size()) > layout_.rows) rows_.pop_back();
    return true;
  }
  bool scroll_down() {
    static_cast<void>(walk_.return_to(rows_.back().place));
    if (!walk_.next()) return false;
    rows_.push_back(row_here());
    if (static_cast<int>(rows_.size()) <= layout_.rows) return true;
    rows_.pop_front();
    --at_;
    return true;
  }

  bool find(char character) {
    if (!walk_.has_search()) return true;
    if (find_with(character)) return true;
    if (walk_.searches_text() && find_with(other_case(character))) return true;
    terminal_bell();
    return true;
  }
  bool find_with(char character) {
    // A sign alone is no number yet, but the beginning of one.
    if (!walk_.searches_text() && search_.empty() && character == '-') {
      search_ = character;
      return true;
    }
    const std::string wanted = search_ + character;
    if (!walk_.find_text(wanted)) return false;
    search_ = wanted;
    move_to(true);
    return true;
  }
  bool shorten_search() {
    if (search_.empty()) return true;
    search_.pop_back();
    if (search_.empty() || search_ == "-") return true;
    move_to(walk_.find_text(search_));
    return true;
  }
  void forget_search() { search_.clear(); }

  bool mark() {
    if (is_empty()) return true;
    const std::string& key = current().primary_key;
    if (marks_.erase(key) == 0) marks_.insert(key);
    down(1);
    return true;
  }

  bool show_help(int code) {
    if (layout_.help_key == nullptr || *layout_.help_key == '\0') return code == kKeyHelp;
    help_show(layout_.help_key);
    if (changes_of_file() != changes_) read_rows();  // nobody knows how long that took
    return true;
  }

  // Whether a key means no record.
  static bool leaves(int code) { return code == kKeyEscape; }

  // Reads the current record into the file's buffer. False when the program must not get the key:
  // there is no record that Enter could mean.
  bool take_current(int code) {
    forget_search();
    const bool here = !is_empty() && walk_.return_to(current().place);
    if (here) return true;
    data_clear_record(file_);
    return code != kKeyEnter;
  }

  // ---- The window

  void draw() {
    const int number = window_.number();
    p_clear_w(number);
    if (!title_.empty()) print_with(number, kBrightText, 1, 1, fit(title_, width_));
    draw_heading();
    for (int row = 0; row < static_cast<int>(rows_.size()); ++row)
      draw_row(row);
    print_with(number, kBrightText, first_row_ + layout_.rows, 1, fit(footer(), width_));
    window_.show();
    wi_set_cursor(number, first_row_ + at_, 1);
    terminal_refresh();
  }
  void draw_heading() {
    std::string heading(1, ' ');
    for (const ShownColumn& column : columns_)
      heading += title_text(column) + ' ';
    print_with(window_.number(), kBrightText, first_row_ - 1, 1, fit(heading, width_));
  }
  void draw_row(int row) {
    const Row& shown = rows_[static_cast<std::size_t>(row)];
    const char mark = marks_.contains(shown.primary_key) ? '*' : ' ';
    print_with(window_.number(), row == at_ ? kReverseText : kPlainText, first_row_ + row, 1,
               fit(mark + shown.text, width_));
  }
  [[nodiscard]] std::string footer() {
    if (walk_.take_interruption()) return screen_text_or("LIST.INTERRUPTED", "Interrupted");
    if (!search_.empty()) return screen_text_or("LIST.SEARCH", "Search:") + ' ' + search_;
    if (is_empty()) return screen_text_or("LIST.EMPTY", "No records");
    if (!marks_.empty())
      return screen_text_or("LIST.MARKED", "Marked:") + ' ' + std::to_string(marks_.size());
    return {};
  }

  const RecordListLayout layout_;
  DataFile& file_;
  RecordWalk walk_;
  std::vector<ShownColumn> columns_;
  std::string title_;
  int width_;
  int first_row_;  // of the records, in the window
  std::unique_ptr<OwnWindow> keys_;
  OwnWindow window_;
  std::deque<Row> rows_;  // as the window shows them
  int at_ = 0;            // the current one
  std::uint64_t changes_ = 0;
  std::string search_;
  std::set<std::string> marks_;  // primary keys
};

RecordList::RecordList(const RecordListLayout& layout)
    : layout_(layout), rows_(std::make_unique<Rows>(in_order(layout, 0))) {}
RecordList::~RecordList() = default;

int RecordList::run() {
  for (;;) {
    const int code = rows_->run();
    if (layout_.orders.size() < 2 || code != layout_.order_key) return code;
    order_ = (order_ + 1) % layout_.orders.size();
    const std::set<std::string> marks = rows_->marks();
    const std::vector<char> record = layout_.file->record;
    rows_.reset();  // gives its windows back before the next one takes them
    rows_ = std::make_unique<Rows>(in_order(layout_, order_));
    rows_->mark_all(marks);
    layout_.file->record = record;
    rows_->go_to_record();
  }
}

bool RecordList::choose() {
  int code = run();
  while (code != kKeyEnter && code != kKeyEscape)
    code = run();
  return code == kKeyEnter;
}

bool RecordList::go_to_record() {
  return rows_->go_to_record();
}

int RecordList::marked() const {
  return static_cast<int>(rows_->marks().size());
}

int RecordList::read_marked(int number) {
  const auto& marks = rows_->marks();
  DataFile& file = rows_->file();
  if (number < 0 || number >= marked()) {
    data_clear_record(file);
    return kDataNotFound;
  }
  rows_->put_key(*std::next(marks.begin(), number));
  return data_read(file, 1, false, LockWait::kTell);
}

void RecordList::unmark_all() {
  rows_->unmark_all();
}

}  // namespace marigold
