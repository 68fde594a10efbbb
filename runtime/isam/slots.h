// The slots of the data file: what they hold, which a record may take, and when a deletion is final.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/isam/checksum.h"
#include "runtime/isam/file.h"

namespace marigold::isam {

// ---- Reading a slot

inline std::uint64_t sequence_of(const SlotHeader& header) {
  const auto& from = header.sequence;
  return from[0] | std::uint64_t{from[1]} << 16 | std::uint64_t{from[2]} << 32;
}
inline void set_sequence(SlotHeader& header, std::uint64_t value) {
  header.sequence = {static_cast<std::uint16_t>(value), static_cast<std::uint16_t>(value >> 16),
                     static_cast<std::uint16_t>(value >> 32)};
}

// The check of a slot as it stands: of its sequence and its record.
inline std::uint32_t slot_checksum(const File& file, const std::byte* slot) {
  constexpr std::size_t kFirst = offsetof(SlotHeader, sequence);
  return checksum({slot + kFirst, sizeof(SlotHeader) - kFirst + file.record_length},
                  file.header().file_id);
}

// Whether the slot holds a record whose check is right.
inline bool slot_is_live(const File& file, const std::byte* slot) {
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  return header->state == kSlotLive && header->checksum == slot_checksum(file, slot);
}

// Epochs that may have begun and are not settled: one with slots that are ripe, and the one that
// goes on.
inline constexpr std::uint32_t kOpenEpochs = 2;

inline std::uint64_t& settled_word(const File& file) {
  return *reinterpret_cast<std::uint64_t*>(file.data.memory() + kSettledEpoch);
}
inline std::uint32_t settled_epoch(const File& file) {
  return static_cast<std::uint32_t>(settled_word(file));
}

// The same after a power loss, which a record survives whose deletion is not settled. State and
// check of a slot may come from before and after a deletion.
inline bool slot_has_survived(const File& file, const std::byte* slot) {
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  if (header->state != kSlotLive && header->state != kSlotGone) return false;
  const std::uint32_t epoch = header->checksum ^ slot_checksum(file, slot);
  return epoch == 0 || epoch - settled_epoch(file) - 1 < kOpenEpochs;
}

// The same with the check made only the first time that this process reads the slot: later nobody
// but an engine has changed it, and that makes the check anew.
inline bool slot_was_live(File& file, std::uint64_t number) {
  const std::byte* slot = file.slot(number);
  std::uint64_t& word = file.intact_slots[number / 64];
  const std::uint64_t bit = std::uint64_t{1} << number % 64;
  if ((word & bit) != 0) return reinterpret_cast<const SlotHeader*>(slot)->state == kSlotLive;
  if (!slot_is_live(file, slot)) return false;
  word |= bit;
  return true;
}
// The process has made the check itself.
inline void note_intact_slot(File& file, std::uint64_t number) {
  file.intact_slots[number / 64] |= std::uint64_t{1} << number % 64;
}
// ---- Taking and giving slots, within a change

// Taking gives 0 when what should be free is not: the file is damaged and the change must be
// undone. A slot that is given is gone, and can be taken when it is settled.
SlotNumber slot_take(File& file);
void slot_give(File& file, SlotNumber number);
// ---- Settling

// Brings the data file to the disk and makes all gone slots free. Waits for whoever is doing that;
// 113 when it takes too long. Takes the right to change the file for moments only: the caller does
// not have it.
int slots_settle(File& file);
// The same for those that have been gone for a while, unless somebody else is doing it. The others
// may belong to records that are just being replaced.
int slots_settle_ripe(File& file);
// Whether so much is gone that it should be settled.
bool slots_are_due(const File& file);
// Who settles: one process at a time, which gives the lock back when it dies.
class Settler {
 public:
  explicit Settler(File& file) : file_(file) {}
  ~Settler() {
    if (held_) file_.index.unlock(kSettleLock);
  }
  Settler(const Settler&) = delete;
  Settler& operator=(const Settler&) = delete;

  // 113 when somebody else is.
  int become();

 private:
  File& file_;
  bool held_ = false;
};

// Waits for it: 113 after some ten seconds. Somebody who may only read the file can hold it for
// ever.
int wait_to_settle(Settler& settler);

// Settles the ripe slots and makes them free. The settler's, who is not the writer.
int settle_ripe(File& file);

// Makes everything gone ripe; what is deleted from now on belongs to the next epoch. The settler's
// and the writer's, when nothing is ripe.
int begin_epoch(File& file);

// Frees the slots that were kept for snapshots, if nobody reads one any more.
int slots_free_kept(File& file);

}  // namespace marigold::isam
