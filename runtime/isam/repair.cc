#include "runtime/isam/repair.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "runtime/isam/checks.h"
#include "runtime/isam/rebuild.h"
#include "runtime/isam/space.h"
#include "runtime/platform/file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/record_file.h"

namespace marigold::isam {
namespace {

// ---- Loss

struct Stock {
  std::uint64_t whole = 0;  // records
  std::uint64_t torn = 0;   // slots that held a record and hold no whole one
};

Stock count_slots(const File& file) {
  Stock stock;
  for (std::uint64_t number = 1; number <= file.slots; ++number) {
    const std::uint32_t state = reinterpret_cast<const SlotHeader*>(file.slot(number))->state;
    if (slot_has_survived(file, file.slot(number))) {
      ++stock.whole;
    } else if (state != kSlotUnused && state != kSlotFree && state != kSlotGone) {
      ++stock.torn;
    }
  }
  return stock;
}

std::uint64_t count_lost(const File& file, std::uint64_t known) {
  const Stock stock = count_slots(file);
  return std::max(stock.torn, known > stock.whole ? known - stock.whole : 0);
}

// How many records an index knows that cannot be opened any more. One of an earlier run of the
// machine may be older than the data file, and knows nothing for certain.
std::uint64_t known_records(const MappedFile& index, std::uint64_t file_id) {
  IndexHeader header;
  std::memcpy(&header, index.memory(), sizeof header);
  if (header.magic != kIndexMagic || header.version != kIndexVersion || header.file_id != file_id)
    return 0;
  const bool holds = header.state == kStateClean
                         ? header.check == header_check(header)
                         : header.state == kStateInUse && header.boot == boot_identity();
  return holds ? header.contents.record_count : 0;
}

// A copy of the data file as it is, before anything is changed.
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
  if (failed != 0) file_remove(kept.c_str());
  return failed;
}

// ---- Rebuilding

// An opened pair, of which the index knew so many records.
int rebuild_opened(File& file, const OpenRequest& request, bool has_index, std::uint64_t known,
                   IsRebuildReport& report, const IsWatch& watch) {
  // Records that are deleted and not settled would be back.
  if (const int failed = has_index ? slots_settle(file) : 0) return failed;
  const int failed = as_writer(file, [&] {
    report.lost = static_cast<std::int64_t>(count_lost(file, known));
    const int not_kept = report.lost > 0 ? keep_damaged(file, request, report.kept) : 0;
    if (not_kept != 0) return not_kept;
    // If it was damaged, nothing gone comes back.
    if (!has_index) settled_word(file) = settled_epoch(file) * kTwice;
    return rebuild_indexes(file, {.give_back = true, .watch = watch});
  });
  if (failed != 0) return failed;
  report.records = static_cast<std::int64_t>(file.contents().record_count);
  return file_close(file);
}

int locked(int failed) {
  return failed == EAGAIN ? kIsFileLocked : failed;
}

// A pair whose index is missing or damaged. The new index has a name of its own until it is whole:
// whatever stands in its place may not be an index at all, or a link to somebody else's file.
class BarePair {
 public:
  explicit BarePair(const OpenRequest& request)
      : request_(request), fresh_path_(new_file_name(request.index_path)) {
    for (const std::string& left : new_files_abandoned(request.index_path))
      file_remove(left.c_str());
  }
  ~BarePair() { file_remove(fresh_path_.c_str()); }
  BarePair(const BarePair&) = delete;
  BarePair& operator=(const BarePair&) = delete;

  int rebuild(IsRebuildReport& report, const IsWatch& watch) {
    int failed = open_data();
    if (failed == 0) failed = open_old_index();
    if (failed == 0) failed = make_index();
    if (failed == 0) failed = rebuild_opened(file_, request_, false, known_, report, watch);
    return failed == 0 ? file_replace(fresh_path_.c_str(), request_.index_path.c_str()) : failed;
  }

 private:
  // Its lock keeps others away who rebuild as well; there may be no index to hold.
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
    if (const int taken = locked(old_index_.lock(kUseLock, true))) return taken;
    if (!old_index_.is_still_at(path)) return kIsFileLocked;
    std::uint64_t space = 0;
    if (measure(old_index_, kPageSize, space) == 0)
      known_ = known_records(old_index_, header_.file_id);
    return 0;
  }

  int make_index() {
    file_.writable = true;
    file_.exclusive = true;
    file_.base = request_.base;
    // What is a link, or missing, has no permissions of its own; the records' are as strict as
    // wanted.
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

  const OpenRequest& request_;
  std::string fresh_path_;
  MappedFile old_index_;  // locked until the new one is in its place
  File file_;
  DataHeader header_{};
  std::uint64_t known_ = 0;
};

}  // namespace

int file_rebuild(const OpenRequest& request, IsRebuildReport& report, const IsWatch& watch) {
  {
    std::shared_ptr<File> file;
    const int failed = file_open(file, request);
    if (failed == 0)
      return rebuild_opened(*file, request, true, file->contents().record_count, report, watch);
    if (failed != kIsBadFile && failed != ENOENT) return failed;
  }  // it gives its locks back
  return BarePair(request).rebuild(report, watch);
}

}  // namespace marigold::isam
