// SPDX-License-Identifier: GPL-3.0-or-later
// Whether the value of a field may be accepted.
#pragma once

#include <string>

#include "runtime/forms/form/form_items.h"

namespace marigold::inner {

// Returns "" or the message to the user. Without `whole_form` the user has only left the field, and
// it may still be empty though it is required.
std::string form_check(Form& form, const FormItem& item, bool whole_form);

// Returns the message with the label of its field before it.
std::string form_fault(const FormField& field, const std::string& message);

}  // namespace marigold::inner
