// SPDX-License-Identifier: GPL-3.0-or-later
// A list at the place that the user chooses, from the question to the words about its end.

#include <array>
#include <string>

#include "marigold/lists.h"
#include "marigold/texts.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"
#include "runtime/texte/screen_text.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

// The answers of the user, by their numbers.
enum Place : int { kNowhere, kScreen, kPrinter, kFile };

// A text of the program's database, else the built-in one, with values.
std::string words(const char* id, const char* built_in, TextValues values = {}) {
  return with_values(screen_text_or(id, built_in), values);
}

int ask_place(const char* help_key) {
  const std::string title = words("PRINT.WHERE", "Print where?");
  const std::array<std::string, 3> names{words("PRINT.SCREEN", "Screen"),
                                         words("PRINT.PRINTER", "Printer"),
                                         words("PRINT.FILE", "File")};
  const SelectionEntry entries[] = {{names[0]}, {names[1]}, {names[2]}};
  return selection_field(
      {.row = 9, .column = 30, .title = title, .entries = entries, .help_key = help_key});
}

// False if the user leaves the field.
bool ask_file_name(std::string& name, const char* help_key) {
  constexpr int kWidth = 60;
  constexpr int kFieldColumn = 14;
  constexpr int kFieldWidth = 40;
  constexpr std::size_t kMost = 200;
  const OwnWindow window(10, 10, 5, kWidth, false);
  print_with(window.number(), kBrightText, 1, 1,
             fit(words("PRINT.INTO_FILE", "Print into a file"), kWidth - 2));
  p_printstr(window.number(), 2, 2,
             cut_visibly(words("PRINT.FILE_NAME", "File name"), kFieldColumn - 3).c_str());
  window.show();
  for (;;) {
    const int code = text_field({.window = window.number(),
                                 .row = 2,
                                 .column = kFieldColumn,
                                 .width = kFieldWidth,
                                 .help_key = help_key},
                                name, 1, kMost);
    if (code == kKeyEscape || code == kKeyStart) return false;
    if (code == kKeyEnter || code == kKeyPageDown) return true;
  }
}

void warn(const std::string& text) {
  user_interface().warning(text.c_str());
}

void warn_not_printed(const std::string& reason) {
  warn(words("PRINT.FAILED", "Nothing is printed: %s", {reason}));
}

// The print file replaces what has its name, so users who have typed the name of another file can
// still change it.
bool is_free_or_replaced(const std::string& name) {
  return !file_exists(name.c_str()) ||
         screen_confirm(words("PRINT.REPLACE", "This file exists. Replace it?"));
}

// Null if the user leaves, or the file cannot be made.
const OutputDevice* open_file(const ListPlaces& places, std::string& name) {
  do {
    if (!ask_file_name(name, places.help_key)) return nullptr;
  } while (!is_free_or_replaced(name));
  std::string reason;
  const OutputDevice* device = places.open_file(name, reason);
  if (device == nullptr) warn_not_printed(reason);
  return device;
}

bool is_printer_open(const std::string& printer) {
  if (open_printer(printer) == 0) return true;
  warn(words("PRINT.NO_PRINTER",
             "No print command for the printer %s was found. Print into a file, or ask whoever "
             "looks after the computer.",
             {printer}));
  return false;
}

struct Outcome {
  bool opened = false;
  bool complete = false;  // nothing stopped it, and the device has taken all
};

Outcome print(std::string_view list, const std::function<bool()>& blocks) {
  const bool opened = list_open(list) == kListDone;
  const bool kept = opened && blocks() && !list_check_abort();
  if (!kept) print_file_fail(words("PRINT.STOPPED", "it was stopped"));  // so it leaves no file
  bool taken = false;
  list_close(&taken);
  return {.opened = opened, .complete = kept && taken};
}

void tell_end_of_printer(const std::string& printer, bool complete, int status) {
  if (status != 0)
    return warn(words("PRINT.PART", "Not everything is printed: %s",
                      {words("PRINT.COMMAND", "the print command of %s ended with status %s.",
                             {printer, std::to_string(status)})}));
  if (!complete)
    return warn(words("PRINT.PART", "Not everything is printed: %s",
                      {words("PRINT.STOPPED", "it was stopped")}));
  user_interface().message(words("PRINT.DONE", "Printed on %s.", {printer}).c_str(), "");
}

void tell_end_of_file(const std::string& name, bool complete) {
  if (!complete) return warn_not_printed(print_file_problem());
  user_interface().message(words("PRINT.WRITTEN", "%s is written.", {name}).c_str(), "");
}

}  // namespace

bool list_to_choice(std::string_view list, const ListPlaces& places,
                    const std::function<bool()>& blocks) {
  const int place = ask_place(places.help_key);
  std::string name = places.file_name;
  if (place == kNowhere) return false;
  const OutputDevice* device = place == kFile ? open_file(places, name) : nullptr;
  if (place == kFile && device == nullptr) return false;
  if (place == kPrinter && !is_printer_open(places.printer)) return false;
  list_to_screen(place == kScreen);
  list_to_viewer_printer(place == kScreen ? places.printer : "");
  list_to_device(device);
  const Outcome outcome = print(list, blocks);
  list_to_screen(false);
  list_to_viewer_printer("");
  list_to_device(nullptr);
  const int status = place == kPrinter ? close_printer() : 0;
  if (!outcome.opened)
    warn(words("PRINT.NO_LIST", "The list %s is missing or damaged.", {list}));
  else if (place == kPrinter)
    tell_end_of_printer(places.printer, outcome.complete, status);
  else if (place == kFile)
    tell_end_of_file(name, outcome.complete);
  return outcome.complete && status == 0;
}

}  // namespace marigold
