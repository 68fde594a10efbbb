// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/spill_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <string>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/path.h"
#include "runtime/platform/posix/regular_file_posix.h"

namespace marigold::inner {
namespace {

// Makes a file that never has a name, on file systems that can.
int make_nameless(const std::string& path, FileHandle& file) {
#ifdef O_TMPFILE
  const std::string directory(path_directory(path));
  const char* const name = directory.empty() ? "." : directory.c_str();
  file = FileHandle(open(name, O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
  return file.is_open() ? 0 : system_error();
#else
  static_cast<void>(path);
  static_cast<void>(file);
  return EOPNOTSUPP;
#endif
}

int make_and_unlink(const std::string& path, FileHandle& file) {
  const std::string name = new_file_name(path);
  if (const int failed = make_exclusively(name.c_str(), NewFileAccess::kOwnerOnly, file))
    return failed;
  return file_remove(name.c_str());
}

int make_beside(const std::string& path, FileHandle& file) {
  const int failed = make_nameless(path, file);
  return failed == EOPNOTSUPP || failed == EISDIR || failed == ENOENT ? make_and_unlink(path, file)
                                                                      : failed;
}

// While the object lives, a write beyond the process's limit on file sizes fails without the signal
// that ends the process.
class NoSizeSignal {
 public:
  NoSizeSignal() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~NoSizeSignal() {
    const timespec now{};
    // A signal that was blocked before stays pending for its owner.
    if (sigismember(&before_, SIGXFSZ) == 0) sigtimedwait(&signal_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoSizeSignal(const NoSizeSignal&) = delete;
  NoSizeSignal& operator=(const NoSizeSignal&) = delete;

 private:
  sigset_t signal_{};
  sigset_t before_{};
};

}  // namespace

int SpillFile::make(const char* beside) {
  const int fault =
      file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(FileCall::kOpen));
  if (fault != 0) return fault;
  const int failed = make_beside(beside, handle_);
  if (failed != EACCES && failed != EPERM && failed != EROFS) return failed;
  return make_beside(path_join(path_for_temporary_files(), "marigold"), handle_);
}

int SpillFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
  const int fault =
      file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(FileCall::kReserve));
  if (fault != 0) return fault;
  const NoSizeSignal guard;
  while (!bytes.empty()) {
    const ssize_t written =
        pwrite(descriptor_of(handle_), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? system_error() : ENOSPC;
    offset += static_cast<std::uint64_t>(written);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

int SpillFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
  return read_exactly(handle_, offset, bytes);
}

}  // namespace marigold::inner
