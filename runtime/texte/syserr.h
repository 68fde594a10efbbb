// Fatal system errors: reports an unrecoverable condition by its number.
//
//   1 to 69        the condition of that number, see the catalogue entries syserr_1 to syserr_69
//   100 to 999     the keyed-file engine's error; one text for all
//   1000 to 9999   1000 + the operating system's error number; one text for all
//   any other      unknown
#pragma once

#include "runtime/texte/txt.h"

namespace marigold {

// Sets syserr_fatal as the function that the lower floors reach through raise_fatal. Call it before
// the settings are read, because that can fail.
void syserr_start();

// Gives the catalogue's text for a number.
void syserr_text(SystemText& output, int number);

// Hands the terminal back and writes the report of five lines (label, number, text, two lines of
// advice) to standard error.
void syserr_show(int number);

// Writes the error end of the program status file, hands the terminal back, writes the report and
// aborts. No exit handler runs and nothing is flushed.
[[noreturn]] void syserr_fatal(int number);

// Ends the program status file normally, writes the report and returns.
void syserr_report(int number);

}  // namespace marigold
