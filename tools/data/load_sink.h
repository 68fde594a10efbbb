// SPDX-License-Identifier: GPL-3.0-or-later
// Destination of loaded records: a data file, which gets all of them or none.
#pragma once

#include <memory>
#include <string>

#include "tools/records/data_target.h"
#include "tools/records/record_text.h"

namespace marigold::inner {

// From its opening to its destructor the sink holds the file for this process alone, and signals
// that ask the process to end wait. Without a successful commit the file is unchanged.
class LoadSink {
 public:
  enum class Added {
    kTaken,
    kComesTwice,  // an earlier record has the primary key or number
    kExists,      // the file has such a record
    kTooFar,      // the number lies far beyond the end of the file
    kFailed,      // no record can be loaded
  };

  virtual ~LoadSink() = default;

  // Takes a record for writing. Gives the problem of a failure.
  virtual Added add(char* record, std::string& problem) = 0;

  // Writes all taken records. Returns false and the problem; then no record is written, or the
  // problem names the records that are.
  virtual bool commit(std::string& problem) = 0;

  // Counts of the taken records.
  std::int64_t loaded = 0;
  std::int64_t replaced = 0;
};

// Opens the file, or begins a new one. Returns null and the problem on a failure; the target
// outlives the result.
//
//   keyed file, missing or empty   a new pair of files is made beside it and installed
//   keyed file with records        records stay in memory and are then written one by one; if
//                                  one write fails, those before it are taken back
//   random file                    a copy is made beside it, changed and installed
//
// In a cluster, a new keyed file is put in place by the server; a random file is like a keyed one
// with records, and is made if it is missing.
struct LoadRules {
  bool replace = false;     // records that exist are replaced, not refused
  bool far_beyond = false;  // numbers of a random file may lie far beyond its end
};
std::unique_ptr<LoadSink> open_load_sink(DataTarget& target, const LoadRules& rules,
                                         std::string& problem);

}  // namespace marigold::inner
