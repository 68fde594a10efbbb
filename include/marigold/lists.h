// SPDX-License-Identifier: GPL-3.0-or-later
// Lists: printing by named blocks of text that the list compiler ("marigold lists compile") has
// made.
//
//   if (open_printer("#laser") != 0) ...                     output.h
//   if (list_open("KUNDEN", {.show_progress = true}) != kListDone) ...
//   list_set_header("KOPF");
//   for each customer: list_set("NAME", name); list_print("ZEILE"); if (list_check_abort()) break;
//   list_close(&complete);
//   if (close_printer() != 0) ...                            the print command has failed
//
// The first list of a program reads what the printer understands, from DEFAULT.DAT in the print
// directory. One list is open at a time. What goes wrong with a list is shown to the user by a
// one-line message and aborts the list: everything printed to it afterwards is skipped, and it is
// closed as usual. System error 42: a list is opened while one is; 43: none is, and one is closed.
//
// Process-wide, one thread; nothing throws. Texts are ISO 8859-1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "marigold/data.h"    // IWYU pragma: export
#include "marigold/output.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// ---- Opening and closing

struct ListOptions {
  bool show_progress = false;  // in the last row, where a key asks to abort; not for the screen
  // In lines; -1: as the list has it.
  int first_line = -1;
  int last_line = -1;
  int page_length = -1;
};

inline constexpr int kListDone = 0;
inline constexpr int kListBad = 1;        // damaged files, or a page that nothing can be printed on
inline constexpr int kListNoPrinter = 2;  // it goes to the printer, and none is open
inline constexpr int kListNotFound = 3;   // in neither pair of definition files

// Chooses where the next lists go: the screen (with a viewer at the end) or the
// printer, as at the start, which is open when the list is opened (output.h).
void list_to_screen(bool screen);
// The printer that F4 in the viewer opens, and closes again, as long as none is open; "" as at the
// start: then there is none to print on.
void list_to_viewer_printer(std::string_view name);
// Or to a device of the program's own; null: back to the choice above.
void list_to_device(const OutputDevice* device);

// Opens a list: its own definition files first, then the plain ones. Variables, registers and
// totals are cleared. Also after a result other than 0 the list is open, aborted.
int list_open(std::string_view name, const ListOptions& options = {});

// Ends the last page, closes the files, and shows the viewer when the list went to the screen,
// under the name of its output, or its own when it has none. The name of the list's output, for
// whoever passes it on. Sets `complete`, when given: whether the list was opened and its device has
// taken everything, and whether the viewer's printer took what was sent to it. A print command that
// has taken everything may still fail: its status is close_printer's.
std::string list_close(bool* complete = nullptr);

// ---- Printing

inline constexpr std::string_view kEjectPage = "<<NP>>";

// Prints a block; the name kEjectPage ends the page. Names are as the compiler was given them.
void list_print(std::string_view block);
bool list_has_block(std::string_view block);
// How often a block is to be repeated, as its record says; 0 when there is none.
int list_repeat(std::string_view block);
// Printed at the top of every page, the next one being the first, and at the foot of every page.
void list_set_header(std::string_view block);
void list_set_footer(std::string_view block);

// True once printing is to stop: the list is aborted, or the user was asked and chose so.
bool list_check_abort();

// A number that its mask or the width of its field has no room for; it is printed as asterisks.
struct ListOverflow {
  std::string_view list;
  std::string_view field;  // its name; "page", "total 1", "register 1" and so on
  std::string_view mask;   // "": the width is too small
  int width = 0;
  double number = 0;
  // Where its text begins, from 1; the column counts characters.
  int page = 0;
  int line = 0;
  int column = 0;
};
// "page 1, line 4, column 16: SUM: ##0,00 has no room for 1234,5"
std::string list_overflow_text(const ListOverflow& overflow);
// The engine calls this for each. Null, as at the start: list_close shows the user the first one
// and how many there were.
void list_on_overflow(void (*told)(const ListOverflow& overflow));

// Of the current page, from the current line on.
int list_lines_left();
int list_page();

// ---- What blocks print

// Up to 120 variables; one more aborts the list.
void list_set(std::string_view name, double number, std::int32_t generation = 0);
void list_set(std::string_view name, std::string_view text, std::int32_t generation = 0);
// A number that is printed as this text where no mask edits it: as a file or a user wrote it.
void list_set(std::string_view name, double number, std::string_view as_text,
              std::int32_t generation = 0);
// Without a value: printed as blanks, also under a mask; a condition takes it for one that is not
// set.
void list_set_empty(std::string_view name, std::int32_t generation = 0);
void list_unset(std::string_view name, std::int32_t generation = 0);
// Indexes 0 to 9.
void list_set_register(std::size_t index, double number);

// Content of one field of a record, for blocks that print fields by name.
struct ListFieldValue {
  bool is_number = false;
  double number = 0;
  // As it is printed without a mask; of a number it may be "", for its digits. Else "" is a value
  // that is empty: blanks, also under a mask. Must live until the next call.
  std::string_view text = {};
  std::string_view mask = {};  // by which it is printed when the block has none; may be ""
};

class ListRecord {
 public:
  ListRecord() = default;
  ListRecord(const ListRecord&) = delete;
  ListRecord& operator=(const ListRecord&) = delete;
  virtual ~ListRecord() = default;
  // False when there is no such field, or no such element (from 1) of it.
  virtual bool get(std::string_view field, int element, ListFieldValue& value) const = 0;
};

// The record that the next blocks print; null for none. It stays the caller's.
void list_set_record(const ListRecord* record);

// A record of a data file, for lists to print its fields. Numbers, dates and times are printed by
// the mask of the definition of their field when the list has none of its own.
class DataRecord : public ListRecord {
 public:
  // The record buffer of an open file: what it holds when a block is printed. The file outlives the
  // object.
  explicit DataRecord(const DataFile& file) : file_(file) {}

  bool get(std::string_view field, int element, ListFieldValue& value) const override;

 private:
  const DataFile& file_;
};

#pragma GCC visibility pop

}  // namespace marigold
