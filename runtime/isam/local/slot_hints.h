// SPDX-License-Identifier: GPL-3.0-or-later
// Slots in which a process has last seen records, by primary key. A right guess spares a read by
// key the search in the tree, and a wrong one costs one look at a slot. The caller verifies that
// the slot holds the key. The table is private to a process and never needed: without memory there
// are fewer guesses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "runtime/isam/local/layout.h"
#include "runtime/platform/zeroed_memory.h"

namespace marigold::inner::isam {

class SlotHints {
 public:
  // Lets the table grow with the noted keys, up to room for a file of so many slots.
  void expect(std::uint64_t slots);
  // Notes the slot of a key, which is given by a 64-bit hash.
  void note(std::uint64_t hash, SlotNumber slot);

  // Returns 0 for no guess. After 32 misses in a row only every 64th lookup probes the table.
  SlotNumber guess(std::uint64_t hash) {
    if (table_.count == 0) return 0;
    if (failures_ >= kPatience && ++failures_ % kInterval != 0) return 0;
    const std::uint32_t tag = tag_of(hash);
    SlotNumber slot = table_.find(tag);
    if (slot == 0 && former_.count != 0) slot = former_.find(tag);
    failures_ = slot != 0 ? 0 : failures_ + 1;
    return slot;
  }

 private:
  static constexpr std::size_t kEntries = 8;
  static constexpr std::uint32_t kPatience = 32;
  static constexpr std::uint32_t kInterval = 64;

  struct Entry {
    std::uint32_t tag;
    SlotNumber slot;
  };
  // A bucket fills a line of the processor's cache.
  struct alignas(64) Bucket {
    std::array<Entry, kEntries> entries;
  };
  struct Table {
    ZeroedMemory memory;
    std::size_t count = 0;  // a power of two of buckets, or none
    std::size_t used = 0;   // entries

    [[nodiscard]] Bucket& bucket(std::size_t number) const {
      return reinterpret_cast<Bucket*>(memory.data())[number & (count - 1)];
    }
    // The lowest bits of the tag choose the bucket.
    [[nodiscard]] SlotNumber find(std::uint32_t tag) const {
      for (const Entry& entry : bucket(tag).entries) {
        if (entry.tag == tag) return entry.slot;
      }
      return 0;
    }
    void put(const Entry& entry);
  };

  static std::uint32_t tag_of(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }
  void enlarge();
  void move_bucket();

  Table table_;
  // Table of half the size from which entries are moved, a bucket with each noted key. Moving all
  // entries at once would make one operation, and all processes that wait to write, wait for
  // millions of entries.
  Table former_;
  std::size_t moved_ = 0;  // buckets moved
  std::size_t most_buckets_ = 0;
  std::uint32_t failures_ = 0;  // lookups without a guess in a row
};

}  // namespace marigold::inner::isam
