// One run of the machine told from another: what was stored and not synced is lost between two of
// them, and only then.
#pragma once

#include <array>
#include <cstddef>

namespace marigold {

using BootIdentity = std::array<std::byte, 16>;

// All zeros where the system does not say: then nobody knows whether the machine was started anew.
inline constexpr BootIdentity kUnknownBoot{};

// Asked of the system once in a process.
BootIdentity boot_identity();

// Asked instead when set; for tests that play another run or another machine. Null in every
// program.
extern BootIdentity (*boot_identity_hook)();

}  // namespace marigold
