// SPDX-License-Identifier: GPL-3.0-or-later
// Records in their slots, and the entries that the trees hold for them.
#pragma once

#include "runtime/isam/common/checksum.h"
#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {

std::uint64_t record_sequence(const std::byte* slot);

// Bytes by which a tree orders the record in a slot. The bytes after compare_length have no
// meaning.
Probe record_probe(const File& file, std::size_t tree, const std::byte* slot);

// Hash of a key for the hints.
inline std::uint64_t hint_hash(const TreeShape& shape, const Probe& probe) {
  return long_checksum(std::span(probe).first(shape.key_length));
}

// Bytes by which a tree will order a record that is about to be written with this sequence.
Probe new_probe(const TreeShape& shape, const char* record, std::uint64_t sequence);

// Whether an entry of the tree belongs to the record in a slot.
bool is_entry_of(const File& file, std::size_t tree, const Probe& entry, const std::byte* slot);

// Whether the entry at the place has the key of the probe (and its sequence, in a tree with
// duplicates). Gives the entry's slot.
bool place_has_key(File& file, std::size_t tree, Place place, const Probe& probe, SlotNumber& slot);

// Writes a live record into a slot. Within a change.
void record_store(File& file, SlotNumber slot, const char* record, std::uint64_t sequence);

}  // namespace marigold::inner::isam
