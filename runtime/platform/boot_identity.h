// SPDX-License-Identifier: GPL-3.0-or-later
// Identifies one run of the machine since its start. Data that was stored and not synced is lost
// only between two runs.
#pragma once

#include <array>
#include <cstddef>

namespace marigold::inner {

using BootIdentity = std::array<std::byte, 16>;

// All zeros on a system that gives no identity: no process can find out then whether the machine
// has started again.
inline constexpr BootIdentity kUnknownBoot{};

// Returns the identity. A process asks the system for it once.
BootIdentity boot_identity();

// Called instead of the system if set, for tests that simulate another run or another machine. Null
// in every program.
extern BootIdentity (*boot_identity_hook)();

}  // namespace marigold::inner
