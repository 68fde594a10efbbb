// SPDX-License-Identifier: GPL-3.0-or-later
// Bytes on their way to standard output, collected so that they go out in few writes.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>

namespace marigold {

// Collects up to 64 KiB. The first failure is kept and everything after it is dropped: a reader
// sees the beginning of the output and never one with a hole. Where the bytes go is the subclass's
// affair.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  virtual ~Output() = default;

  void put(char byte) {
    if (used_ == kCapacity) flush();
    buffer_[used_++] = byte;
  }
  void write(std::string_view bytes);

  // Formats one value with a directive for the C library's formatted print, which the caller has
  // put together itself and which fits the value's type. What the library cannot format (a field of
  // 3,000,000,000 columns) is a failure.
  template <typename Value>
  void print(const char* directive, Value value);

  // Hands on what was collected.
  void flush();

  // Notes that something could not be written; what was collected before still goes out.
  void fail(int error);

  // 0, or the system's error number of the first failure. What is still collected has not failed
  // yet.
  [[nodiscard]] int failure() const { return failure_; }

 protected:
  // Takes all bytes; 0, or the system's error number.
  virtual int deliver(std::string_view bytes) = 0;

 private:
  static constexpr std::size_t kCapacity = 65536;

  template <typename Value>
  void print_on_heap(const char* directive, Value value, std::size_t length);

  std::array<char, kCapacity> buffer_;  // the first used_ bytes mean something
  std::size_t used_ = 0;
  int failure_ = 0;
};

// Standard output of the process.
class StandardOutput final : public Output {
 protected:
  int deliver(std::string_view bytes) override;
};

template <typename Value>
void Output::print(const char* directive, Value value) {
  const std::size_t room = kCapacity - used_;
  const int length = std::snprintf(buffer_.data() + used_, room, directive, value);
  if (length < 0) {
    fail(errno);
  } else if (const auto needed = static_cast<std::size_t>(length); needed < room) {
    used_ += needed;
  } else {
    print_on_heap(directive, value, needed);
  }
}

template <typename Value>
void Output::print_on_heap(const char* directive, Value value, std::size_t length) {
  const std::unique_ptr<char[]> whole(new (std::nothrow) char[length + 1]);
  if (whole == nullptr) return fail(ENOMEM);
  std::snprintf(whole.get(), length + 1, directive, value);
  write({whole.get(), length});
}

}  // namespace marigold
