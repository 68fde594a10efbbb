// SPDX-License-Identifier: GPL-3.0-or-later
// Slots of the data file: their records, which slots a new record may take, and when a deletion is
// final.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/isam/common/checksum.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// ---- Reading a slot

inline std::uint64_t sequence_of(const SlotHeader& header) {
  const auto& from = header.sequence;
  return from[0] | std::uint64_t{from[1]} << 16 | std::uint64_t{from[2]} << 32;
}
inline void set_sequence(SlotHeader& header, std::uint64_t value) {
  header.sequence = {static_cast<std::uint16_t>(value), static_cast<std::uint16_t>(value >> 16),
                     static_cast<std::uint16_t>(value >> 32)};
}

// Computes the checksum of a slot: of its sequence and its record.
inline std::uint32_t slot_checksum(const File& file, const std::byte* slot) {
  constexpr std::size_t kFirst = offsetof(SlotHeader, sequence);
  return checksum({slot + kFirst, sizeof(SlotHeader) - kFirst + file.record_length},
                  file.header().file_id);
}

// Whether the slot is live and its checksum is right.
inline bool slot_is_live(const File& file, const std::byte* slot) {
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  return header->state == kSlotLive && header->checksum == slot_checksum(file, slot);
}

// Epochs that may have begun and are not settled: one with ripe slots, and the current one.
inline constexpr std::uint32_t kOpenEpochs = 2;

inline std::uint64_t& settled_word(const File& file) {
  return *reinterpret_cast<std::uint64_t*>(file.data.memory() + kSettledEpoch);
}
inline std::uint32_t settled_epoch(const File& file) {
  return static_cast<std::uint32_t>(settled_word(file));
}

// Whether the slot holds a record after a power loss, which undoes deletions that are not
// settled. State and checksum of a slot may come from before and after a deletion.
inline bool slot_has_survived(const File& file, const std::byte* slot) {
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  if (header->state != kSlotLive && header->state != kSlotGone) return false;
  const std::uint32_t epoch = header->checksum ^ slot_checksum(file, slot);
  return epoch == 0 || epoch - settled_epoch(file) - 1 < kOpenEpochs;
}

// Whether the slot is live, with the checksum verified only at this process's first read of the
// slot. Later only an engine can have changed the slot, and an engine renews the checksum.
inline bool slot_was_live(File& file, std::uint64_t number) {
  const std::byte* slot = file.slot(number);
  std::uint64_t& word = file.intact_slots[number / 64];
  const std::uint64_t bit = std::uint64_t{1} << number % 64;
  if ((word & bit) != 0) return reinterpret_cast<const SlotHeader*>(slot)->state == kSlotLive;
  if (!slot_is_live(file, slot)) return false;
  word |= bit;
  return true;
}
// Notes that this process has made the checksum itself.
inline void note_intact_slot(File& file, std::uint64_t number) {
  file.intact_slots[number / 64] |= std::uint64_t{1} << number % 64;
}
// ---- Taking and giving slots, within a change

// Taking returns 0 when the slot that should be free is not: the file is damaged and the change
// must be undone. A slot that is given is gone until it is settled.
SlotNumber slot_take(File& file);
void slot_give(File& file, SlotNumber number);
// ---- Settling

// Makes the deletions so far durable and all gone slots free. Waits for a process that is settling;
// 113 when that takes too long. Takes the writer lock for moments only, so the caller must not hold
// it.
int slots_settle(File& file);
// Does the same for ripe slots, or makes gone slots ripe, unless another process is settling. Gone
// slots that are not ripe may belong to records that are just being replaced.
int slots_settle_ripe(File& file);
// Whether so many slots are gone that they should be settled.
bool slots_are_due(const File& file);
// Right to settle: one process has it at a time, and the system gives it back when that process
// dies.
class Settler {
 public:
  explicit Settler(File& file) : file_(file) {}
  ~Settler() {
    if (held_) file_.index.unlock(kSettleLock);
  }
  Settler(const Settler&) = delete;
  Settler& operator=(const Settler&) = delete;

  // 113 when another process settles.
  int become();

 private:
  File& file_;
  bool held_ = false;
};

// Waits to become the settler: 113 after some ten seconds, since a process that may only read the
// file can hold the lock for ever.
int wait_to_settle(Settler& settler);

// Settles the ripe slots and frees them. The caller is the settler and not the writer.
int settle_ripe(File& file);

// Makes all gone slots ripe; deletions from now on belong to the next epoch. The caller is settler
// and writer, and no slot is ripe.
int begin_epoch(File& file);

// Frees the slots that were kept for snapshots, unless a process still reads one.
int slots_free_kept(File& file);

}  // namespace marigold::inner::isam
