// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <unistd.h>

#include "runtime/platform/boot_identity.h"
#include "runtime/platform/posix/descriptor_posix.h"

namespace marigold::inner {

BootIdentity (*boot_identity_hook)() = nullptr;

namespace {

// 32 hexadecimal digits with dashes between.
BootIdentity read_identity() {
  BootIdentity identity{};
  const FileHandle file(::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
  if (!file.is_open()) return kUnknownBoot;
  std::array<char, 36> text{};
  const ssize_t length = read(descriptor_of(file), text.data(), text.size());
  std::size_t digit = 0;
  for (ssize_t i = 0; i < length && digit < 2 * identity.size(); ++i) {
    const char c = text[static_cast<std::size_t>(i)];
    if (c == '-') continue;
    const int value = c <= '9' ? c - '0' : c - 'a' + 10;
    identity[digit / 2] =
        static_cast<std::byte>(std::to_integer<int>(identity[digit / 2]) << 4 | value);
    ++digit;
  }
  return identity;
}

}  // namespace

BootIdentity boot_identity() {
  if (boot_identity_hook != nullptr) return boot_identity_hook();
  static const BootIdentity identity = read_identity();
  return identity;
}

}  // namespace marigold::inner
