// Where a process has last seen the record with a primary key: a guess that spares an equal read
// the way through the tree when it is right, and costs one look when it is wrong. Whoever takes it
// looks whether the slot holds the key. Private to a process, and never needed: without memory
// there are fewer guesses.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "runtime/isam/layout.h"

namespace marigold::isam {

class SlotHints {
 public:
  // A key is given by a 64-bit hash.
  void note(std::uint64_t hash, SlotNumber slot) {
    // Three quarters full, hardly any bucket has to give an entry up.
    const bool full = 4 * used_ >= 3 * kEntries * buckets_.size();
    if (full && buckets_.size() < kMostBuckets) enlarge();
    if (!buckets_.empty()) put({.tag = tag_of(hash), .slot = slot});
  }

  // 0: no guess. Who asks for many keys in turn that nobody has seen is spared the look, most
  // times.
  SlotNumber guess(std::uint64_t hash) {
    if (buckets_.empty()) return 0;
    if (failures_ >= kPatience && ++failures_ % kInterval != 0) return 0;
    const std::uint32_t tag = tag_of(hash);
    for (const Entry& entry : bucket_of(tag).entries) {
      if (entry.tag != tag) continue;
      failures_ = 0;
      return entry.slot;
    }
    ++failures_;
    return 0;
  }

 private:
  // A bucket is a line of the processor's cache.
  static constexpr std::size_t kEntries = 8;
  static constexpr std::size_t kFirstBuckets = 64;
  static constexpr std::size_t kMostBuckets = std::size_t{1} << 18;  // 16 MiB
  static constexpr std::uint32_t kPatience = 32;
  static constexpr std::uint32_t kInterval = 64;

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

  void enlarge() {
    try {
      std::vector<Bucket> larger(std::max(kFirstBuckets, 2 * buckets_.size()));
      larger.swap(buckets_);
      used_ = 0;
      for (const Bucket& bucket : larger) {
        for (const Entry& entry : bucket.entries) {
          if (entry.slot != 0) put(entry);
        }
      }
    } catch (const std::bad_alloc&) {
    }
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
    if (place == kEntries) place = entry.tag >> 29;
    if (entries[place].slot == 0) ++used_;
    entries[place] = entry;
  }

  std::vector<Bucket> buckets_;  // a power of two of them, or none
  std::size_t used_ = 0;         // entries
  std::uint32_t failures_ = 0;   // guesses in turn that there were none of
};

}  // namespace marigold::isam
