// SPDX-License-Identifier: GPL-3.0-or-later
// The work of isam_growth.cc on a store, and its expected results.
#pragma once

#include <vector>

#include "bench/isam_workload.h"

namespace marigold::inner::bench {

// Keys are in the order of their use, so that a driver does not wait for memory when it walks them.
// Digests are those of growth_store.h, in the order of the results.
class GrowthModel {
 public:
  explicit GrowthModel(std::uint64_t count);

  [[nodiscard]] const Workload& workload() const { return workload_; }
  [[nodiscard]] const std::vector<Key8>& gets() const { return gets_; }
  [[nodiscard]] const std::vector<Key8>& deletes() const { return deletes_; }
  // Returns the numbers of the records in the order of the primary key.
  [[nodiscard]] std::vector<std::uint32_t> in_order() const;

  // Restores the records to their state before all changes.
  void reset();
  void replace_all();
  void delete_all();

  [[nodiscard]] bool gets_are_right(const std::vector<std::uint64_t>& digests) const;
  // Any record of a name is right.
  [[nodiscard]] bool names_are_right(const std::vector<std::uint64_t>& digests) const;
  // Every record must occur once, in the order of the key, equal keys in any order.
  [[nodiscard]] bool walk_is_right(int key, std::vector<std::uint64_t> digests) const;

 private:
  struct Entry {
    std::uint64_t high;  // first eight bytes of the key, as a number that compares like them
    std::uint32_t low;   // next four bytes; the rest of a name is blank
    std::uint32_t number;
    [[nodiscard]] bool has_key_of(const Entry& other) const {
      return high == other.high && low == other.low;
    }
    auto operator<=>(const Entry&) const = default;
  };
  static Entry entry_of(int key, const char* bytes, std::uint32_t number);
  [[nodiscard]] std::vector<Entry> sorted(int key) const;

  Workload workload_;
  std::vector<Key8> gets_;
  std::vector<Key8> deletes_;
  std::vector<const Record*> now_;  // by number; null for a deleted record
};

}  // namespace marigold::inner::bench
