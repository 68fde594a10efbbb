// SPDX-License-Identifier: GPL-3.0-or-later
// Asks the user for the device of a list.
#pragma once

namespace marigold::inner {

// Shows the selection and removes it again. Returns true for the screen; any other key of the user
// chooses the printer. Help key "VIDEO01".
bool output_choose_screen();

}  // namespace marigold::inner
