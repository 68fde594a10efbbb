// The two devices that a list is printed on.
#pragma once

#include "runtime/print/output/output_channel.h"

namespace marigold {

// The printer pipe (marigold/output.h), with the control strings of the defaults. Its close gives 1
// when there was no pipe to write to, or its command has stopped reading.
extern const OutputDevice kPrinterDevice;

// The screen: the files that the viewer shows (screen_output.h), which the caller has started. Its
// close ends them.
extern const OutputDevice kScreenDevice;

}  // namespace marigold
