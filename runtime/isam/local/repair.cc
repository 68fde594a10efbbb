// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/repair.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/pairing.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/space.h"
#include "runtime/isam/local/use_locks.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/record_file.h"

namespace marigold::inner::isam {
namespace {

// ---- Loss

// Slots that held a record and hold no whole one, or records that the index knew and the data file
// lacks, whichever is more.
std::uint64_t count_lost(const RebuildStock& stock, std::uint64_t known) {
  return std::max(stock.torn, known > stock.survivors ? known - stock.survivors : 0);
}

// Number of records known to an index that cannot be opened any more. An index of an earlier run of
// the machine, or of another state of the data, knows nothing for certain.
std::uint64_t known_records(const MappedFile& index, const DataHeader& data, const DataMark& mark) {
  IndexHeader header;
  std::memcpy(&header, index.memory(), sizeof header);
  if (header.magic != kIndexMagic || header.version < kUnstampedIndexVersion ||
      header.version > kIndexVersion || header.file_id != data.file_id)
    return 0;
  const bool clean = mark.stamp == header.clean_stamp && header.state != kStateRebuild;
  const bool holds = clean ? header.checksum == index_header_checksum(header)
                           : mark.stamp == header.use_stamp && header.state == kStateInUse &&
                                 header.boot == boot_identity();
  return holds ? header.contents.record_count : 0;
}

// Copies the data file before anything is changed.
int write_copy(const File& file, const OpenRequest& request, FileWriter& copy) {
  constexpr std::uint64_t kPiece = 1 << 20;
  for (std::uint64_t at = 0; at < file.data_space; at += kPiece) {
    const std::uint64_t length = std::min(kPiece, file.data_space - at);
    const auto* bytes = reinterpret_cast<const char*>(file.data.memory() + at);
    if (const int failed = copy.write({bytes, length})) return failed;
  }
  if (const int failed = copy.take_access(request.data_path.c_str())) return failed;
  if (const int failed = copy.sync()) return failed;
  return copy.close();
}

int keep_damaged(const File& file, const OpenRequest& request, std::string& kept) {
  constexpr int kMostCopies = 1000;
  const std::string stem = request.data_path.substr(0, request.data_path.size() - 4);
  FileWriter copy;
  int failed = EEXIST;
  for (int number = 1; failed == EEXIST && number <= kMostCopies; ++number) {
    kept = stem + ".damaged" + (number == 1 ? "" : "-" + std::to_string(number)) + ".dat";
    failed = copy.make(kept.c_str(), NewFileAccess::kOwnerOnly);
  }
  if (failed != 0) return failed;
  failed = write_copy(file, request, copy);
  if (failed == 0) failed = file_sync_directory(kept.c_str());
  static_cast<void>(copy.close());
  if (failed != 0) file_remove(kept.c_str());
  return failed;
}

// ---- Rebuilding

int locked(int failed) {
  return failed == EAGAIN ? kIsFileLocked : failed;
}

// The new index has a name of its own until it is whole. If it cannot be finished, everything stays
// as it was. The file under the old name may be no index at all, or a link to somebody else's file.
class FreshIndex {
 public:
  // `opened`: the pair with its old index, if that could be opened; no slot is gone in it.
  FreshIndex(const OpenRequest& request, std::shared_ptr<File> opened)
      : request_(request),
        fresh_path_(new_file_name(request.index_path)),
        opened_(std::move(opened)) {
    for (const std::string& left : new_files_abandoned(request.index_path))
      file_remove(left.c_str());
  }
  ~FreshIndex() {
    file_.index.close();
    file_remove(fresh_path_.c_str());
  }
  FreshIndex(const FreshIndex&) = delete;
  FreshIndex& operator=(const FreshIndex&) = delete;

  int rebuild(IsRebuildReport& report, const IsWatch& watch) {
    int failed = open_data();
    if (failed == 0) failed = opened_ == nullptr ? open_old_index() : 0;
    if (failed == 0) failed = make_index();
    if (failed == 0) failed = fill_index(report, watch);
    if (failed != 0) return failed;
    report.records = static_cast<std::int64_t>(file_.contents().record_count);
    failed = give_back_space(file_);
    const int not_closed = file_close(file_);
    return failed != 0 ? failed : not_closed;
  }

