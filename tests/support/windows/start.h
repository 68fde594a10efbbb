// SPDX-License-Identifier: GPL-3.0-or-later
// Starting programs by the calls of the system.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "tests/support/process.h"

namespace marigold::inner::test {

// Ends the test program with the system's last error.
[[noreturn]] void give_up(const char* call);

std::wstring wide(std::string_view text);

// Starts a program by its path; words[0] is the name that it sees. Its standard streams are three
// inheritable handles, or those of this process. The caller closes the handle that it gets, which is
// null for a program of the system below Wine.
HANDLE start_program(const std::string& path, const Words& words, const HANDLE* streams);
// Starts a program of the system below Wine, for which Wine gives no handles: those in its answer
// are any numbers, and may be handles of this process.
void start_below_wine(const std::string& path, const Words& words);

// Waits for the end and closes the handle. Returns what Process::wait returns.
int status_of(HANDLE process);

}  // namespace marigold::inner::test
