// The system's error numbers as results of functions carry them, and as texts.
//
// The keyed-file engine's own numbers begin at 100, and the system has some of the same value: a
// server of a network file system that does not answer (ETIMEDOUT, 110) is no end of a file. So a
// system's number from 100 on is carried increased by 1000, as the report of fatal errors shows it.
#pragma once

#include <cerrno>
#include <string>

namespace marigold {

inline constexpr int kFirstBeyondSystem = 100;
inline constexpr int kSystemErrorOffset = 1000;

constexpr int system_result(int number) {
  return number < kFirstBeyondSystem ? number : number + kSystemErrorOffset;
}

// The system's number of such a result.
constexpr int system_number(int result) {
  return result < kSystemErrorOffset ? result : result - kSystemErrorOffset;
}

// Of the call of the system that has just failed.
inline int system_error() {
  return system_result(errno);
}

// The system's text for a result.
std::string system_error_text(int result);

}  // namespace marigold
