// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/mman.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "runtime/platform/system_error.h"
#include "runtime/platform/zeroed_memory.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;

}  // namespace

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
  if (mapped_ != nullptr) munmap(mapped_, mapped_bytes_);
  data_ = nullptr;
  mapped_ = nullptr;
}

int ZeroedMemory::take(std::size_t bytes) {
  give_back();
  const bool large = bytes >= kLargePage;
  mapped_bytes_ = large ? bytes + kLargePage : bytes;
  void* memory =
      mmap(nullptr, mapped_bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return system_error();
  mapped_ = memory;
  std::size_t room = mapped_bytes_;
  if (large) std::align(kLargePage, bytes, memory, room);
  data_ = static_cast<std::byte*>(memory);
  // On a system without large pages the small ones serve.
  if (large) madvise(data_, bytes, MADV_HUGEPAGE);
  return 0;
}

}  // namespace marigold::inner
