// SPDX-License-Identifier: GPL-3.0-or-later
// The places of a random file's records, and the locks of their numbers: in a file of the system, or
// in a database cluster.
//
// Results: 0, kIsLocked (another process has locked the number), or another number for data_fatal.
// Record buffers have the record length of the file.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "runtime/data/access/random_file.h"
#include "runtime/isam/common/isam.h"

namespace marigold::inner {

using RecordNumber = std::int64_t;  // 1 to 2^31 - 1

// Deletion markers, the last byte of a record.
inline constexpr char kLiveRecord = 0;
inline constexpr char kDeletedRecord = 1;

class RandomStore {
 public:
  RandomStore() = default;
  RandomStore(const RandomStore&) = delete;
  RandomStore& operator=(const RandomStore&) = delete;
  virtual ~RandomStore() = default;

  // False in a forked child that has inherited the object.
  [[nodiscard]] virtual bool is_open() const = 0;
  // Only the destructor may follow.
  virtual int close() = 0;

  // Whether nothing was ever written.
  virtual int is_empty(bool& empty) = 0;
  // Gives the highest number that was ever written, also of a deleted record; 0 for none.
  virtual int last(RecordNumber& number) = 0;

  // Read the record of a number, from 1, into the buffer; `found` if it is live. `lock` locks the
  // number first for this process, whether it has a record or not.
  virtual int fetch(RecordNumber number, bool lock, std::span<char> record, bool& found) = 0;
  // Reads the first live record from `number` on in steps of 1 or -1, and gives its number; 0 if
  // there is none.
  virtual int walk(RecordNumber& number, int step, std::span<char> record) = 0;

  // Writes the record at its number.
  virtual int write(RecordNumber number, std::span<const char> record) = 0;
  // Writes the record at a new number after all others, which goes into the record.
  virtual int append(std::span<char> record) = 0;
  // Deletes the record of a number. A missing record counts as deleted; kIsLocked all the same.
  virtual int remove(RecordNumber number, std::span<char> scratch) = 0;

  // Gives back all locks of numbers.
  virtual int release() = 0;

  // See random_bytes.
  virtual RecordFile* bytes() { return nullptr; }
};

struct RandomOpening {
  const DataFile& file;
  const std::string& path;
  bool exclusive = false;
  RandomOwner owner = RandomOwner::kProgram;
};

// Open a store, or make one and set `created`. kIsFileLocked: another process's lock prevents it.
int random_open_bytes(const RandomOpening& opening, std::unique_ptr<RandomStore>& store,
                      bool& created);
int random_open_table(const RandomOpening& opening, std::unique_ptr<RandomStore>& store,
                      bool& created);

}  // namespace marigold::inner
