// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/boot_identity.h"

#include <cstdint>
#include <cstring>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

BootIdentity (*boot_identity_hook)() = nullptr;

namespace {

constexpr const wchar_t* kBootKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management\\PrefetchParameters";
constexpr const wchar_t* kMachineKey = L"SOFTWARE\\Microsoft\\Cryptography";

// The system counts its starts, and gives each installation a GUID, 36 characters.
BootIdentity read_identity() {
  DWORD starts = 0;
  DWORD length = sizeof starts;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, kBootKey, L"BootId", RRF_RT_REG_DWORD, nullptr, &starts,
                   &length) != ERROR_SUCCESS)
    return kUnknownBoot;
  std::array<wchar_t, 64> machine{};
  length = sizeof machine;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, kMachineKey, L"MachineGuid",
                   RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY, nullptr, machine.data(),
                   &length) != ERROR_SUCCESS)
    return kUnknownBoot;
  constexpr std::uint64_t kPrime = 1099511628211U;  // FNV-1a, twice, from two beginnings
  std::array<std::uint64_t, 2> words{14695981039346656037U, starts};
  for (std::uint64_t& word : words) {
    for (const wchar_t c : machine)
      word = (word ^ static_cast<std::uint64_t>(c)) * kPrime;
    word = (word ^ starts) * kPrime;
  }
  BootIdentity identity{};
  static_assert(sizeof words == sizeof identity);
  std::memcpy(identity.data(), words.data(), sizeof words);
  return identity;
}

}  // namespace

BootIdentity boot_identity() {
  if (boot_identity_hook != nullptr) return boot_identity_hook();
  static const BootIdentity identity = read_identity();
  return identity;
}

}  // namespace marigold::inner
