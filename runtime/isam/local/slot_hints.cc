// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/slot_hints.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace marigold::inner::isam {
namespace {

constexpr std::size_t kFirstBuckets = 64;
constexpr std::size_t kMostBuckets = std::size_t{1} << 21;  // 128 MiB

}  // namespace

// Replaces the entry with the same tag, else a free one, else another one of the bucket.
void SlotHints::Table::put(const Entry& entry) {
  auto& entries = bucket(entry.tag).entries;
  std::size_t at = kEntries;
  for (std::size_t i = kEntries; i-- > 0;) {
    if (entries[i].slot == 0) at = i;
  }
  for (std::size_t i = 0; i < kEntries; ++i) {
    if (entries[i].slot != 0 && entries[i].tag == entry.tag) at = i;
  }
  if (at == kEntries) at = entry.tag >> 29;
  if (entries[at].slot == 0) ++used;
  entries[at] = entry;
}

void SlotHints::expect(std::uint64_t slots) {
  // A third more than slots: in a table that is three quarters full, another entry of its bucket
  // has displaced one entry in twenty.
  const std::uint64_t wanted = std::bit_ceil((slots + slots / 3) / kEntries + 1);
  most_buckets_ = std::clamp<std::uint64_t>(wanted, kFirstBuckets, kMostBuckets);
}

void SlotHints::note(std::uint64_t hash, SlotNumber slot) {
  if (4 * table_.used >= 3 * kEntries * table_.count && former_.count == 0) enlarge();
  if (table_.count == 0) return;
  table_.put({.tag = tag_of(hash), .slot = slot});
  if (former_.count != 0) move_bucket();
}

void SlotHints::enlarge() {
  if (table_.count >= most_buckets_) return;
  Table larger;
  larger.count = std::max(kFirstBuckets, 2 * table_.count);
  if (larger.memory.take(larger.count * sizeof(Bucket)) != 0) return;
  former_ = std::exchange(table_, std::move(larger));
  moved_ = 0;
}

// Entries of the new table are newer.
void SlotHints::move_bucket() {
  for (const Entry& entry : former_.bucket(moved_).entries) {
    if (entry.slot != 0 && table_.find(entry.tag) == 0) table_.put(entry);
  }
  if (++moved_ == former_.count) former_ = Table{};
}

}  // namespace marigold::inner::isam
