// Reading a file that a library has mapped, while somebody else may make that file shorter: a page
// that the file has no more would end the process by SIGBUS.
//
// For processes of one thread, and for a short time: while the guard is up every such page is taken
// for one of the library's. Files that are mapped here (mapped_file.h) need no guard.
#pragma once

#include <cstdint>

namespace marigold {

// While one lives, such a page reads as zeros, as the rest of the file's last page does in any
// case. Several may overlap. Nothing fails: where a guard cannot be put up, all is as it was.
class MappingGuard {
 public:
  // The open file that is mapped; its descriptor stays with the caller.
  explicit MappingGuard(int descriptor);
  ~MappingGuard();
  MappingGuard(const MappingGuard&) = delete;
  MappingGuard& operator=(const MappingGuard&) = delete;

  // Whether a page was not there since the first of the guards that live now was made.
  static bool was_hit();
  // The handler's: whether a guard is up and the page can be read now.
  static bool meet_missing_page(void* at);

  // Whether the file is shorter than when this guard was made: zeros may have been read for bytes.
  [[nodiscard]] bool file_is_shorter() const;

 private:
  int descriptor_;
  std::int64_t size_;
};

}  // namespace marigold
