// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdint>

#include "runtime/platform/mapping_guard.h"
#include "runtime/platform/posix/bus_errors_posix.h"

namespace marigold::inner {
namespace {

struct State {
  int guards = 0;
  std::uintptr_t page_size = 0;
  volatile std::sig_atomic_t hit = 0;
};
State state;

std::int64_t size_of(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

}  // namespace

MappingGuard::MappingGuard(LibraryFile file) : file_(file), size_(size_of(file)) {
  if (state.guards++ > 0) return;
  state.hit = 0;
  state.page_size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  bus_errors_watch();
}

MappingGuard::~MappingGuard() {
  if (--state.guards == 0) bus_errors_release();
}

// Puts a page of zeros in the place of the missing one, so that the reading goes on.
bool MappingGuard::meet_missing_page(void* at) {
  if (state.guards == 0) return false;
  const auto address = reinterpret_cast<std::uintptr_t>(at);
  std::byte* const page = static_cast<std::byte*>(at) - address % state.page_size;
  const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED;
  if (mmap(page, state.page_size, PROT_READ, flags, -1, 0) != page) return false;
  state.hit = 1;
  return true;
}

bool MappingGuard::was_hit() {
  return state.hit != 0;
}

bool MappingGuard::file_is_shorter() const {
  return size_of(file_) < size_;
}

}  // namespace marigold::inner
