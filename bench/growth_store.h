// SPDX-License-Identifier: GPL-3.0-or-later
// The stores that isam_growth.cc compares, each with the records of isam_workload.h and their three
// keys. A store ends the program at any failure.
#pragma once

#include <bit>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/isam_workload.h"

namespace marigold::inner::bench {

// Sums up a record's bytes, fast enough to run within the measured time.
inline std::uint64_t digest(const Record& record) {
  std::uint64_t sum = 0;
  for (const std::uint64_t word : std::bit_cast<std::array<std::uint64_t, 16>>(record.bytes))
    sum += word;
  return sum;
}

class GrowthStore {
 public:
  virtual ~GrowthStore() = default;
  virtual void insert(const Record& record) = 0;
  // Called after all changes; reads by this key (0 to 2) follow.
  virtual void read_by(int key) = 0;
  // Returns false without such a record.
  virtual bool get(const Key8& primary, Record& copy) = 0;
  virtual bool get_by_name(const Key20& name, Record& copy) = 0;
  // Copies every record in the order of the key of `read_by`, and appends its digest.
  virtual void walk(std::vector<std::uint64_t>& digests) = 0;
  // Called when no reads follow before the next `read_by`.
  virtual void change() = 0;
  // Gives the record with this primary key another name and date.
  virtual void replace(const Record& record) = 0;
  virtual void erase(const Key8& primary) = 0;
};

// Make a store in this directory, which is empty.
std::unique_ptr<GrowthStore> make_engine_growth(const std::string& directory, bool shared);
std::unique_ptr<GrowthStore> make_lmdb_growth(const std::string& directory);

// The lower bound for a store that keeps records in slots in the order of their arrival: the slots
// alone, in a mapped file, without an index.
class BareMemory {
 public:
  BareMemory(const std::string& directory, const std::vector<Record>& records);
  ~BareMemory();
  BareMemory(const BareMemory&) = delete;
  BareMemory& operator=(const BareMemory&) = delete;
  // Reads one record after the other, each when the copy of the last one is complete.
  void get(const std::vector<std::uint32_t>& places, std::vector<std::uint64_t>& digests) const;
  // Fetches records as far ahead, and as many together, as the engine's walks do.
  void scan(const std::vector<std::uint32_t>& places, std::vector<std::uint64_t>& digests) const;

 private:
  [[nodiscard]] const char* slot(std::uint32_t place) const;
  char* memory_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace marigold::inner::bench
