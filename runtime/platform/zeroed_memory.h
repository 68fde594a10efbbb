// SPDX-License-Identifier: GPL-3.0-or-later
// Private memory that is zero and costs nothing until it is touched. It uses the system's large
// pages if the system has them: a random access to a large table then needs one step less to find
// its address.
#pragma once

#include <cstddef>

namespace marigold::inner {

class ZeroedMemory {
 public:
  ZeroedMemory() = default;
  ~ZeroedMemory();
  ZeroedMemory(ZeroedMemory&& other) noexcept;
  ZeroedMemory& operator=(ZeroedMemory&& other) noexcept;
  ZeroedMemory(const ZeroedMemory&) = delete;
  ZeroedMemory& operator=(const ZeroedMemory&) = delete;

  // Replaces the memory taken before. Returns 0, or ENOMEM; the object then has no memory.
  int take(std::size_t bytes);
  // Returns the memory, which begins at a page of the system; null without memory.
  [[nodiscard]] std::byte* data() const { return data_; }

 private:
  void give_back();

  std::byte* data_ = nullptr;
  void* mapped_ = nullptr;  // the whole mapping, with room to begin at a large page
  std::size_t mapped_bytes_ = 0;
};

}  // namespace marigold::inner
