// SPDX-License-Identifier: GPL-3.0-or-later
// The block store, "DRUCK.BIN" or "IDRUCK.BIN": the instructions of all blocks of the lists in the
// definition files of the same kind. The store has a header with a version and a checksum, then the
// blocks; a block's record has the offset of the block's first byte in the file.
//
// Layout: docs/formats/block-store.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marigold::inner {

inline constexpr std::size_t kBlockStoreHeader = 16;

// Largest size of a store: the field for an offset has 31 bits.
inline constexpr std::size_t kLargestBlockStore = 0x7FFFFFFF;

// Reads a whole store. Returns false and the reason if the file cannot be read, is damaged or is no
// store.
bool block_store_read(const char* path, std::string& store, std::string& reason);

// Returns a store with these blocks, which begin at kBlockStoreHeader.
std::string block_store_of(std::string_view blocks);

}  // namespace marigold::inner
