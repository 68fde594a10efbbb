// The records of one moment between two changes, read while others go on changing the file.
//
// At the moment an epoch of deletions begins, and the sequence of the last record is noted. Records
// written later have a greater sequence; records deleted later stay in their slots, gone in that
// epoch or a later one, because slots are kept and not taken again as long as a snapshot is read.
// So the moment is found in the data file for as long as that takes, and nobody waits for it.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "runtime/isam/file.h"
#include "runtime/isam/isam.h"

namespace marigold::isam {

class Snapshot {
 public:
  // Of each file the same moment: none of them is changed while it begins. The files are different
  // ones. On a failure none has begun.
  static int begin(std::span<Snapshot> snapshots, std::span<const std::shared_ptr<File>> files);

  Snapshot() = default;
  Snapshot(Snapshot&& other) noexcept;
  Snapshot& operator=(Snapshot&&) = delete;
  ~Snapshot() { end(); }
  // Gives the kept slots back when it is the last one.
  void end();

  [[nodiscard]] bool is_open() const { return file_ != nullptr; }
  [[nodiscard]] std::uint64_t record_count() const { return record_count_; }
  [[nodiscard]] std::uint64_t slot_count() const { return slot_count_; }
  // Slots looked at so far.
  [[nodiscard]] std::uint64_t at() const { return at_; }

  // The next record in the order of the slots: `slot` points to an image of its slot that holds
  // until the next call. 110 behind the last one; 105 when a record of the moment is damaged or
  // missing.
  int next(const std::byte*& slot);
  // From the first one again.
  void rewind();

 private:
  int note(std::shared_ptr<File> noted);
  int fill();
  int collect(std::uint64_t most, std::uint64_t& end);
  int take_slot(std::uint64_t number);

  std::shared_ptr<File> file_;
  std::uint64_t sequence_ = 0;  // of the last record that belongs to it
  std::uint32_t epoch_ = 0;     // in which deletions begin that came later
  std::uint64_t slot_count_ = 0;
  std::uint64_t record_count_ = 0;
  std::uint64_t at_ = 0;
  std::uint64_t delivered_ = 0;
  std::vector<std::byte> images_;  // of slots that were found, and are still to be delivered
  std::size_t next_image_ = 0;
};

// Writes the snapshot as a closed pair of files of its own, which must not be there (17).
int snapshot_write(Snapshot& snapshot, const File& file, const OpenRequest& request,
                   const IsWatch& watch);

}  // namespace marigold::isam
