// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/snapshot.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <new>
#include <utility>

#include "runtime/isam/common/reason.h"
#include "runtime/isam/local/change.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/isam/local/record.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/space.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner::isam {
namespace {

// Slots read between two looks at the count of changes.
constexpr std::uint64_t kSlotsAtOnce = 64;
// Bytes read in one turn as the writer, when another process changes the file all the time: a tenth
// of a millisecond or so, which is less than getting the turn takes.
constexpr std::uint64_t kBytesInATurn = 256 << 10;

// Holds the writer locks of several files, taken in the given order.
class WriterOfAll {
 public:
  WriterOfAll() = default;
  WriterOfAll(const WriterOfAll&) = delete;
  WriterOfAll& operator=(const WriterOfAll&) = delete;
  ~WriterOfAll() {
    for (File* file : files_)
      writer_end(*file);
  }

  int become(std::span<File* const> files) {
    files_.reserve(files.size());
    for (File* file : files) {
      if (const int failed = writer_begin(*file)) return failed;
      files_.push_back(file);
    }
    return 0;
  }

 private:
  std::vector<File*> files_;
};

// Does the work that waits for the disk before the moment: then no slot is ripe, and no change is
// the first one. The settler remains so until the moment has come.
int prepare(File& file, Settler& settler) {
  if (!file.writable) return refuse(EACCES, "a snapshot needs permission to write the file");
  if (file.header().state != kStateInUse) {
    if (const int failed = file_put_in_use(file)) return failed;
  }
  if (const int failed = wait_to_settle(settler)) return failed;
  return file.contents().ripe.count > 0 ? settle_ripe(file) : 0;
}

// Returns the files in an order common to all processes, since two that lock in different orders
// would wait for each other.
std::vector<File*> in_common_order(std::span<const std::shared_ptr<File>> files) {
  std::vector<File*> order;
  for (const std::shared_ptr<File>& file : files)
    order.push_back(file.get());
  std::ranges::sort(order, {}, [](const File* file) {
    return std::pair(file->identity.device, file->identity.number);
  });
  return order;
}

}  // namespace

Snapshot::Snapshot(Snapshot&& other) noexcept
    : file_(std::move(other.file_)),
      sequence_(other.sequence_),
      epoch_(other.epoch_),
      slot_count_(other.slot_count_),
      record_count_(other.record_count_),
      at_(other.at_),
      delivered_(other.delivered_),
      images_(std::move(other.images_)),
      found_(std::move(other.found_)),
      next_image_(other.next_image_),
      order_(std::move(other.order_)),
      ordered_(other.ordered_) {}

int Snapshot::begin(std::span<Snapshot> snapshots, std::span<const std::shared_ptr<File>> files) {
  const std::vector<File*> order = in_common_order(files);
  std::deque<Settler> settlers;
  for (File* file : order) {
    if (const int failed = prepare(*file, settlers.emplace_back(*file))) return failed;
  }
  int failed = 0;
  {
    WriterOfAll writer;
    failed = writer.become(order);
    for (std::size_t i = 0; failed == 0 && i < files.size(); ++i)
      failed = snapshots[i].note(files[i]);
  }
  for (File* file : order)
    failed = unless_hit(*file, failed);
  if (failed == 0) return 0;
  for (Snapshot& snapshot : snapshots)
    snapshot.end();
  return failed;
}

// The caller is settler and writer.
int Snapshot::note(std::shared_ptr<File> noted) {
  File& file = *noted;
  if (const int failed = make_visible(file)) return failed;
  if (!file.exclusive && file.snapshots == 0) {
    if (const int failed = file.index.lock(kSnapshotLock, false))
      return failed == EAGAIN ? kIsFileLocked : failed;
  }
  ++file.snapshots;
  file_ = std::move(noted);
  if (const int failed = file.contents().gone.count > 0 ? begin_epoch(file) : 0) return failed;
  const Contents& contents = file.contents();
  sequence_ = contents.sequence;
  epoch_ = contents.epoch;
  slot_count_ = contents.slot_count;
  record_count_ = contents.record_count;
  return 0;
}

// A failure here is made up for when the file is settled or closed the next time. A forked process
// has inherited the object, but not the file.
void Snapshot::end() {
  const std::shared_ptr<File> file = std::move(file_);
  if (file == nullptr || --file->snapshots > 0 || !file->index.is_open()) return;
  if (!file->exclusive) file->index.unlock(kSnapshotLock);
  static_cast<void>(slots_free_kept(*file));
}

void Snapshot::rewind() {
  at_ = 0;
  delivered_ = 0;
  images_.clear();
  found_.clear();
  next_image_ = 0;
  order_.clear();
  ordered_ = false;
}

