// SPDX-License-Identifier: GPL-3.0-or-later
// Record lists: a window in which the user scrolls through a keyed data file in the order of one of
// its keys, finds records by typing, marks records and chooses one.
//
//   constexpr RecordColumn kColumns[] = {{.title = "Number", .field = "NUMBER"},
//                                        {.title = "Name", .field = "NAME", .width = 24}};
//   RecordList list({.file = &customers, .key = 2, .title = "Customers", .columns = kColumns});
//   while (list.run() == kKeyEnter) edit(customers);
//
// A list reads only the records that it shows, so that the size of the file does not matter. What
// other programs add, change and delete is met at the next key.
//
// Keys: Up, Down, the page keys, Home and End (the first and the last record) move. Characters and
// Backspace make up a text, and the list goes to the first record whose key begins with it: by the
// key's first part that is not fixed. A character that leads to no record is tried as the other
// case of the letter, then refused. Where the key's part is a number or a date, digits
// lead to the first record that is not below the number. Insert marks a record, or takes the mark
// away, and goes on to the next one. Ctrl-A and F1 show the help page, if the list has one.
//
// Process-wide, one thread; nothing throws. Titles are ids of texts (texts.h). The list's own texts
// have the ids LIST.SEARCH ("Search:"), LIST.EMPTY ("No records"), LIST.MARKED ("Marked:"),
// LIST.INTERRUPTED ("Interrupted") and LIST.SEARCHING ("Searching").
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "marigold/data.h"     // IWYU pragma: export
#include "marigold/windows.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// A column. A number and its title stand at its right end, anything else at its left. A number that
// is too wide shows "*" in every place; the last place of a text that is too long shows ">".
struct RecordColumn {
  const char* title = "";
  const char* field = "";  // of the file; "": the column shows what `text` returns
  int element = 1;
  int width = 0;          // 0: as wide as the values of the field can be, or the title
  const char* mask = "";  // of a number (core.h); "": that of the definition
  // The contents of a cell, for the record in the file's buffer. Leaves the buffer as it is.
  std::string (*text)(const DataFile& file, void* context) = nullptr;
};

// An order in which the user can see the records.
struct RecordOrder {
  int key = 1;             // of the file
  const char* title = "";  // of the list in this order
};

// Everything belongs to the caller and outlives the list.
struct RecordListLayout {
  DataFile* file = nullptr;  // open, and keyed
  int key = 1;
  // The orders among which `order_key` changes, in place of `key` and `title`; the list begins with
  // the first one. The current record and the marks stay. Not together with `fixed_parts`.
  std::span<const RecordOrder> orders = {};
  int order_key = kKeyF1 + 2;
  // The list shows only records that have the values of the record in the buffer, at the time the
  // list is made, in so many first parts of the key: the lines of one order.
  int fixed_parts = 0;
  const char* title = "";
  int row = 1;  // of the frame's upper left corner on the screen
  int column = 1;
  int rows = 10;  // records to be seen at once
  std::span<const RecordColumn> columns;
  // Whether the list has the record in the file's buffer; null: it has every record. Leaves the
  // buffer as it is. When long no record is accepted the list shows its progress, and a key
  // interrupts it.
  bool (*accepts)(const DataFile& file, void* context) = nullptr;
  void* context = nullptr;
  const char* help_key = "";
  // A line that names the program's keys, and its row on the screen: above the status line.
  const char* keys = "";
  int keys_row = kScreenRows - 1;
};

// A list on the screen, for as long as it lives. System errors: 2 for a file that is not keyed, 101
// for one that is not open, 103 for a key that the file lacks, 2 for an unknown field, 25 when the
// window does not fit on the screen.
class RecordList {
 public:
  explicit RecordList(const RecordListLayout& layout);
  ~RecordList();
  RecordList(const RecordList&) = delete;
  RecordList& operator=(const RecordList&) = delete;

  // Lets the user move until a key that is not the list's own, and returns the key's code: Enter
  // for the current record, Escape, Delete, a function key. The current record is in the file's
  // buffer then, without a lock; the buffer is clear when the list is empty. Enter is not returned
  // for an empty list, and no key but Escape when another program has just deleted the record that
  // the user saw. In between
  // the program may use the file as it likes.
  int run();

  // Lets the user choose a record: true after Enter, with the record in the file's buffer, and false
  // after Escape. Other keys do nothing.
  bool choose();

  // Goes to the record with the primary key in the file's buffer. Returns false if there is none in
  // the list; the list then stays where it is.
  bool go_to_record();

  // The marked records, in the order of their primary keys, with numbers from 0. read_marked reads
  // one into the file's buffer: 0, or 3 when it has been deleted meanwhile.
  [[nodiscard]] int marked() const;
  int read_marked(int number);
  void unmark_all();

 private:
  class Rows;
  RecordListLayout layout_;
  std::size_t order_ = 0;
  std::unique_ptr<Rows> rows_;
};

#pragma GCC visibility pop

}  // namespace marigold
