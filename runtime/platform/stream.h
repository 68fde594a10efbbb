// SPDX-License-Identifier: GPL-3.0-or-later
// Writes the standard streams of the process without a buffer.
#pragma once

#include <string_view>

namespace marigold::inner {

enum class Stream { kOutput = 1, kError = 2 };

// Call it first in a process that writes through stream_write. Opens /dev/null for each standard
// stream that the caller has closed, so that no file opened later gets its number and its output.
// Standard input is then at its end, writing standard output fails, and output to standard error is
// dropped. If a reader goes away, a write fails instead of ending the process.
void stream_start();

// Writes all bytes, in parts if the system takes only parts, and waits for a slow reader. Returns
// 0, or the system's error number; an unknown number of the first bytes is then written.
int stream_write(Stream stream, std::string_view bytes);

// Whether the stream is a terminal, so that a user may be watching.
bool stream_is_terminal(Stream stream);

}  // namespace marigold::inner
