// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/process.h"

#include <array>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

long process_number() {
  return static_cast<long>(GetCurrentProcessId());
}

// The system shows no process the locks of another one.
std::vector<LockingProcess> processes_locking(const char* path) {
  static_cast<void>(path);
  return {};
}

// Nobody gets a file alone that somebody has open. Another program, a virus scanner above all, may
// have it open for a moment.
bool is_file_in_use(const char* path) {
  constexpr int kTries = 10;
  constexpr DWORD kPauseMilliseconds = 10;
  const WidePath wide(path);
  if (wide.failed() != 0) return false;
  for (int i = 1; i <= kTries; ++i) {
    const HANDLE alone = CreateFileW(wide.text(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    const DWORD error = GetLastError();
    if (alone != INVALID_HANDLE_VALUE) CloseHandle(alone);
    if (alone != INVALID_HANDLE_VALUE || error != ERROR_SHARING_VIOLATION) return false;
    Sleep(kPauseMilliseconds);
  }
  return true;
}

std::string host_name() {
  std::array<char, 256> name{};
  DWORD length = static_cast<DWORD>(name.size());
  return GetComputerNameExA(ComputerNameDnsHostname, name.data(), &length) != 0 ? name.data() : "";
}

}  // namespace marigold::inner
