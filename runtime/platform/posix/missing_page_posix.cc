// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/missing_page.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdint>

#include "runtime/platform/opened_file.h"
#include "runtime/platform/posix/descriptor_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

// Jump target for the body that runs until a missing page; each thread has its own.
constinit thread_local sigjmp_buf* way_out = nullptr;

}  // namespace

bool run_until_missing_page(void (*body)(void* context), void* context) {
  sigjmp_buf place;
  sigjmp_buf* const before = way_out;
  if (sigsetjmp(place, 0) != 0) {
    way_out = before;
    return false;
  }
  way_out = &place;
  body(context);
  way_out = before;
  return true;
}

// ---- In the handler of the signal

bool OpenedFile::meet(std::uint64_t offset) {
  char byte = 0;
  const auto page_size = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t page = offset / page_size * page_size;
  const ssize_t got = pread(descriptor_of(handle_), &byte, 1, static_cast<off_t>(page));
  const int reason = got < 0 ? system_error() : got == 0 ? ENODATA : ENOSPC;
  if (hit_ == kNotHit || reason == ENODATA) hit_reason_ = reason;
  if (way_out == nullptr) return fill_in(page);
  if (hit_ == kNotHit) hit_ = kStopped;
  siglongjmp(*way_out, 1);
}

bool OpenedFile::fill_in(std::uint64_t offset) {
  const auto page_size = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  struct stat status {};
  if (fstat(descriptor_of(handle_), &status) != 0) return false;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  std::uint64_t end = offset + page_size;
  if (offset >= size) {
    // Fill in all lost pages at once: page by page the process might exceed its number of mappings.
    offset = (size + page_size - 1) / page_size * page_size;
    end = mapped_;
  }
  const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE;
  std::byte* const at = memory_ + offset;
  if (mmap(at, end - offset, PROT_READ | PROT_WRITE, flags, -1, 0) == MAP_FAILED) return false;
  // Bytes that cannot be read stay zeros.
  if (offset < size && pread(descriptor_of(handle_), at, page_size, static_cast<off_t>(offset)) < 0)
    hit_reason_ = system_error();
  if (!writable_) mprotect(at, end - offset, PROT_READ);
  hit_ = kFilledIn;
  return true;
}

}  // namespace marigold::inner
