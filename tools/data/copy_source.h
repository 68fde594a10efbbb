// SPDX-License-Identifier: GPL-3.0-or-later
// The records of data files at one moment, in an order in which a copy can be written.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/records/data_target.h"

namespace marigold::inner {

// The records of one file. Those of a keyed file come in the order in which they were written,
// without placeholders. Those of a random file are all places that were ever written, each with its
// number, also the deleted ones, in any order.
class CopiedRecords {
 public:
  CopiedRecords() = default;
  CopiedRecords(const CopiedRecords&) = delete;
  CopiedRecords& operator=(const CopiedRecords&) = delete;
  virtual ~CopiedRecords() = default;

  enum class Outcome { kRecord, kEnd, kFailed };
  virtual Outcome next(char* record, std::string& reason) = 0;
  // About as many come.
  [[nodiscard]] virtual std::int64_t count() const = 0;
};

class CopySource {
 public:
  virtual ~CopySource() = default;
  // Returns the records of a file, once.
  virtual std::unique_ptr<CopiedRecords> records(std::size_t file) = 0;
};

// Opens the files, all of which lie in the same data directory, and takes the moment. Returns null
// and the problem; the targets outlive the result. Programs may go on using the files, except that
// a random file of a directory must not change for as long as two readings take.
std::unique_ptr<CopySource> open_copy_source(std::vector<DataTarget>& files, std::string& problem);

}  // namespace marigold::inner
