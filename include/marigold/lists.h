// SPDX-License-Identifier: GPL-3.0-or-later
// Lists: prints named blocks of text that the list compiler ("marigold lists compile") has made.
//
//   if (open_printer("#laser") != 0) ...                     output.h
//   if (list_open("KUNDEN", {.show_progress = true}) != kListDone) ...
//   list_set_header("KOPF");
//   for each customer: list_set("NAME", name); list_print("ZEILE"); if (list_check_abort()) break;
//   list_close(&complete);
//   if (close_printer() != 0) ...                            the print command has failed
//
// The first list of a program reads the printer defaults from DEFAULT.DAT in the print directory.
// One list is open at a time. A fault in a list leads to a one-line message to the user and aborts
// the list: the engine skips everything printed to it afterwards, and the program closes it as
// usual. System error 42: a program opens a list while one is open; 43: it closes one while none is
// open.
//
// Process-wide, one thread; nothing throws. Texts are ISO 8859-1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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
inline constexpr int kListBad = 1;        // damaged files, or a page without room to print
inline constexpr int kListNoPrinter = 2;  // the list goes to the printer, and none is open
inline constexpr int kListNotFound = 3;   // in neither pair of definition files

// Chooses the device of the next lists: the screen (with a viewer at the end), or the printer, as
// at the start. The printer is one that is open when the list is opened (output.h).
void list_to_screen(bool screen);
// Sets the printer that F4 in the viewer opens, and closes again, if none is open; "", as at the
// start, for none.
void list_to_viewer_printer(std::string_view name);
// Sends the next lists to a device of the program's own; null: back to the choice above.
void list_to_device(const OutputDevice* device);

// Opens a list: its own definition files first, then the plain ones. Clears variables, registers
// and totals. After a result other than 0 the list is open too, but aborted.
int list_open(std::string_view name, const ListOptions& options = {});

// Ends the last page, closes the files, and shows the viewer if the list went to the screen, under
// the name of the list's output, or under the list's name if the output has none. Returns the name
// of the output, so that the caller can pass it on. Sets `complete`, if given: whether the list was
// opened and its device has taken everything, and whether the viewer's printer took all that was
// sent to it. A print command that has taken everything may still fail: close_printer returns its
// status.
std::string list_close(bool* complete = nullptr);

// ---- A list where the user wants it

struct ListPlaces {
  // The printer (open_printer), also that of F4 in the viewer. Its name becomes a part of a command
  // line, so it comes from those who install the program and not from the user.
  std::string printer;
  std::string file_name;  // that the user is offered
  // Opens the print file as text_sink_open does; a program with PDF looks at the name's end.
  const OutputDevice* (*open_file)(const std::string& path, std::string& reason) = text_sink_open;
  const char* help_key = "";
};

// Asks the user whether the list goes to the screen, to the printer or into a file, and before it
// replaces a file, prints it there and tells how it ended. `blocks` prints the blocks, and returns
// false if the list is not to be kept, for example because the user has interrupted it; a file is
// not written then. Returns whether the list is complete. Needs windows. The texts have ids that
// begin with "PRINT." (marigold_lists(3) lists them).
bool list_to_choice(std::string_view list, const ListPlaces& places,
                    const std::function<bool()>& blocks);

// ---- Printing

inline constexpr std::string_view kEjectPage = "<<NP>>";

// Prints a block; the name kEjectPage ends the page. Names are those given to the compiler.
void list_print(std::string_view block);
bool list_has_block(std::string_view block);
// Returns the number of times to repeat a block, from its record; 0 without such a block.
int list_repeat(std::string_view block);
// Set the blocks printed at the top of every page, from the next page on, and at the foot of every
// page.
void list_set_header(std::string_view block);
void list_set_footer(std::string_view block);

// True when printing shall stop: the list is aborted, or the user was asked and chose so.
bool list_check_abort();

// A number that has no room in its mask or in the width of its field; the list has asterisks there.
struct ListOverflow {
  std::string_view list;
  std::string_view field;  // its name; "page", "total 1", "register 1" and so on
  std::string_view mask;   // "": the width is too small
  int width = 0;
  double number = 0;
  // Position of the field's text, from 1; the column counts characters.
  int page = 0;
  int line = 0;
  int column = 0;
};
// Returns "page 1, line 4, column 16: SUM: ##0,00 has no room for 1234,5".
std::string list_overflow_text(const ListOverflow& overflow);
// Sets the function that the engine calls for each such number. Null, as at the start: list_close
// shows the user the first one and how many there were.
void list_on_overflow(void (*told)(const ListOverflow& overflow));

// Lines left on the current page, from the current line on.
int list_lines_left();
int list_page();

// ---- What blocks print

// Sets a variable, of at most 120; one more aborts the list.
void list_set(std::string_view name, double number, std::int32_t generation = 0);
void list_set(std::string_view name, std::string_view text, std::int32_t generation = 0);
// Sets a number with the text, as a file or a user wrote it, that is printed where no mask applies.
void list_set(std::string_view name, double number, std::string_view as_text,
              std::int32_t generation = 0);
// Sets a variable without a value: printed as blanks, also by a mask. A condition treats it as not
// set.
void list_set_empty(std::string_view name, std::int32_t generation = 0);
void list_unset(std::string_view name, std::int32_t generation = 0);
// Sets the register with an index from 0 to 9.
void list_set_register(std::size_t index, double number);

// Content of one field of a record, for blocks that print fields by name.
struct ListFieldValue {
  bool is_number = false;
  double number = 0;
  // Text printed without a mask. For a number, "" stands for its digits; otherwise "" is an empty
  // value: blanks, also by a mask. It stays valid until the next call.
  std::string_view text = {};
  std::string_view mask = {};  // mask for a block without one; may be ""
};

class ListRecord {
 public:
  ListRecord() = default;
  ListRecord(const ListRecord&) = delete;
  ListRecord& operator=(const ListRecord&) = delete;
  virtual ~ListRecord() = default;
  // Returns false if the record has no such field, or the field no such element (from 1).
  virtual bool get(std::string_view field, int element, ListFieldValue& value) const = 0;
};

// Sets the record whose fields the next blocks print; null for none. The caller keeps the record.
void list_set_record(const ListRecord* record);

// A record of a data file, so that lists can print its fields. A number, date or time without a
// mask in the list is printed by the mask of its field's definition.
class DataRecord : public ListRecord {
 public:
  // Takes the record buffer of an open file; a block prints the record that the buffer holds then.
  // The file outlives the object.
  explicit DataRecord(const DataFile& file) : file_(file) {}

  bool get(std::string_view field, int element, ListFieldValue& value) const override;

 private:
  const DataFile& file_;
};

#pragma GCC visibility pop

}  // namespace marigold
