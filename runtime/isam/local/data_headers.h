// SPDX-License-Identifier: GPL-3.0-or-later
// The two copies of a data file's header, each by itself.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "runtime/isam/local/layout.h"

namespace marigold::inner::isam {

// Reads the copy at one of kDataHeaders from the first bytes of a data file; none when it is
// damaged.
std::optional<DataHeader> whole_header(std::span<const std::byte> head, std::uint64_t offset);

// Reads the first whole copy of the two.
std::optional<DataHeader> whole_header(std::span<const std::byte> head);

}  // namespace marigold::inner::isam
