// SPDX-License-Identifier: GPL-3.0-or-later
// Changes records by forms without a lock for as long as the operator thinks.
#pragma once

#include <marigold/forms.h>

#include <functional>
#include <span>

#include "changes.h"

namespace shop {

// A form with the keys of the shop in its last row: "Page Down stores" and so on.
marigold::Form mask(const char* title, marigold::WindowPlace place,
                    std::span<const marigold::FormField> fields, const char* help_key);

// Lets the operator change the record in the buffer of the form's file. Afterwards the record is
// read again with a lock, and only the fields that the operator has changed are written, so that
// another operator's changes and bookings meanwhile stay. If both have changed the same field, the
// operator is told so and nothing is written. Returns whether the record was written.
//
// Fields of the form that have a data field and can be entered: texts, choices and yes/no of the
// types STRING and CHAR, numbers of the type REAL, dates.
bool edit_record(marigold::Form& form);

// Lets the operator fill in a new record, beginning with what is in the buffer. `take_key` locks
// and puts the primary key, in the set of changes that writes the record. Returns whether the record
// was written; it is in the buffer then.
bool add_record(marigold::Form& form, const std::function<Outcome()>& take_key);

}  // namespace shop
