// SPDX-License-Identifier: GPL-3.0-or-later
// Values of a form as texts on the screen, and texts that the user has typed as values.
#pragma once

#include <string>

#include "runtime/forms/form/form_items.h"

namespace marigold::inner {

// Messages of forms: the id in the text database and the text without one.
struct FormText {
  const char* id;
  const char* built_in;
};
inline constexpr FormText kFormRequired = {"FORM.REQUIRED", "please fill this in"};
inline constexpr FormText kFormNumber = {"FORM.NUMBER", "this is no number that fits here"};
inline constexpr FormText kFormDate = {"FORM.DATE", "this is no date (day.month.year)"};
inline constexpr FormText kFormTime = {"FORM.TIME", "this is no time (hour:minute)"};
inline constexpr FormText kFormChoice = {"FORM.CHOICE", "this is none of the choices (F4)"};
inline constexpr FormText kFormLeast = {"FORM.LEAST", "at least"};
inline constexpr FormText kFormMost = {"FORM.MOST", "at most"};
inline constexpr FormText kFormChanged = {"FORM.CHANGED", "Your changes would be lost."};
// Of records that others change, too.
inline constexpr FormText kFormOther = {"FORM.OTHER",
                                        "somebody else has changed the same field meanwhile. "
                                        "Nothing is changed; look at the record again."};
inline constexpr FormText kFormGone = {
    "FORM.GONE", "Somebody else has deleted this record. Nothing is changed."};
inline constexpr FormText kFormTaken = {
    "FORM.TAKEN", "There is a record with this key already. Nothing is changed."};
inline constexpr FormText kFormLocked = {"FORM.LOCKED",
                                         "Nothing is changed: somebody else is working with this "
                                         "record. Please try again in a moment."};
inline constexpr FormText kFormNotStored = {
    "FORM.NOT_STORED",
    "Nothing is changed, and nothing is lost. When the reason shown before is gone (a full disk "
    "has room again), store once more."};

std::string form_message(const FormText& text);

// Returns the value as it is shown. A number that does not fit its mask, and one that is no date or
// time, is stars. A text may be longer than its field.
std::string entry_text(const FormItem& item);

// Takes a typed text as the value. Returns "", or a message when the text is no value of the field;
// the value then stays as it was.
std::string entry_take(FormItem& item, const std::string& typed);

// Returns a number without a mask.
std::string entry_plain_number(double number);

// A valid date, or a day and a month without a year.
bool entry_is_date(double number);
bool entry_is_time(double number);

}  // namespace marigold::inner
