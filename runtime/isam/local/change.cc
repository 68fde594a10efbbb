// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/change.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "runtime/isam/common/fatal.h"
#include "runtime/isam/common/reason.h"
#include "runtime/isam/local/file.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/isam/local/space.h"

namespace marigold::inner::isam {

namespace {

// Stands in the writer lock of a file that is open exclusively: its process has no seat.
constexpr std::uint32_t kExclusiveWriter = ~std::uint32_t{0};

// Rounds of waiting between two questions to the system whether the writer lives.
constexpr int kPatience = 16;
// Rounds of waiting before a process becomes the heir, a millisecond or so. A process that has just
// had the lock kLongTurn times without waiting waits nearly ten milliseconds: when two processes
// write all the time, every turn begins with fetching the other one's changes into this processor's
// cache.
constexpr int kRoundsToInherit = 24;
constexpr int kRoundsBetweenLongTurns = 128;
constexpr std::uint32_t kLongTurn = 1000;
// Waiting begins with two attempts and goes on with short sleeps. Each attempt takes the cache line
// of the lock away from the writer, and two processes that write in long turns do more than two
// that alternate.
constexpr int kPauses = 8;
// Bounds the sleep between two attempts: others wait for an heir that is late.
constexpr int kLongestWait = 15;

// Stands after each piece of saved bytes in the undo area, so that undo can read the area from its
// end.
struct UndoTrailer {
  std::uint64_t offset;  // in its file
  std::uint32_t length;
  Side side;
};

std::uint64_t padded(std::uint64_t length) {
  return (length + 7) / 8 * 8;
}

std::atomic_ref<std::uint64_t> changes_of(const File& file) {
  return std::atomic_ref(file.header().changes);
}
std::atomic_ref<std::uint32_t> writer_of(const File& file) {
  return std::atomic_ref(file.header().writer);
}
std::atomic_ref<std::uint32_t> heir_of(const File& file) {
  return std::atomic_ref(file.header().heir);
}

std::uint32_t own_lock_value(const File& file) {
  return file.exclusive ? kExclusiveWriter : file.seat + 1;
}

// Whether the process that left this value in the writer lock is gone. An exclusive writer is gone,
// since this process has the file open. A live writer holds its seat exclusively; a shared lock on
// that byte comes from a process that may only read the file.
int writer_is_dead(const File& file, std::uint32_t word, bool& dead) {
  dead = true;
  if (word > kSeats) return 0;
  bool locked = false;
  const int failed = file.index.locked_exclusively_by_other(kSeatLocks + word - 1, locked);
  dead = failed == 0 && !locked;
  return failed;
}

// Takes the writer lock over from a dead writer; `taken` reports whether there was one.
int take_over(File& file, bool& taken) {
  taken = false;
  if (int failed = register_lock(file)) return failed;
  std::uint32_t word = writer_of(file).load();
  bool dead = false;
  int failed = word == 0 ? 0 : writer_is_dead(file, word, dead);
  if (failed == 0 && dead)
    taken = writer_of(file).compare_exchange_strong(word, own_lock_value(file));
  register_unlock(file);
  return failed;
}

// Ends the claim of an heir that has not taken the free lock since the last call: its process is
// stopped or dead. `seen` is the heir at the last call.
void drop_late_heir(const File& file, std::uint32_t& seen) {
  std::uint32_t heir = heir_of(file).load();
  const bool late = heir != 0 && heir == seen && heir != own_lock_value(file);
  if (late && writer_of(file).load() == 0) heir_of(file).compare_exchange_strong(heir, 0);
  seen = heir;
}

// Takes the writer lock if it is free and no other process is the heir.
bool take_turn(const File& file) {
  const std::uint32_t own = own_lock_value(file);
  const std::uint32_t heir = heir_of(file).load(std::memory_order_relaxed);
  if (heir != 0 && heir != own) return false;
  std::uint32_t word = 0;
  if (!writer_of(file).compare_exchange_weak(word, own, std::memory_order_acquire)) return false;
  if (heir == own) heir_of(file).store(0, std::memory_order_relaxed);
  return true;
}

// A process that has waited for a while becomes the heir, if there is none. Then no other process
// can take the lock before it, however fast.
[[gnu::noinline]] int wait_for_writer_lock(File& file) {
  const int patience = file.turns < kLongTurn ? kRoundsToInherit : kRoundsBetweenLongTurns;
  file.turns = 0;
  std::uint32_t seen = 0;
  for (int round = 1;; ++round) {
    wait_a_little(std::min(round + kPauses, kLongestWait));
    if (round > patience) {
      std::uint32_t nobody = 0;
      heir_of(file).compare_exchange_strong(nobody, own_lock_value(file));
    }
    if (round % kPatience == 0) {
      drop_late_heir(file, seen);
      bool taken = false;
      if (const int failed = take_over(file, taken)) return failed;
      if (taken && !was_hit(file)) return 0;
    }
    if (was_hit(file)) return after_hit(file);
    if (take_turn(file)) return 0;
  }
}

int take_writer_lock(File& file) {
  if (was_hit(file)) return after_hit(file);
  ++file.turns;
  if (!take_turn(file)) {
    if (const int failed = wait_for_writer_lock(file)) return failed;
  }
  return was_hit(file) ? after_hit(file) : 0;  // a hit stores to a private page
}

void restore(File& file, const UndoTrailer& trailer, const std::byte* saved) {
  std::byte* base = trailer.side == Side::kIndex ? file.index.memory() : file.data.memory();
  // A page that could not be written still has its old content.
  if (std::memcmp(base + trailer.offset, saved, trailer.length) != 0)
    std::memcpy(base + trailer.offset, saved, trailer.length);
}

bool undo_area_is_sane(const File& file) {
  const IndexHeader& header = file.header();
  return header.undo_pages == undo_pages_needed(file.trees) &&
         header.undo_used <= header.undo_pages * kPageSize &&
         (kUndoStart + header.undo_pages) * kPageSize <= file.index_space;
}

// Only slots, nodes and the contents part of the header are ever saved, never the fields that undo
// relies on.
bool trailer_is_sane(const File& file, const UndoTrailer& trailer, std::uint64_t used) {
  if (trailer.side != Side::kIndex && trailer.side != Side::kData) return false;
  const bool is_index = trailer.side == Side::kIndex;
  const std::uint64_t space = is_index ? file.index_space : file.data_space;
  const std::uint64_t first = is_index ? offsetof(IndexHeader, contents) : kDataStart;
  if (padded(trailer.length) + sizeof trailer > used || trailer.offset < first ||
      trailer.offset > space || trailer.length > space - trailer.offset)
    return false;
  const std::uint64_t nodes = (kUndoStart + file.header().undo_pages) * kPageSize;
  return !is_index || trailer.offset >= nodes ||
         trailer.offset + trailer.length <= sizeof(IndexHeader);
}

}  // namespace

int writer_begin(File& file) {
  if (const int failed = take_writer_lock(file)) return failed;
  // The last holder of the lock died within a change, or could not rebuild the trees, or the header
  // is damaged and looks like that.
  const IndexHeader& header = file.header();
  if (header.undo_used == 0 && header.changes % 2 == 0) return 0;
  const int failed = header.state == kStateRebuild ? rebuild_indexes(file) : undo_unless_hit(file);
  if (failed != 0) writer_end(file);
  return failed;
}

void writer_end(File& file) {
  if (was_hit(file)) file.hit = after_hit(file);
  writer_of(file).store(0, std::memory_order_release);
  if (was_hit(file)) leave_writer_lock(file);
}

void change_begin(File& file) {
  file.saved_pages.clear();
  changes_of(file).store(file.header().changes + 1, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  change_step();
  const std::size_t used = offsetof(Contents, trees) + file.trees.size() * sizeof(TreeHeader);
  save(file, Side::kIndex, reinterpret_cast<const std::byte*>(&file.contents()), used);
}

void change_end(File& file) {
  change_step();
  std::atomic_ref(file.header().undo_used).store(0, std::memory_order_release);
  change_step();
  changes_of(file).store(file.header().changes + 1, std::memory_order_release);
  change_step();
}

void save(File& file, Side side, const std::byte* from, std::size_t length) {
  change_step();
  if (!file.logging || length == 0) return;
  IndexHeader& header = file.header();
  const std::uint64_t needed = padded(length) + sizeof(UndoTrailer);
  if (needed > header.undo_pages * kPageSize - header.undo_used)
    fatal_inconsistency(file.base, "change", __LINE__);
  const std::byte* base = side == Side::kIndex ? file.index.memory() : file.data.memory();
  const UndoTrailer trailer{.offset = static_cast<std::uint64_t>(from - base),
                            .length = static_cast<std::uint32_t>(length),
                            .side = side};
  std::byte* to = file.page(kUndoStart) + header.undo_used;
  std::memcpy(to, from, length);
  std::memcpy(to + padded(length), &trailer, sizeof trailer);
  change_step();
  std::atomic_ref(header.undo_used).store(header.undo_used + needed, std::memory_order_release);
  change_step();
}

int undo_all(File& file) {
  if (const int failed = make_visible(file)) return failed;
  IndexHeader& header = file.header();
  if (!undo_area_is_sane(file)) return kIsBadFile;
  while (header.undo_used > 0) {
    UndoTrailer trailer{};
    if (header.undo_used < sizeof trailer) return kIsBadFile;
    const std::byte* end = file.page(kUndoStart) + header.undo_used;
    std::memcpy(&trailer, end - sizeof trailer, sizeof trailer);
    if (!trailer_is_sane(file, trailer, header.undo_used)) return kIsBadFile;
    const std::uint64_t whole = padded(trailer.length) + sizeof trailer;
    restore(file, trailer, end - whole);
    change_step();  // restoring twice does no harm
    std::atomic_ref(header.undo_used).store(header.undo_used - whole, std::memory_order_release);
    change_step();
  }
  if (header.changes % 2 != 0)
    changes_of(file).store(header.changes + 1, std::memory_order_release);
  return 0;
}

namespace {

// A process that may only read cannot undo the change of a dead writer. Another process that can
// may come at once, or never.
int wait_for_rescue(const File& file, int round) {
  constexpr int kRounds = 20 * kPatience;  // a quarter of a second
  if (round < kRounds) return 0;
  const std::uint32_t word = writer_of(file).load();
  bool dead = true;
  const int failed = word == 0 ? 0 : writer_is_dead(file, word, dead);
  return failed == 0 && dead ? refuse(EACCES, kHalfDone) : failed;
}

// Waits while another process changes the file. Kept out of the path that every read takes.
[[gnu::noinline]] int wait_for_writer(File& file, std::uint64_t& changes) {
  for (int round = 0;; ++round) {
    changes = changes_of(file).load(std::memory_order_acquire);
    if (changes % 2 == 0) return 0;
    wait_a_little(round);
    if (was_hit(file)) return after_hit(file);
    if (round % kPatience != kPatience - 1) continue;
    if (!file.writable) {
      if (const int failed = wait_for_rescue(file, round)) return failed;
      continue;
    }
    // The writer either finishes meanwhile, or is dead and its change is undone.
    if (const int failed = writer_begin(file)) return failed;
    writer_end(file);
    if (const int hit = unless_hit(file, 0)) return hit;
  }
}

}  // namespace

int read_begin(File& file, std::uint64_t& changes) {
  changes = changes_of(file).load(std::memory_order_acquire);
  if (changes % 2 != 0) {
    if (const int failed = wait_for_writer(file, changes)) return failed;
  }
  return make_visible(file);
}

bool read_was_whole(const File& file, std::uint64_t changes) {
  std::atomic_thread_fence(std::memory_order_acquire);
  return changes_of(file).load(std::memory_order_relaxed) == changes;
}

}  // namespace marigold::inner::isam
