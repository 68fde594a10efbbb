// SPDX-License-Identifier: GPL-3.0-or-later
// Asks the user where a list goes.
#pragma once

namespace marigold {

// Shows the selection and takes it away again. True for the screen; the printer for anything else
// that the user does. Help key "VIDEO01".
bool output_choose_screen();

}  // namespace marigold
