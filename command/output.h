// SPDX-License-Identifier: GPL-3.0-or-later
// Collects bytes for standard output, so that they go out in few writes.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>

namespace marigold::inner {

// Collects up to 64 KiB. Keeps the first failure and drops all later bytes: a reader sees the
// beginning of the output and never an output with a hole. A subclass determines the destination.
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

  // Formats one value with a directive for the C library's formatted print. The caller has built
  // the directive to fit the value's type. A value that the library cannot format (a field of
  // 3,000,000,000 columns) is a failure.
  template <typename Value>
  void print(const char* directive, Value value);

  // Passes on the collected bytes.
  void flush();

  // Notes a failed write; the bytes collected before it still go out.
  void fail(int error);

  // Returns 0, or the system's error number of the first failure. Bytes that are still collected
  // have not failed yet.
  [[nodiscard]] int failure() const { return failure_; }

 protected:
  // Takes all bytes. Returns 0, or the system's error number.
  virtual int deliver(std::string_view bytes) = 0;

 private:
  static constexpr std::size_t kCapacity = 65536;

  template <typename Value>
  void print_on_heap(const char* directive, Value value, std::size_t length);

  std::array<char, kCapacity> buffer_;  // valid up to used_
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

}  // namespace marigold::inner
