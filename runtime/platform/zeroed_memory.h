// Memory of this process alone that is zero and costs nothing until it is touched, in the system's
// large pages where it gives them: a table that is looked into at random places then costs one
// search for an address less.
#pragma once

#include <cstddef>

namespace marigold {

class ZeroedMemory {
 public:
  ZeroedMemory() = default;
  ~ZeroedMemory();
  ZeroedMemory(ZeroedMemory&& other) noexcept;
  ZeroedMemory& operator=(ZeroedMemory&& other) noexcept;
  ZeroedMemory(const ZeroedMemory&) = delete;
  ZeroedMemory& operator=(const ZeroedMemory&) = delete;

  // In the place of what was taken before. 0, or ENOMEM; then there is none.
  int take(std::size_t bytes);
  // Begins at a page of the system; null when there is none.
  [[nodiscard]] std::byte* data() const { return data_; }

 private:
  void give_back();

  std::byte* data_ = nullptr;
  void* mapped_ = nullptr;  // what the system gave, with the room to begin at a large page
  std::size_t mapped_bytes_ = 0;
};

}  // namespace marigold
