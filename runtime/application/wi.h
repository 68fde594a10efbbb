// Everything of the window system that programs use.
#pragma once

#include "runtime/application/application.h"     // IWYU pragma: export
#include "runtime/core/edit_mask.h"              // IWYU pragma: export
#include "runtime/wi/dialog/field_key.h"         // IWYU pragma: export
#include "runtime/wi/dialog/input_field.h"       // IWYU pragma: export
#include "runtime/wi/dialog/message_box.h"       // IWYU pragma: export
#include "runtime/wi/dialog/selection.h"         // IWYU pragma: export
#include "runtime/wi/dialog/window_interface.h"  // IWYU pragma: export
#include "runtime/wi/terminal/terminal.h"        // IWYU pragma: export
#include "runtime/wi/window/window.h"            // IWYU pragma: export
