// SPDX-License-Identifier: GPL-3.0-or-later
// An open file of the system, or an end of a pipe: a descriptor on POSIX systems, a handle on
// Windows. Only the sources of posix/ and windows/ look at the value.
//
// The value lies in the object itself: nothing is allocated, so no failure can come between the
// opening of a file and the object that closes it.
#pragma once

#include <cstdint>
#include <utility>

namespace marigold::inner {

class FileHandle {
 public:
  constexpr FileHandle() = default;
  // Takes an open file over.
  constexpr explicit FileHandle(std::intptr_t value) : value_(value) {}
  constexpr FileHandle(FileHandle&& other) noexcept : value_(other.release()) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    if (this == &other) return *this;
    static_cast<void>(close());
    value_ = other.release();
    return *this;
  }
  ~FileHandle() { static_cast<void>(close()); }

  [[nodiscard]] constexpr bool is_open() const { return value_ != kNone; }
  [[nodiscard]] constexpr std::intptr_t value() const { return value_; }

  // Closes the file. Returns 0, also if no file is open, or the system's error number; contents may
  // then be lost. May be called in a handler of signals.
  int close() { return is_open() ? close_value(release()) : 0; }

 private:
  static constexpr std::intptr_t kNone = -1;  // also the invalid handle of Windows

  static int close_value(std::intptr_t value);
  constexpr std::intptr_t release() { return std::exchange(value_, kNone); }

  std::intptr_t value_ = kNone;
};

// A file by its number in the C library, as other libraries take and give it. On POSIX systems the
// number is the system's.
using LibraryFile = int;

}  // namespace marigold::inner