 private:
  // The lock keeps other rebuilds away; there may be no index to lock.
  int open_data() {
    if (const int failed = file_.data.open(request_.data_path.c_str(), FileAccess::kReadWrite))
      return failed;
    if (const int failed = locked(file_.data.lock(kUseLock, true))) return failed;
    if (!file_.data.is_still_at(request_.data_path.c_str())) return kIsFileLocked;
    return find_data_header(file_, header_);
  }

  int open_old_index() {
    const char* path = request_.index_path.c_str();
    const int failed = old_index_.open(path, FileAccess::kReadWrite);
    if (failed == ENOENT) return 0;
    if (failed != 0) return failed;
    if (const int taken = take_closed_index(old_index_)) return taken;
    if (!old_index_.is_still_at(path)) return kIsFileLocked;
    std::uint64_t space = 0;
    if (measure(old_index_, kPageSize, space) == 0)
      known_ = known_records(old_index_, header_, data_mark(file_));
    old_index_.unmap();
    return 0;
  }

  int make_index() {
    if (opened_ != nullptr) known_ = opened_->contents().record_count;
    file_.writable = true;
    file_.exclusive = true;
    file_.base = request_.base;
    // An index that is missing, or a link, has no permissions of its own; those of the data file
    // are as strict as wanted.
    RecordFile present;
    const bool own = present.open_own(request_.index_path.c_str(), false) == 0;
    const char* like = (own ? request_.index_path : request_.data_path).c_str();
    if (const int failed = file_.index.create(fresh_path_.c_str(), NewFileAccess::kOwnerOnly))
      return failed;
    if (const int failed = locked(file_.index.lock(kUseLock, true))) return failed;
    if (const int failed = file_.index.take_access(like)) return failed;
    if (const int failed = write_index_header(file_, header_.file_id)) return failed;
    set_shapes(file_, header_);
    return note_space(file_);
  }

  // The data file is only read until the last step.
  int fill_index(IsRebuildReport& report, const IsWatch& watch) {
    Rebuild rebuild(file_, {.give_back = true, .watch = watch});
    RebuildStock stock;
    if (const int failed = rebuild.make_trees(stock)) return failed;
    report.lost = static_cast<std::int64_t>(count_lost(stock, known_));
    int failed = report.lost > 0 ? keep_damaged(file_, request_, report.kept) : 0;
    // From here on the old index belongs to another state of the data.
    if (failed == 0) failed = put_in_use(file_, kStateInUse);
    if (failed == 0) failed = install(rebuild);
    if (failed != 0 && !report.kept.empty()) file_remove(report.kept.c_str());
    if (failed != 0) report = {};
    return failed;
  }

  // Chains the free slots for the new index. If the old index is found under its name after that,
  // it must be rebuilt.
  int install(Rebuild& rebuild) {
    change_step();
    if (opened_ != nullptr) {
      opened_->header().state = kStateRebuild;  // keeps it from being closed as clean
    } else {
      // A damaged word must not bring deleted records back.
      settled_word(file_) = settled_epoch(file_) * kTwice;
    }
    change_step();
    if (opened_ != nullptr) file_unmap(*opened_);  // its locks last until the new one is there
    const int failed = replace_index(rebuild);
    if (failed != 0 && opened_ != nullptr) static_cast<void>(file_map_again(*opened_));
    return failed;
  }

  int replace_index(Rebuild& rebuild) {
    if (const int failed = rebuild.mark_slots()) return failed;
    change_step();
    if (const int failed = file_replace(fresh_path_.c_str(), request_.index_path.c_str()))
      return failed;
    change_step();
    return 0;
  }

  const OpenRequest& request_;
  std::string fresh_path_;
  std::shared_ptr<File> opened_;  // holds the locks of the old index
  MappedFile old_index_;          // locked until the new index is installed
  File file_;
  DataHeader header_{};
  std::uint64_t known_ = 0;
};

}  // namespace

int file_rebuild(const OpenRequest& request, IsRebuildReport& report, const IsWatch& watch) {
  std::shared_ptr<File> opened;
  int failed = file_open(opened, request);
  if (failed != 0) {
    if (failed != kIsBadFile && failed != ENOENT) return failed;
    opened.reset();  // gives the locks back
    return FreshIndex(request, nullptr).rebuild(report, watch);
  }
  // Records whose deletion is not settled would come back.
  failed = slots_settle(*opened);
  if (failed == 0) failed = FreshIndex(request, opened).rebuild(report, watch);
  // Closes the old pair, whose index is still under its name.
  if (failed != 0) static_cast<void>(file_close(*opened));
  return failed;
}

}  // namespace marigold::inner::isam
