// SPDX-License-Identifier: GPL-3.0-or-later
// Snapshots: the records of one moment between two changes, read while other processes go on.
//
// At the moment of a snapshot an epoch of deletions begins, and the sequence of the last record is
// noted. Records written later have a greater sequence. Records deleted later stay in their slots,
// gone in that epoch or a later one, because slots are kept and not reused as long as a snapshot is
// read. So the data file preserves the moment as long as the reading takes, and no process waits
// for it.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

class Snapshot {
 public:
  // Begins snapshots of the same moment: none of the files is changed meanwhile. All files differ.
  // On a failure none has begun.
  static int begin(std::span<Snapshot> snapshots, std::span<const std::shared_ptr<File>> files);

  Snapshot() = default;
  Snapshot(Snapshot&& other) noexcept;
  Snapshot& operator=(Snapshot&&) = delete;
  ~Snapshot() { end(); }
  // Ends the snapshot. The last one to end frees the kept slots.
  void end();

  [[nodiscard]] bool is_open() const { return file_ != nullptr; }
  [[nodiscard]] std::uint64_t record_count() const { return record_count_; }
  [[nodiscard]] std::uint64_t slot_count() const { return slot_count_; }
  // Slots read so far.
  [[nodiscard]] std::uint64_t at() const { return at_; }

  // Gives the next record in the order of the slots, or in that of order_by_writing: `slot` points to
  // an image of its slot, valid until the next call. 110 after the last one; 105 when a record of the
  // moment is damaged or missing.
  int next(const std::byte*& slot);
  // Starts over with the first record, in the order of the slots.
  void rewind();
  // Starts over with the record that was written first. Reads all slots to find the order, and keeps
  // four bytes for each record of a file whose slots have another one.
  int order_by_writing();
  [[nodiscard]] bool is_ordered() const { return ordered_; }

 private:
  int note(std::shared_ptr<File> noted);
  int fill();
  [[nodiscard]] std::uint64_t slots_to_read() const {
    return order_.empty() ? slot_count_ : order_.size();
  }
  int collect(std::uint64_t most, std::uint64_t& end);
  int take_slot(std::uint64_t number);

  std::shared_ptr<File> file_;
  std::uint64_t sequence_ = 0;  // of the last record that belongs to it
  std::uint32_t epoch_ = 0;     // epoch in which later deletions begin
  std::uint64_t slot_count_ = 0;
  std::uint64_t record_count_ = 0;
  std::uint64_t at_ = 0;
  std::uint64_t delivered_ = 0;
  std::vector<std::byte> images_;  // of slots found and not delivered yet
  std::vector<SlotNumber> found_;  // their numbers
  std::size_t next_image_ = 0;
  std::vector<SlotNumber> order_;  // of the slots to read; empty: their own
  bool ordered_ = false;
};

// Writes the snapshot as a closed pair of files of its own, which must not exist (17).
int snapshot_write(Snapshot& snapshot, const File& file, const OpenRequest& request,
                   const IsWatch& watch);

}  // namespace marigold::inner::isam
