// SPDX-License-Identifier: GPL-3.0-or-later
// The block store, "DRUCK.BIN" or "IDRUCK.BIN": the instructions of all blocks of the lists that
// are found in the definition files of the same kind. A header with a version and a checksum, then
// the blocks; a block's record has the offset of its first byte in the file.
//
// Layout: docs/formats/block-store.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marigold {

inline constexpr std::size_t kBlockStoreHeader = 16;

// Offsets have 31 bits in their field; so far a store may grow.
inline constexpr std::size_t kLargestBlockStore = 0x7FFFFFFF;

// Reads a whole store. False, and why, when the file cannot be read or is none or damaged.
bool block_store_read(const char* path, std::string& store, std::string& reason);

// A store with these blocks, from kBlockStoreHeader on.
std::string block_store_of(std::string_view blocks);

}  // namespace marigold
