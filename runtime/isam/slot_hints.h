// Where a process has last seen the record with a primary key: a guess that spares an equal read
// the way through the tree when it is right, and costs one look when it is wrong. Whoever takes it
// looks whether the slot holds the key. Private to a process, and never needed: without memory
// there are fewer guesses.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "runtime/isam/layout.h"

namespace marigold::isam {

class SlotHints {
 public:
  // Makes room for so many slots, up to a bound, and keeps the guesses.
  void fit(std::uint64_t slots) {
    const std::uint64_t wanted = std::min(std::bit_ceil(slots / kEntries + 1), kMostBuckets);
    if (wanted <= buckets_.size()) return;
    try {
      std::vector<Bucket> larger(wanted);
      larger.swap(buckets_);
      for (const Bucket& bucket : larger) {
        for (const Entry& entry : bucket.entries)
          if (entry.slot != 0) put(entry);
      }
    } catch (const std::bad_alloc&) {
    }
  }

  // A key is given by a 64-bit hash.
  void note(std::uint64_t hash, SlotNumber slot) {
    if (!buckets_.empty()) put({.tag = tag_of(hash), .slot = slot});
  }

  // 0: no guess.
  [[nodiscard]] SlotNumber guess(std::uint64_t hash) const {
    if (buckets_.empty()) return 0;
    const std::uint32_t tag = tag_of(hash);
    for (const Entry& entry : bucket_of(tag).entries) {
      if (entry.tag == tag) return entry.slot;
    }
    return 0;
  }

 private:
  // A bucket is a line of the processor's cache.
  static constexpr std::size_t kEntries = 8;
  static constexpr std::uint64_t kMostBuckets = std::uint64_t{1} << 18;  // 16 MiB

  struct Entry {
    std::uint32_t tag = 0;
    SlotNumber slot = 0;
  };
  struct alignas(64) Bucket {
    std::array<Entry, kEntries> entries{};
  };

  // Its lowest bits choose the bucket, so that entries can be put into a larger table.
  static std::uint32_t tag_of(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }
  [[nodiscard]] const Bucket& bucket_of(std::uint32_t tag) const {
    return buckets_[tag & (buckets_.size() - 1)];
  }

  // In the place of what has the tag, or in a free one, or in that of another.
  void put(const Entry& entry) {
    auto& entries = buckets_[entry.tag & (buckets_.size() - 1)].entries;
    std::size_t place = kEntries;
    for (std::size_t i = kEntries; i-- > 0;) {
      if (entries[i].slot == 0) place = i;
    }
    for (std::size_t i = 0; i < kEntries; ++i) {
      if (entries[i].slot != 0 && entries[i].tag == entry.tag) place = i;
    }
    entries[place < kEntries ? place : entry.tag >> 29] = entry;
  }

  std::vector<Bucket> buckets_;
};

}  // namespace marigold::isam
