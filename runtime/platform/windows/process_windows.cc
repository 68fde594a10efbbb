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

std::string host_name() {
  std::array<char, 256> name{};
  DWORD length = static_cast<DWORD>(name.size());
  return GetComputerNameExA(ComputerNameDnsHostname, name.data(), &length) != 0 ? name.data() : "";
}

}  // namespace marigold::inner