int Snapshot::take_slot(std::uint64_t number) {
  const std::byte* slot = file_->slot(number);
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  if (header->state != kSlotLive && header->state != kSlotGone) return 0;
  if (sequence_of(*header) > sequence_) return 0;
  const std::uint32_t deleted = header->checksum ^ slot_checksum(*file_, slot);  // 0: not deleted
  const bool later = deleted - epoch_ <= file_->contents().epoch - epoch_;
  if (header->state == kSlotGone && !later) return 0;
  if (header->state == kSlotLive && deleted != 0) return refuse(kIsBadFile, "a record is damaged");
  images_.insert(images_.end(), slot, slot + sizeof(SlotHeader) + file_->record_length);
  found_.push_back(static_cast<SlotNumber>(number));
  return 0;
}

// Collects the records of the next slots, at most `most`; `end` is the last slot.
int Snapshot::collect(std::uint64_t most, std::uint64_t& end) {
  images_.clear();
  found_.clear();
  end = std::min(at_ + most, slots_to_read());
  for (std::uint64_t at = at_; at < end; ++at) {
    if (const int failed = take_slot(order_.empty() ? at + 1 : order_[at])) return failed;
  }
  return 0;
}

// Collects the records of the next slots as they stood between two changes.
int Snapshot::fill() {
  constexpr int kAttempts = 4;
  int failed = EAGAIN;
  std::uint64_t end = 0;
  for (int attempt = 0; failed == EAGAIN && attempt < kAttempts; ++attempt) {
    std::uint64_t changes = 0;
    if (const int not_begun = read_begin(*file_, changes)) return not_begun;
    failed = collect(kSlotsAtOnce, end);
    if (!read_was_whole(*file_, changes)) failed = EAGAIN;
  }
  if (failed == EAGAIN) {
    const std::uint64_t most = std::max(kSlotsAtOnce, kBytesInATurn / file_->slot_size);
    failed = as_writer(*file_, [&] { return collect(most, end); });
  }
  if (failed == 0) at_ = end;
  next_image_ = 0;
  return failed;
}

int Snapshot::next(const std::byte*& slot) {
  while (next_image_ == images_.size()) {
    if (at_ == slots_to_read()) {
      if (delivered_ == record_count_) return kIsEndOfFile;
      return refuse(kIsBadFile, "records are damaged or missing");
    }
    if (const int failed = fill()) return failed;
  }
  slot = images_.data() + next_image_;
  next_image_ += sizeof(SlotHeader) + file_->record_length;
  ++delivered_;
  return 0;
}

// A file from which nothing was deleted has its slots in the order of writing.
int Snapshot::order_by_writing() {
  rewind();
  std::vector<std::pair<std::uint64_t, SlotNumber>> written;
  const std::size_t image_size = sizeof(SlotHeader) + file_->record_length;
  const std::byte* slot = nullptr;
  int failed = 0;
  while ((failed = next(slot)) == 0)
    written.emplace_back(record_sequence(slot), found_[next_image_ / image_size - 1]);
  if (failed != kIsEndOfFile) return failed;
  rewind();
  ordered_ = true;
  if (std::ranges::is_sorted(written)) return 0;
  std::ranges::sort(written);
  order_.reserve(written.size());
  for (const auto& [sequence, number] : written)
    order_.push_back(number);
  return 0;
}

namespace {

// Stores the records one after the other, each with its sequence.
int append_all(Snapshot& snapshot, File& out, const IsWatch& watch) {
  constexpr std::uint64_t kSeldom = 4096;
  const std::byte* slot = nullptr;
  std::uint64_t number = 0;
  int failed = 0;
  while ((failed = snapshot.next(slot)) == 0) {
    if (const int full = grow(out.data, kDataStart + ++number * out.slot_size, out.data_space))
      return full;
    if (const int full = number > out.slots ? note_space(out) : 0) return full;
    record_store(out, static_cast<SlotNumber>(number),
                 reinterpret_cast<const char*>(slot + sizeof(SlotHeader)), record_sequence(slot));
    if (watch && number % kSeldom == 0) watch(snapshot.at(), 2 * snapshot.slot_count());
  }
  return failed == kIsEndOfFile ? 0 : failed;
}

int fill_pair(Snapshot& snapshot, const File& file, File& out, const IsWatch& watch) {
  if (const int failed = file_write_keys(out, file.trees)) return failed;
  if (const int failed = append_all(snapshot, out, watch)) return failed;
  IsWatch second_half;
  if (watch)
    second_half = [&watch](std::uint64_t done, std::uint64_t all) { watch(all + done, 2 * all); };
  return as_writer(out,
                   [&] { return rebuild_indexes(out, {.give_back = true, .watch = second_half}); });
}

}  // namespace

int snapshot_write(Snapshot& snapshot, const File& file, const OpenRequest& request,
                   const IsWatch& watch) {
  File out;
  if (const int failed = file_build(out, request, file.record_length, file.trees.front().key))
    return failed;
  int failed = 0;
  try {
    failed = fill_pair(snapshot, file, out, watch);
  } catch (const std::bad_alloc&) {
    failed = kIsNoMemory;
  }
  const int not_closed = file_close(out);
  if (failed == 0) failed = not_closed;
  if (failed == 0) return 0;
  file_remove(request.data_path.c_str());
  file_remove(request.index_path.c_str());
  return failed;
}

}  // namespace marigold::inner::isam
