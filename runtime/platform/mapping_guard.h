// SPDX-License-Identifier: GPL-3.0-or-later
// Guards the reading of a file that a library has mapped, while another process may cut that file:
// a page beyond the file's end would end this process by SIGBUS.
//
// For processes of one thread, and for a short time: while a guard lives, it treats every missing
// page as one of the library's. Files that mapped_file.h maps need no guard.
#pragma once

#include <cstdint>

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

// While a guard lives, a missing page reads as zeros, like the rest of the file's last page.
// Several guards may overlap. A guard that the system does not allow has no effect and no error.
class MappingGuard {
 public:
  // Takes the mapped file by its number in the C library; the caller keeps it.
  explicit MappingGuard(LibraryFile file);
  ~MappingGuard();  // NOLINT(performance-trivially-destructible): not on every system
  MappingGuard(const MappingGuard&) = delete;
  MappingGuard& operator=(const MappingGuard&) = delete;

  // Whether a page was missing since the first of the present guards was made.
  static bool was_hit();
  // For the handler of SIGBUS: whether a guard lives and the page can be read now.
  static bool meet_missing_page(void* at);

  // Whether the file has become shorter since this guard was made: the library may have read zeros
  // instead of its bytes.
  [[nodiscard]] bool file_is_shorter() const;

 private:
  LibraryFile file_;
  std::int64_t size_;
};

}  // namespace marigold::inner
