// SPDX-License-Identifier: GPL-3.0-or-later
#include <windows.h>

#include <psapi.h>

#include <array>

#include "tests/support/support.h"

namespace marigold::inner::test {

// The system names mapped files by devices, so only the last name is compared.
bool is_mapped(const std::string& path) {
  const std::string name = "\\" + path.substr(path.find_last_of("/\\") + 1);
  MEMORY_BASIC_INFORMATION region{};
  for (const char* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0;
       at += region.RegionSize) {
    std::array<char, 4096> file{};
    const HANDLE self = GetCurrentProcess();
    if (region.Type == MEM_MAPPED &&
        GetMappedFileNameA(self, region.BaseAddress, file.data(), file.size()) != 0 &&
        std::string(file.data()).ends_with(name))
      return true;
  }
  return false;
}

}  // namespace marigold::inner::test
