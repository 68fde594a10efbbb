// SPDX-License-Identifier: GPL-3.0-or-later
// Forms: masks of several fields that a program describes by data, filled from a record or from
// variables and back.
//
//   const FormField fields[] = {
//       {.label = "NUMBER", .row = 3, .column = 14, .kind = FormFieldKind::kNumber,
//        .field = "NUMBER", .required = true},
//       {.label = "NAME", .row = 4, .column = 14, .field = "NAME", .required = true},
//       {.label = "SINCE", .row = 5, .column = 14, .kind = FormFieldKind::kDate, .field = "SINCE"},
//   };
//   Form form{.title = "CUSTOMER", .row = 5, .column = 10, .height = 9, .width = 60,
//             .fields = fields, .file = &customers};
//   data_clear_record(customers);
//   if (form_run(form) == kKeyEnter) data_write(customers);
//
// All texts of a form are ids: the text database of the program has the text under its module's
// prefix or under the bare id (textdb_module_text, textdb_text in texts.h); an id without a text is
// its own text. So is a form in the language of the operator. The runtime's own messages are in the
// same database, under ids that begin with "FORM." (marigold_forms(3) lists them), and English
// without it.
//
// Process-wide, one thread; rows and columns count from 1. Characters are ISO 8859-1. Nothing
// throws.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "marigold/data.h"     // IWYU pragma: export
#include "marigold/windows.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// ---- The fields of a form
//
// A value lies in a field of the form's data file or in a variable of the program, or, for a field
// with neither, in the form while it runs. Kinds and the types of data fields and variables that
// they take:
//
//   kText     STRING, CHAR, std::string
//   kNumber   INT, LONGINT, REAL, double, std::int32_t
//   kDate     DATE, LONGINT, std::int32_t; 0 is no date. The user types "14.11.26", "141126",
//             "14.11" or "1411", the last two for the current year.
//   kTime     TIME, LONGINT, INT, std::int32_t, as HHMM; 0 is no time. Typed as "9:30" or "0930".
//   kYesNo    bool; INT, LONGINT, std::int32_t with 1 and 0; CHAR with "Y" and "N"
//   kChoice   all types but bool. A choice has a text for the user and a stored value.
//   kLabel    only the label, as a heading or a line of advice

enum class FormFieldKind { kText, kNumber, kDate, kTime, kYesNo, kChoice, kLabel };

// One of the choices of a field. `value` is stored; for a number it has the number's digits.
struct FormChoice {
  const char* text = "";  // id
  const char* value = "";
};

// Where the value lies that is in no data file. The variable outlives the form; form_run writes to
// it when the user accepts the form.
using FormVariable = std::variant<std::monostate, std::string*, double*, std::int32_t*, bool*>;

inline constexpr double kFormNoLeast = std::numeric_limits<double>::lowest();
inline constexpr double kFormNoMost = std::numeric_limits<double>::max();

struct Form;

struct FormField {
  const char* label = "";  // id
  // Names a field without a label in messages: the id of the heading above a column of fields.
  const char* heading = "";
  // Places inside the form's frame. Row and column of the label: 0 for the row of the field and for
  // column 2.
  int label_row = 0;
  int label_column = 0;
  int row = 1;
  int column = 1;
  // Visible characters. 0: of a text as many as its data field holds, of a choice those of its
  // longest text; a number is as wide as its mask, a date 8, a time 5. A longer text scrolls.
  int width = 0;
  FormFieldKind kind = FormFieldKind::kText;
  // The data field with the value, and the element of it.
  const char* field = "";
  int element = 1;
  // The variable with the value, for fields that are not in the data file.
  FormVariable variable = {};
  // Name for form_text and the other functions below. Empty: that of the data field.
  const char* name = "";
  // Mask of a number (core.h). Empty: that of the data field's definition.
  const char* mask = "";
  // Bounds: of a number its least and greatest value, of a date likewise (as DDMMYY), of a text its
  // length; a text has never more characters than its data field. A text in a variable has at most
  // `width` characters unless `most` says so.
  double least = kFormNoLeast;
  double most = kFormNoMost;
  // A text must not be empty, a number, date or time not 0, and one of the choices is chosen.
  bool required = false;
  // Shown only. Fields with `compute` are shown only, too.
  bool read_only = false;
  // Key of the help text (help_show). Empty: that of the form.
  const char* help_key = "";
  // The choices of kChoice.
  std::span<const FormChoice> choices = {};
  // Verifies the value when the user leaves the field with a new one, and again, for all fields,
  // when the user accepts the form. Returns the id of a message, which the user sees with the
  // field's label and stays in the field; null if all is well. Changes no values.
  const char* (*check)(Form& form, const FormField& field) = nullptr;
  // Called once for each new value with which the user has left the field, after the check: puts
  // what follows from the value into other fields, such as the price of an article.
  void (*changed)(Form& form, const FormField& field) = nullptr;
  // Puts the value of a computed field: called at the start and after each change of any value, in
  // the order of the fields.
  void (*compute)(Form& form, const FormField& field) = nullptr;
  // Lets the user choose a value, for example from a list of records, when F4 is pressed. Puts the
  // value.
  void (*choose)(Form& form, const FormField& field) = nullptr;
};

// ---- The form

// How the form goes on after a key of the program.
enum class FormNext {
  kStay,    // the user goes on
  kAccept,  // as if the user had accepted the form by Enter; form_run returns the key
  kLeave,   // form_run returns the key, and nothing is changed
};

