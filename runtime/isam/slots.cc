// Which slots of the data file a record may take, and when a deletion is final.
//
// A slot that is given up is gone and keeps its record until everything stored so far is on the
// disk. Then one store in the data file's header settles the epoch: from now on a power loss does
// not bring its deletions back, and its slots are free. An epoch that is to be settled is ended
// first, so that what is deleted meanwhile belongs to the next one.

#include <algorithm>
#include <atomic>

#include "runtime/isam/file.h"
#include "runtime/isam/hit.h"

namespace marigold::isam {
namespace {

// A file that is never flushed is settled when so much of it is gone, or half of it; and then only
// what was deleted so many writes ago: whoever is replacing a record by deleting it and writing it
// again has done so by then.
constexpr std::uint64_t kMostGoneBytes = std::uint64_t{4} << 20;
constexpr std::uint64_t kWritesToRipen = 1024;

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

// Everything gone is ripe, and what is deleted from now on is not.
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

// Says on the disk that the deletions before this epoch are final.
int store_settled(File& file) {
  const std::atomic_ref settled(settled_word(file));
  const std::uint64_t before = settled.load();
  settled.store((file.contents().epoch - 1) * kTwice);
  change_step();
  const int failed = file.data.sync();
  if (failed != 0) settled.store(before);
  return failed;
}

int settle_ripe(File& file) {
  if (const int failed = file.data.sync()) return failed;
  if (const int failed = make_visible(file)) return failed;
  if (const int failed = store_settled(file)) return failed;
  return change(file, [&] {
    Contents& contents = file.contents();
    if (!join(file, contents.ripe, contents.free_slot)) return int{kIsBadFile};
    contents.free_slot = contents.ripe.first;
    contents.ripe = {};
    return 0;
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
  header.check ^= contents.epoch;
  header.next = static_cast<SlotNumber>(contents.gone.first);
  if (contents.gone.first == 0) contents.gone.last = number;
  contents.gone.first = number;
  ++contents.gone.count;
}

int slots_settle(File& file) {
  // Left by slots_settle_ripe, or by one who was interrupted: an epoch begins with nothing ripe.
  if (file.contents().ripe.count > 0) {
    if (const int failed = settle_ripe(file)) return failed;
  }
  if (file.contents().gone.count == 0) return 0;
  const int failed = begin_epoch(file);
  return failed != 0 ? failed : settle_ripe(file);
}

int slots_settle_ripe(File& file) {
  const Contents& contents = file.contents();
  const std::uint64_t gone = (contents.gone.count + contents.ripe.count) * file.slot_size;
  if (gone <= std::max(kMostGoneBytes, data_bytes(file) / 2)) return 0;
  const int failed = contents.ripe.count == 0 ? begin_epoch(file) : 0;
  if (failed != 0) return failed;
  return contents.sequence < contents.epoch_sequence + kWritesToRipen ? 0 : settle_ripe(file);
}

}  // namespace marigold::isam
