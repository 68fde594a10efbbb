// SPDX-License-Identifier: GPL-3.0-or-later
// Where loaded records go: into a data file, all of them or none.
#pragma once

#include <memory>
#include <string>

#include "tools/records/data_target.h"
#include "tools/records/record_text.h"

namespace marigold {

// The file is taken for this process alone, and signals that ask the process to end wait, from
// opening until the object's end. Without a commit that has succeeded the file is as it was.
class LoadSink {
 public:
  enum class Added {
    kTaken,
    kComesTwice,  // an earlier record has the primary key or number
    kExists,      // the file has it
    kTooFar,      // the number lies far beyond the end of the file
    kFailed,      // nothing can be loaded
  };

  virtual ~LoadSink() = default;

  // Takes a record to be written. For a failure the problem.
  virtual Added add(char* record, std::string& problem) = 0;

  // Writes everything that was taken. False with the problem; then nothing has been written, or the
  // problem says what.
  virtual bool commit(std::string& problem) = 0;

  // Of the records that were taken.
  std::int64_t loaded = 0;
  std::int64_t replaced = 0;
};

// Opens the file, or begins a new one. Null with the problem; the target outlives the result.
//
//   keyed file, none there or empty   a new pair of files is made beside it and put in its place
//   keyed file with records           they are kept in memory and then written one by one; those
//                                     that are written when one fails are taken back
//   random file                       a copy is made beside it, changed, and put in its place
struct LoadRules {
  bool replace = false;     // records that exist are replaced and not refused
  bool far_beyond = false;  // numbers of a random file may lie far beyond its end
};
std::unique_ptr<LoadSink> open_load_sink(DataTarget& target, const LoadRules& rules,
                                         std::string& problem);

}  // namespace marigold
