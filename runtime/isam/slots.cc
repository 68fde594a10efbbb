// Which slots of the data file a record may take, and when a deletion is final.
//
// A slot that is given up is gone and keeps its record until everything stored so far is on the
// disk. Then one store in the data file's header settles the epoch: from now on a power loss does
// not bring its deletions back, and its slots are free. An epoch that is to be settled is ended
// first, so that what is deleted meanwhile belongs to the next one. One process settles at a time;
// it has the right to change the file only for the steps between, and waits for the disk without
// it.

#include "runtime/isam/slots.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>

#include "runtime/isam/change.h"
#include "runtime/isam/hit.h"
#include "runtime/isam/reason.h"
#include "runtime/isam/space.h"

namespace marigold::isam {
namespace {

// A file that is never flushed is settled when so much of it is gone, or half of it; and then only
// what was deleted so many writes ago: whoever is replacing a record by deleting it and writing it
// again has done so by then.
constexpr std::uint64_t kMostGoneBytes = std::uint64_t{4} << 20;
constexpr std::uint64_t kWritesToRipen = 1024;

// Of waiting for who settles: no longer between two looks than some ten microseconds. And epochs
// that may end meanwhile, which are counted in 32 bits.
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

// Lets the chain go on with the slot `next`; within a change. False when its end is damaged.
bool join(File& file, const SlotChain& chain, std::uint64_t next) {
  if (!can_be_taken(file, chain.first) || !can_be_taken(file, chain.last)) return false;
  save(file, Side::kData, file.slot(chain.last), sizeof(SlotHeader));
  slot_header(file, chain.last).next = static_cast<SlotNumber>(next);
  return true;
}

// Says on the disk that the deletions of this epoch and those before are final. Only the word waits
// for the disk: others have stored to most pages again since the records were brought there.
int store_settled(File& file, std::uint32_t epoch) {
  const std::atomic_ref settled(settled_word(file));
  const std::uint64_t before = settled.load();
  settled.store(epoch * kTwice);
  change_step();
  const int failed = file.data.sync_part(kSettledEpoch, sizeof before);
  if (failed != 0) settled.store(before);
  return failed;
}

// Whether anybody reads a snapshot, to which slots may belong that are settled.
int snapshot_is_read(const File& file, bool& read) {
  read = file.snapshots > 0;
  return read || file.exclusive ? 0 : file.index.locked_by_other(kSnapshotLock, read);
}

// Moves a chain before what is free; within a change.
bool free_chain(File& file, SlotChain& chain) {
  if (chain.count == 0) return true;
  if (!join(file, chain, file.contents().free_slot)) return false;
  file.contents().free_slot = chain.first;
  chain = {};
  return true;
}

// Moves the ripe slots before those that are kept; within a change.
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

// Makes slots free, which are settled: those that were kept, and the ripe ones if they are, too.
// While a snapshot is read they are kept. The writer's.
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
  return failed == EAGAIN
             ? refuse(kIsFileLocked, "another process is bringing deletions to the disk")
             : failed;
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

// Others change the file while the disk is waited for; what they delete meanwhile belongs to the
// next epoch.
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

// Everything that is gone is ripe from here on. The settler's.
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

// Whether an epoch has been settled and that is on the disk: its slots are ripe until then.
bool is_on_disk(const File& file, std::uint32_t epoch) {
  const std::uint32_t behind = file.contents().epoch - epoch;  // 0: it goes on
  if (behind == 0 || behind > kMostBehind) return false;
  return behind > 1 || file.contents().ripe.count == 0;
}

// Waits to be the settler, or until whoever is has settled what was gone when we came: `done` then.
// Two that flush in turns would otherwise wait for each other's next flush.
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
  // Left by slots_settle_ripe, or by one who was interrupted: an epoch begins with none.
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

// While another process settles. Pages that are on their way to the disk are taken from whoever
// stores to them, one at a time and from every processor; a short rest makes both of them quicker
// than going on. On a slow disk it ends long before the settling.
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

}  // namespace marigold::isam
