// Where a process has last seen the record with a primary key: a guess that spares an equal read
// the way through the tree when it is right, and costs one look when it is wrong. Whoever takes it
// looks whether the slot holds the key. Private to a process, and never needed: without memory
// there are fewer guesses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "runtime/isam/layout.h"
#include "runtime/platform/zeroed_memory.h"

namespace marigold::isam {

class SlotHints {
 public:
  // The table grows with what is noted, up to room for a file of so many slots.
  void expect(std::uint64_t slots);
  // A key is given by a 64-bit hash.
  void note(std::uint64_t hash, SlotNumber slot);

  // 0: no guess. Who asks for many keys in turn that nobody has seen is spared the look, most
  // times.
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
  // A bucket is a line of the processor's cache.
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
    // Its lowest bits choose the bucket.
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
  // The table of half the size from which entries are moved, a bucket with each that is noted: all
  // at once would make one operation, and all who wait to write, wait for millions of entries.
  Table former_;
  std::size_t moved_ = 0;  // buckets of it
  std::size_t most_buckets_ = 0;
  std::uint32_t failures_ = 0;  // guesses in turn that there were none of
};

}  // namespace marigold::isam
