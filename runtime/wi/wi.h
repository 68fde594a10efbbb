// Everything of the window system that programs use.
#pragma once

#include "runtime/wi/edit_mask.h"         // IWYU pragma: export
#include "runtime/wi/field_key.h"         // IWYU pragma: export
#include "runtime/wi/input_field.h"       // IWYU pragma: export
#include "runtime/wi/message_box.h"       // IWYU pragma: export
#include "runtime/wi/runtime.h"           // IWYU pragma: export
#include "runtime/wi/selection.h"         // IWYU pragma: export
#include "runtime/wi/terminal.h"          // IWYU pragma: export
#include "runtime/wi/window.h"            // IWYU pragma: export
#include "runtime/wi/window_interface.h"  // IWYU pragma: export
