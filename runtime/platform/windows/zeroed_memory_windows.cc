// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/zeroed_memory.h"

#include <cerrno>
#include <utility>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

ZeroedMemory::~ZeroedMemory() {
  give_back();
}

ZeroedMemory::ZeroedMemory(ZeroedMemory&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      mapped_(std::exchange(other.mapped_, nullptr)),
      mapped_bytes_(std::exchange(other.mapped_bytes_, 0)) {}

ZeroedMemory& ZeroedMemory::operator=(ZeroedMemory&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(mapped_, other.mapped_);
  std::swap(mapped_bytes_, other.mapped_bytes_);
  return *this;
}

void ZeroedMemory::give_back() {
  if (mapped_ != nullptr) VirtualFree(mapped_, 0, MEM_RELEASE);
  data_ = nullptr;
  mapped_ = nullptr;
}

// Large pages need a privilege that users rarely have, so the memory has small ones.
int ZeroedMemory::take(std::size_t bytes) {
  give_back();
  mapped_ = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (mapped_ == nullptr) return windows_error();
  mapped_bytes_ = bytes;
  data_ = static_cast<std::byte*>(mapped_);
  return 0;
}

}  // namespace marigold::inner
