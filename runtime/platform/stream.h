// The standard streams of the process, written without a buffer between.
#pragma once

#include <string_view>

namespace marigold {

enum class Stream { kOutput = 1, kError = 2 };

// Called first in a process that writes through stream_write. A standard stream that the caller has
// closed is occupied, so that no file opened later takes its number and receives what was meant for
// the stream: reading it finds the end, writing standard output fails, and what goes to standard
// error is dropped. A reader that goes away becomes a failed write instead of the death of the
// process.
void stream_start();

// Writes all bytes, as often as the system takes only a part of them, and waits for a slow reader.
// 0, or the system's error number; then an unknown number of the first bytes has been written.
int stream_write(Stream stream, std::string_view bytes);

// Whether someone may be watching: the stream is a terminal.
bool stream_is_terminal(Stream stream);

}  // namespace marigold
