// SPDX-License-Identifier: GPL-3.0-or-later
// Settling of deletions.
//
// The slot of a deleted record is gone and keeps its record until the data file has been synced.
// Then a single store in the data file's header settles the epoch: from now on a power loss does
// not bring its deletions back, and its slots are free. An epoch ends before it is settled, so that
// later deletions belong to the next one. One process settles at a time; it holds the writer lock
// only for the steps in between, and waits for the disk without it.

#include "runtime/isam/local/slots.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>

#include "runtime/isam/common/reason.h"
#include "runtime/isam/local/change.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/space.h"

namespace marigold::inner::isam {
namespace {

// A file that is never flushed is settled when gone slots exceed this size and half of the file.
// Only slots deleted at least kWritesToRipen writes ago are settled then: a program that replaces a
// record by deleting it and writing it again has written it by that time.
constexpr std::uint64_t kMostGoneBytes = std::uint64_t{4} << 20;
constexpr std::uint64_t kWritesToRipen = 1024;

// Longest round of waiting for the settler, some tens of microseconds; rounds in all; and epochs
// that may end meanwhile, since epochs are counted in 32 bits.
constexpr int kLongestWait = 15;
constexpr int kRoundsToSettle = 600'000;  // a minute or so: a slow disk may have much to write
constexpr std::uint32_t kMostBehind = std::uint32_t{1} << 31;

SlotHeader& slot_header(File& file, std::uint64_t number) {
  return *reinterpret_cast<SlotHeader*>(file.slot(number));
}

bool can_be_taken(File& file, std::uint64_t number) {
  if (number == 0 || number > file.contents().slot_count) return false;
  const std::uint16_t state = slot_header(file, number).state;
  return state == kSlotGone || state == kSlotFree;
}

// Links the last slot of a chain to the slot `next`; within a change. False when the chain is
// damaged.
bool join(File& file, const SlotChain& chain, std::uint64_t next) {
  if (!can_be_taken(file, chain.first) || !can_be_taken(file, chain.last)) return false;
  save(file, Side::kData, file.slot(chain.last), sizeof(SlotHeader));
  slot_header(file, chain.last).next = static_cast<SlotNumber>(next);
  return true;
}

// Stores durably that the deletions up to this epoch are final. Only this word is synced: most
// pages of the records were changed again since their own sync.
int store_settled(File& file, std::uint32_t epoch) {
  const std::atomic_ref settled(settled_word(file));
  const std::uint64_t before = settled.load();
  settled.store(epoch * kTwice);
  change_step();
  const int failed = file.data.sync_part(kSettledEpoch, sizeof before);
  if (failed != 0) settled.store(before);
  return failed;
}

// Whether a process reads a snapshot, to which settled slots may belong.
int snapshot_is_read(const File& file, bool& read) {
  read = file.snapshots > 0;
  return read || file.exclusive ? 0 : file.index.locked_by_other(kSnapshotLock, read);
}

// Moves a chain to the front of the free slots; within a change.
bool free_chain(File& file, SlotChain& chain) {
  if (chain.count == 0) return true;
  if (!join(file, chain, file.contents().free_slot)) return false;
  file.contents().free_slot = chain.first;
  chain = {};
  return true;
}

// Moves the ripe slots to the front of the kept ones; within a change.
bool keep_ripe(File& file, SlotChain& kept) {
  SlotChain& ripe = file.contents().ripe;
  if (ripe.count == 0) return true;
  if (!join(file, ripe, kept.first)) return false;
  kept = {.first = ripe.first,
          .last = kept.count > 0 ? kept.last : ripe.last,
          .count = kept.count + ripe.count};
  ripe = {};
  return true;
}

// Frees settled slots: the kept ones and, if `ripe_too`, the ripe ones, which the caller has
// settled. While a snapshot is read they are kept instead. Called by the writer.
int free_settled(File& file, bool ripe_too) {
  if (const int failed = make_visible(file)) return failed;
  SlotChain& kept = file.header().kept;
  bool read = false;
  if (const int failed = snapshot_is_read(file, read)) return failed;
  if ((read || kept.count == 0) && (!ripe_too || file.contents().ripe.count == 0)) return 0;
  return change(file, [&] {
    save(file, Side::kIndex, reinterpret_cast<const std::byte*>(&kept), sizeof kept);
    const bool done =
        read ? keep_ripe(file, kept)
             : free_chain(file, kept) && (!ripe_too || free_chain(file, file.contents().ripe));
    return done ? 0 : int{kIsBadFile};
  });
}

std::uint64_t unsettled(const File& file) {
  return file.contents().gone.count + file.contents().ripe.count;
}

}  // namespace

int Settler::become() {
  if (file_.exclusive) return 0;
  const int failed = file_.index.lock(kSettleLock, true);
  held_ = failed == 0;
  return failed == EAGAIN ? refuse(kIsFileLocked, "another process is settling deletions") : failed;
}

int wait_to_settle(Settler& settler) {
  int failed = settler.become();
  for (int round = 1; failed == kIsFileLocked && round < kRoundsToRegister; ++round) {
    wait_a_little(round);
    failed = settler.become();
  }
  return failed;
}

int begin_epoch(File& file) {
  return change(file, [&] {
    Contents& contents = file.contents();
    contents.ripe = contents.gone;
    contents.gone = {};
    ++contents.epoch;
    contents.epoch_sequence = contents.sequence;
    return 0;
  });
}

// Other processes change the file during the sync; their deletions belong to the next epoch.
int settle_ripe(File& file) {
  const std::uint32_t epoch = file.contents().epoch - 1;
  if (const int failed = file.data.sync()) return failed;
  if (const int failed = store_settled(file, epoch)) return failed;
  return as_writer(file, [&] { return free_settled(file, true); });
}

int slots_free_kept(File& file) {
  if (file.header().kept.count == 0) return 0;
  return as_writer(file, [&] { return free_settled(file, false); });
}

namespace {

// Makes all gone slots ripe, unless some are ripe already. Called by the settler.
int ripen(File& file) {
  return as_writer(file, [&] {
    if (const int failed = make_visible(file)) return failed;
    const Contents& contents = file.contents();
    return contents.ripe.count == 0 && contents.gone.count > 0 ? begin_epoch(file) : 0;
  });
}

}  // namespace

SlotNumber slot_take(File& file) {
  Contents& contents = file.contents();
  const bool reused = contents.free_slot != 0;
  const std::uint64_t number = reused ? contents.free_slot : ++contents.slot_count;
  if (reused && !can_be_taken(file, number)) return 0;
  save(file, Side::kData, file.slot(number), sizeof(SlotHeader));
  if (reused) contents.free_slot = slot_header(file, number).next;
  return static_cast<SlotNumber>(number);
}

void slot_give(File& file, SlotNumber number) {
  Contents& contents = file.contents();
  save(file, Side::kData, file.slot(number), sizeof(SlotHeader));
  SlotHeader& header = slot_header(file, number);
  header.state = kSlotGone;
  header.checksum ^= contents.epoch;
  header.next = static_cast<SlotNumber>(contents.gone.first);
  if (contents.gone.first == 0) contents.gone.last = number;
  contents.gone.first = number;
  ++contents.gone.count;
}

namespace {

// Whether the deletions of an epoch are durable: its slots are ripe until then.
bool is_on_disk(const File& file, std::uint32_t epoch) {
  const std::uint32_t age = file.contents().epoch - epoch;  // 0: the current one
  if (age == 0 || age > kMostBehind) return false;
  return age > 1 || file.contents().ripe.count == 0;
}

// Waits to become the settler, or until another process has settled the slots that are gone now;
// `done` reports the latter. Without it two processes that flush in turns would wait for each
// other's next flush.
int become_settler(Settler& settler, const File& file, bool& done) {
  const bool some_gone = file.contents().gone.count > 0;
  const std::uint32_t epoch = file.contents().epoch;
  int failed = kIsFileLocked;
  for (int round = 0; failed == kIsFileLocked && round < kRoundsToSettle; ++round) {
    if (round > 0) wait_a_little(std::min(round, kLongestWait));
    done = some_gone && is_on_disk(file, epoch);
    if (done) return 0;
    failed = settler.become();
  }
  return failed;
}

}  // namespace

int slots_settle(File& file) {
  if (unsettled(file) == 0) return 0;
  Settler settler(file);
  bool done = false;
  if (const int failed = become_settler(settler, file, done)) return failed;
  if (done) return 0;
  // Left by slots_settle_ripe or by an interrupted settler: an epoch begins with no ripe slots.
  if (file.contents().ripe.count > 0) {
    if (const int failed = settle_ripe(file)) return failed;
  }
  if (const int failed = ripen(file)) return failed;
  return file.contents().ripe.count > 0 ? settle_ripe(file) : 0;
}

bool slots_are_due(const File& file) {
  const Contents& contents = file.contents();
  const std::uint64_t gone = unsettled(file) * file.slot_size;
  if (gone <= std::max(kMostGoneBytes, data_bytes(file) / 2)) return false;
  return contents.ripe.count == 0 || contents.sequence >= contents.epoch_sequence + kWritesToRipen;
}

namespace {

// Rests while another process settles. The system takes pages that are on their way to the disk
// from a process that stores to them, one at a time and from every processor, so a short rest
// speeds both processes up. On a slow disk the rests end long before the settling does.
void rest(File& file) {
  constexpr int kMostRests = 30;
  constexpr int kMillisecond = 1000;  // the round of waiting that takes one
  if (std::exchange(file.rests.epoch, file.contents().epoch) != file.contents().epoch)
    file.rests.count = 0;
  if (file.rests.count++ < kMostRests) wait_a_little(kMillisecond);
}

}  // namespace

int slots_settle_ripe(File& file) {
  Settler settler(file);
  const int failed = settler.become();
  if (failed == kIsFileLocked) rest(file);
  if (failed == kIsFileLocked || !slots_are_due(file)) return 0;
  if (failed != 0) return failed;
  return file.contents().ripe.count == 0 ? ripen(file) : settle_ripe(file);
}

}  // namespace marigold::inner::isam
