// Records in their slots, and the entries that the trees hold for them.
#pragma once

#include "runtime/isam/checksum.h"
#include "runtime/isam/tree.h"

namespace marigold::isam {

std::uint64_t record_sequence(const std::byte* slot);

// What a tree orders the record in a slot by. The bytes behind compare_length mean nothing.
Probe record_probe(const File& file, std::size_t tree, const std::byte* slot);

// What a key is known by in the hints.
inline std::uint64_t hint_hash(const TreeShape& shape, const Probe& probe) {
  return long_checksum(std::span(probe).first(shape.key_length));
}

// The same for a record that is about to be written as number `sequence`.
Probe new_probe(const TreeShape& shape, const char* record, std::uint64_t sequence);

// Whether an entry of the tree is that of the record in a slot.
bool is_entry_of(const File& file, std::size_t tree, const Probe& entry, const std::byte* slot);

// Whether there is an entry at the place with the key of the probe (its sequence as well, where the
// tree has one), and its slot.
bool place_has_key(File& file, std::size_t tree, Place place, const Probe& probe, SlotNumber& slot);

// Writes a record into a slot, live. Within a change.
void record_store(File& file, SlotNumber slot, const char* record, std::uint64_t sequence);

}  // namespace marigold::isam
