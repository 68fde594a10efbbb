// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/record.h"

#include <cstring>

#include "runtime/isam/local/slots.h"

namespace marigold::inner::isam {

std::uint64_t record_sequence(const std::byte* slot) {
  return sequence_of(*reinterpret_cast<const SlotHeader*>(slot));
}

Probe new_probe(const TreeShape& shape, const char* record, std::uint64_t sequence) {
  Probe probe;  // only the bytes that count are set: this runs for every record read
  key_from_record(shape.key, record, probe.data());
  if (!shape.duplicates) return probe;
  for (std::uint32_t i = shape.compare_length; i > shape.key_length; --i, sequence >>= 8) {
    probe[i - 1] = static_cast<std::byte>(sequence & 0xFF);
  }
  return probe;
}

Probe record_probe(const File& file, std::size_t tree, const std::byte* slot) {
  const auto* record = reinterpret_cast<const char*>(slot + sizeof(SlotHeader));
  return new_probe(file.trees[tree], record, record_sequence(slot));
}

bool is_entry_of(const File& file, std::size_t tree, const Probe& entry, const std::byte* slot) {
  const TreeShape& shape = file.trees[tree];
  const auto* record = reinterpret_cast<const char*>(slot + sizeof(SlotHeader));
  if (!key_is_of_record(shape.key, record, entry.data())) return false;
  if (!shape.duplicates) return true;
  const std::uint64_t sequence = big_endian(entry.data() + shape.key_length);
  return sequence >> 8 * (kPiece - kSequenceLength) == record_sequence(slot);
}

bool place_has_key(File& file, std::size_t tree, Place place, const Probe& probe,
                   SlotNumber& slot) {
  Node leaf;
  if (!read_node(file, place.page, kLeaf, tree, leaf)) return false;
  if (place.index >= leaf.header.count) return false;
  Probe entry;
  node_entry(leaf, place.index, entry);
  slot = leaf.number(place.index);
  return begin_alike(entry, probe, file.trees[tree].compare_length);
}

void record_store(File& file, SlotNumber slot, const char* record, std::uint64_t sequence) {
  std::byte* at = file.slot(slot);
  std::memcpy(at + sizeof(SlotHeader), record, file.record_length);
  auto* header = reinterpret_cast<SlotHeader*>(at);
  set_sequence(*header, sequence);
  header->next = 0;
  header->state = kSlotLive;
  header->checksum = slot_checksum(file, at);
}

}  // namespace marigold::inner::isam
