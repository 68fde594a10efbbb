// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/spill_file.h"

#include <cerrno>
#include <string>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

int injected_fault(FileCall call) {
  return file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(call));
}

// The system removes the file when it is closed, also at the process's death.
int make_beside(const std::string& path, FileHandle& file) {
  return open_file(new_file_name(path).c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, CREATE_NEW,
                   file, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE);
}

}  // namespace

int SpillFile::make(const char* beside) {
  if (const int fault = injected_fault(FileCall::kOpen)) return fault;
  const int failed = make_beside(beside, handle_);
  if (failed != EACCES && failed != EPERM && failed != EROFS) return failed;
  return make_beside(path_join(path_for_temporary_files(), "marigold"), handle_);
}

int SpillFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
  if (const int fault = injected_fault(FileCall::kReserve)) return fault;
  return write_at(handle_, offset, bytes.data(), bytes.size());
}

int SpillFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
  std::size_t got = 0;
  const int failed = read_at(handle_, offset, bytes.data(), bytes.size(), got);
  return failed != 0 ? failed : got < bytes.size() ? EIO : 0;
}

}  // namespace marigold::inner