// The form lies in a framed window of this size. With a title, the title takes row 1 of it.
struct Form {
  const char* title = "";  // id
  int row = 1;             // of the window's upper left corner on the screen
  int column = 1;
  int height = kScreenRows - 1;
  int width = kScreenColumns;
  std::span<const FormField> fields = {};
  // The data file of the fields with a `field`. It is open while the form runs.
  DataFile* file = nullptr;
  // Of the program, for its functions.
  void* context = nullptr;
  // Serves function keys and Page Up; F1, the accepting key, and F4 in a field with choices are the
  // form's. `current` is the field in which the user is, or null. Without this function these keys
  // do nothing.
  FormNext (*key)(Form& form, const FormField* current, int code) = nullptr;
  // A function key that accepts the form from any field, as Page Down does. 0: none.
  int accept_key = 0;
  const char* status = "";    // id of a line shown in the last row of the screen
  const char* help_key = "";  // for fields without one
  // Index in `fields` of the field in which the user begins, or else the next one that can be
  // entered; and, from form_run, of the field that the user has left last.
  int start = 0;
  int left_at = 0;
  // The form begins with what the user has typed before, so Escape asks in any case.
  bool unsaved = false;
};

// ---- Running a form
//
// The user moves by Tab, Shift-Tab and Enter in the order of the fields, by Up and Down to the field
// above or below, and edits as in text_field (windows.h); the first character typed into a number,
// date or time takes the place of the old value. In a field of choices letters move to the next
// choice that begins so, Left, Right and the space bar to the one before or after, Delete to none.
// F1 and Ctrl-A show the help text, F4 the choices. Enter in the last field, Page Down anywhere and
// the accepting key accept the form; the first field that fails is entered again, and a message
// names it. Escape leaves; it asks first if something was changed. Blanks at the end of a typed
// text are not stored.
//
// A value that does not fit its field is never cut: a number too large for its mask shows stars, a
// text longer than its field ends in ">" until the user enters it, a value that is no choice is
// shown as it is stored. A value that the user leaves alone stays as it was, digit for digit. The
// form is accepted when all values are within their bounds.
//
// A form that does not fit its window is an error of the program: a line on standard error names the
// field and its place, and system error 25 ends the process. So do other errors of a description:
// 2 a data field that the file does not have, 3 a kind that does not take the type of the value, 4
// an element that the data field does not have, 101 a file that is not open. A label or title too
// long for its place, which may be so in one language alone, ends in ">".
//
// At the end of the keyboard's input the form ends as by Escape, without a question.

// Shows the form with the values of its record and variables, lets the user edit them and takes it
// away again. Returns
//
//   kKeyEnter    accepted: the record buffer and the variables have the new values
//   kKeyEscape   or kKeyStart (Ctrl-Home): left; record buffer and variables are as before
//   other        the key with which Form::key has ended the form
//
// The record buffer of the file belongs to the form while the form runs: functions of the program
// read and put values by the functions below. They may read other records of the file, for example
// in a list, because the form restores the buffer at its end. The form takes no lock and writes no
// record: a program that changes a record locks it first (data_read) and writes it afterwards.
//
// Uses a window, and one more for the status line if one is free.
int form_run(Form& form);

// Shows the values in a window, without the user. With `window` 0 it creates the window and gives
// its number, else it prints the present values into the window of an earlier call. The caller
// removes the window (p_destroy_w).
void form_show(Form& form, int& window);

// ---- Records that several users change
//
// No lock is kept while the user types. The forms' data file is keyed and open.

// Lets the user change the record in the buffer of the form's file. What the user has changed is
// then put into the record as it is at that time, in a set of changes of its own, so that changes of
// other users meanwhile stay. If somebody else has changed the same field, or has deleted the
// record, the user is told so and nothing is changed. When the record is locked, or the system
// refuses, the form comes back with what was typed. Returns whether the record was written; it is
// in the buffer then. The user cannot enter fields of the primary key: system error 3.
bool form_edit_record(Form& form);

// Lets the user fill in a new record, which begins with what is in the buffer. In the set of changes
// that writes the record `put_key`, if given, puts its primary key, for example the next number of
// a range, and returns "", or the reason why there is none, which is shown. A record with the same
// key is never replaced: the user is told so, and the form comes back with what was typed. Returns
// whether the record was written; it is in the buffer then.
bool form_add_record(Form& form, const std::function<std::string()>& put_key = nullptr);

// Carries out a set of changes as changes_run does, and tells the user why if nothing is changed.
// `prepare` returns "", or the reason in the words of the user, also when a read returns
// kDataLocked. Returns whether the set was carried out.
bool form_change_records(const std::function<std::string()>& prepare);

// ---- The values of a form, for its functions while it runs
//
// A field is named by FormField::name or by its data field. An unknown name, or a form that does not
// run, is system error 2; a text of a number, or a number of a text, is system error 3.

// Return the value of a field with a text, or a number; while the user types, the value before.
std::string form_text(const Form& form, std::string_view field);
double form_number(const Form& form, std::string_view field);

// Change the value. The form verifies it when the user accepts the form.
void form_put_text(Form& form, std::string_view field, std::string_view value);
void form_put_number(Form& form, std::string_view field, double value);

#pragma GCC visibility pop

}  // namespace marigold
