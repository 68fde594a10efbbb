// SPDX-License-Identifier: GPL-3.0-or-later
// The system's error numbers as results of functions, and as texts.
//
// The keyed-file engine's own numbers begin at 100, and some numbers of the system have the same
// values: ETIMEDOUT (110), for a network file system whose server does not answer, is not an end of
// file. So results carry a system's number from 100 on increased by 1000, and the report of fatal
// errors shows it in that form.
#pragma once

#include <cerrno>
#include <string>

namespace marigold::inner {

inline constexpr int kFirstBeyondSystem = 100;
inline constexpr int kSystemErrorOffset = 1000;

constexpr int system_result(int number) {
  return number < kFirstBeyondSystem ? number : number + kSystemErrorOffset;
}

// Result for a file that several machines see, where the system shows each of them an own view of
// it. Linux names this number EREMOTE; no C library for Windows uses it.
inline constexpr int kOnNetworkDrive = 66;

// Returns the system's number of such a result.
constexpr int system_number(int result) {
  return result < kSystemErrorOffset ? result : result - kSystemErrorOffset;
}

// Returns the result for the system call that has just failed.
inline int system_error() {
  return system_result(errno);
}

// Returns the system's text for a result.
std::string system_error_text(int result);

}  // namespace marigold::inner
