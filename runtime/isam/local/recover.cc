// SPDX-License-Identifier: GPL-3.0-or-later
// The checksum of a slot starts from the pair's number, which stood in both copies of the header.
// The index holds the number as well, and a header that is damaged elsewhere may still have it; the
// checksums of slots show whether a number is right. They do not give the number: each is 32 bits
// that were multiplied and folded out of 64, and trying all numbers would take centuries. Without
// the number, a slot counts as live if its state says so.
//
// The disk may be failing. So the old file is read by calls, which return an error where mapped
// memory would raise a signal, and only the slots that cannot be read are lost.

#include "runtime/isam/local/recover.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

#include "runtime/isam/common/checksum.h"
#include "runtime/isam/local/change.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/data_headers.h"
#include "runtime/isam/local/fresh_pair.h"
#include "runtime/isam/local/repair.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/use_locks.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::inner::isam {
namespace {

// Slots that fit a wrong number by chance: one in so many.
constexpr std::uint64_t kChance = std::uint64_t{1} << 20;

// ---- Keeping the old file

int copy_file(RecordFile& from, const std::string& like, const std::string& to) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  FileWriter copy;
  if (const int failed = copy.make(to.c_str(), NewFileAccess::kOwnerOnly)) return failed;
  std::vector<char> piece(kPiece);
  std::uint64_t at = 0;
  int failed = 0;
  for (std::size_t count = 1; failed == 0 && count > 0; at += count) {
    failed = from.read(at, piece, count);
    if (failed == 0) failed = copy.write({piece.data(), count});
  }
  if (failed == 0) failed = copy.take_access(like.c_str());
  if (failed == 0) failed = copy.sync();
  const int not_closed = copy.close();
  if (failed == 0) failed = not_closed;
  if (failed != 0) file_remove(to.c_str());
  return failed;
}

// Gives the data file a second name, under which it stays; makes a copy if the file system has no
// links.
int keep_old(RecordFile& file, const std::string& path, std::string& kept) {
  constexpr int kMostCopies = 1000;
  const std::string stem = path.ends_with(".dat") ? path.substr(0, path.size() - 4) : path;
  int failed = EEXIST;
  for (int number = 1; failed == EEXIST && number <= kMostCopies; ++number) {
    kept = stem + ".damaged" + (number == 1 ? "" : "-" + std::to_string(number)) + ".dat";
    failed = file_link(path.c_str(), kept.c_str());
    if (failed != 0 && failed != EEXIST) failed = copy_file(file, path, kept);
  }
  return failed;
}

// ---- Reading the old file

class OldSlots {
 public:
  OldSlots(RecordFile& file, std::uint32_t slot_size) : file_(file), size_(slot_size) {}

  int measure() {
    if (const int failed = file_.size(bytes_)) return failed;
    bytes_ -= std::min(bytes_, kDataStart);
    return 0;
  }
  [[nodiscard]] std::uint64_t count() const { return bytes_ / size_; }

  // Returns the slot, valid until the next call; none when the disk cannot read it.
  std::optional<std::span<const std::byte>> at(std::uint64_t number) {
    const std::uint64_t offset = (number - 1) * size_;
    if (offset < first_ || offset + size_ > first_ + held_) fetch(offset);
    if (offset + size_ > first_ + held_) return {};
    return std::as_bytes(std::span(piece_)).subspan(offset - first_, size_);
  }

  // Whether the end of the file cuts a slot that was used.
  bool has_cut_slot() {
    const std::uint64_t offset = count() * size_;
    std::array<char, sizeof(SlotHeader)> bytes{};
    std::size_t held = 0;
    if (file_.read(kDataStart + offset, bytes, held) != 0) return false;
    return std::any_of(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(held),
                       [](char byte) { return byte != 0; });
  }

 private:
  void fetch(std::uint64_t offset) {
    constexpr std::uint64_t kPiece = std::uint64_t{1} << 20;
    first_ = offset;
    for (const std::uint64_t wanted :
         {std::max<std::uint64_t>(kPiece, size_), std::uint64_t{size_}}) {
      piece_.resize(wanted);
      held_ = 0;
      if (file_.read(kDataStart + offset, piece_, held_) == 0) return;
      held_ = 0;
    }
  }

  RecordFile& file_;
  std::uint64_t size_;
  std::uint64_t bytes_ = 0;  // of all slots
  std::vector<char> piece_;
  std::uint64_t first_ = 0;  // offset of the piece
  std::size_t held_ = 0;     // bytes of it
};

SlotHeader header_of(std::span<const std::byte> slot) {
  SlotHeader header;
  std::memcpy(&header, slot.data(), sizeof header);
  return header;
}

// ---- Knowledge of deletions

// Evidence for deletions that a slot alone does not settle.
struct Deletions {
  bool known = false;                    // a clean index, or one of this run: gone is gone
  std::optional<std::uint32_t> settled;  // deletions up to this epoch are final
};

class Recovery {
 public:
  Recovery(const OpenRequest& request, std::uint32_t record_length,
           std::span<const KeyDescription> keys)
      : request_(request), record_length_(record_length), fresh_(request) {
    for (const KeyDescription& key : keys)
      trees_.push_back(tree_shape(key));
    slot_size_ = (record_length + static_cast<std::uint32_t>(sizeof(SlotHeader)) + 3) / 4 * 4;
  }

  // Locks both files, so that no other process has them.
  int open() {
    if (const int failed = data_.open(request_.data_path.c_str(), true)) return failed;
    const int locked = data_.lock(kUseLock, 1, true);
    if (locked != 0) return locked == EAGAIN ? kIsFileLocked : locked;
    if (!data_.is_still_at(request_.data_path.c_str())) return kIsFileLocked;
    const int failed = take_index();
    if (failed != 0 && failed != ENOENT) return failed;
    read_start(data_, head_);
    read_start(index_, index_head_);
    return 0;
  }
  [[nodiscard]] std::optional<DataHeader> header() const { return whole_header(head_); }

  int recover(IsRecoverReport& report, const IsWatch& watch) {
    OldSlots slots(data_, slot_size_);
    if (const int failed = slots.measure()) return failed;
    find_number(slots);
    read_settled_epoch();
    const std::uint64_t known = look_at_index();
    report = {};
    report.checked = has_id_ || live_ == 0;
    int failed = fresh_.create(record_length_, trees_, 0);
    const HalvesWatch halves(watch, trees_.size());
    if (failed == 0) failed = collect(slots, halves, report);
    if (failed == 0 && !is_plausible(report, known)) failed = kIsBadFile;
    if (failed == 0) failed = fresh_.finish(halves.for_trees());
    if (failed != 0) return failed;
    report.records = static_cast<std::int64_t>(fresh_.records());
    report.superseded = static_cast<std::int64_t>(fresh_.added() - fresh_.records());
    if (known > fresh_.added())
      report.lost = std::max(report.lost, static_cast<std::int64_t>(known - fresh_.added()));
    return install(report);
  }

 private:
  int take_index() {
    const char* path = request_.index_path.c_str();
    if (const int failed = index_.open(path, true)) return failed;
    if (const int failed = take_closed_index(index_)) return failed;
    return index_.is_still_at(path) ? 0 : kIsFileLocked;
  }

  // Reads the start of a file. Bytes that the disk cannot read count as zeros.
  template <std::size_t kBytes>
  static void read_start(RecordFile& file, std::array<std::byte, kBytes>& bytes) {
    std::size_t held = 0;
    const std::span<char> into(reinterpret_cast<char*>(bytes.data()), bytes.size());
    if (file.is_open() && file.read(0, into, held) != 0) bytes.fill(std::byte{0});
  }

  // ---- The pair's number

  [[nodiscard]] std::uint32_t checksum_of(std::span<const std::byte> slot, std::uint64_t id) const {
    constexpr std::size_t kFirst = offsetof(SlotHeader, sequence);
    return checksum(slot.subspan(kFirst, sizeof(SlotHeader) - kFirst + record_length_), id);
  }

  // Finds the candidate for the pair's number that fits the most slots.
  void find_number(OldSlots& slots) {
    std::array<std::uint64_t, 3> numbers{};
    std::array<std::uint64_t, 3> fits{};
    std::memcpy(&numbers[0], index_head_.data() + offsetof(IndexHeader, file_id), 8);
    std::memcpy(&numbers[1], head_.data() + kDataHeaders[0] + offsetof(DataHeader, file_id), 8);
    std::memcpy(&numbers[2], head_.data() + kDataHeaders[1] + offsetof(DataHeader, file_id), 8);
    for (std::uint64_t number = 1; number <= slots.count(); ++number) {
      const auto slot = slots.at(number);
      if (!slot || header_of(*slot).state != kSlotLive) continue;
      ++live_;
      for (std::size_t i = 0; i < numbers.size(); ++i)
        fits[i] += checksum_of(*slot, numbers[i]) == header_of(*slot).checksum ? 1 : 0;
    }
    const auto best = std::ranges::max_element(fits);
    id_ = numbers[static_cast<std::size_t>(best - fits.begin())];
    has_id_ = *best > live_ / kChance;
  }

  // ---- Deletions

  // The word is valid if its halves agree and it is not one repeated byte, which is the content of
  // wiped sectors.
  void read_settled_epoch() {
    std::uint64_t word = 0;
    std::memcpy(&word, head_.data() + kSettledEpoch, sizeof word);
    constexpr std::uint64_t kRepeated = 0x0101010101010101;
    const auto epoch = static_cast<std::uint32_t>(word);
    if (word == epoch * kTwice && word != (word & 0xFF) * kRepeated) deletions_.settled = epoch;
  }

  // Number of records that the index knows; 0 when the index is damaged, or of an earlier run of
  // the machine and so perhaps older than the data file.
  std::uint64_t look_at_index() {
    IndexHeader header;
    std::memcpy(&header, index_head_.data(), sizeof header);
    const bool ours = header.magic == kIndexMagic && header.version == kIndexVersion &&
                      (!has_id_ || header.file_id == id_);
    const bool clean =
        header.state == kStateClean && header.checksum == index_header_checksum(header);
    const bool in_use = header.state == kStateInUse && header.boot == boot_identity() &&
                        header.boot != kUnknownBoot;
    if (!ours || (!clean && !in_use)) return 0;
    // The stamp shares a sector with the settled epoch: either both are whole or none is.
    DataMark mark;
    std::memcpy(&mark, head_.data() + kDataMark, sizeof mark);
    const std::uint64_t stamp = clean ? header.clean_stamp : header.use_stamp;
    if (deletions_.settled && mark.stamp != stamp) return 0;
    deletions_.known = true;
    const bool whole = clean || (header.undo_used == 0 && header.changes % 2 == 0);
    return whole ? header.contents.record_count : 0;
  }

  // ---- The records

  int collect(OldSlots& slots, const HalvesWatch& watch, IsRecoverReport& report) {
    constexpr std::uint64_t kSeldom = 4096;
    std::int64_t blank = 0;
    for (std::uint64_t number = 1; number <= slots.count(); ++number) {
      watch.slot(number, slots.count());
      if (number % kSeldom == 0 && stop_signals_pending()) return EINTR;
      const auto slot = slots.at(number);
      if (slot && header_of(*slot).state == kSlotUnused) {
        ++blank;
        continue;
      }
      // Slots are used in ascending order: an unused slot before used ones was wiped. An index
      // gives the number of records more exactly.
      if (!deletions_.known) report.lost += blank;
      blank = 0;
      if (!slot) {
        ++report.lost;
      } else if (holds_record(*slot, report)) {
        if (const int failed =
                fresh_.add(slot->data() + sizeof(SlotHeader), sequence_of(header_of(*slot))))
          return failed;
      }
    }
    if (slots.has_cut_slot()) ++report.lost;
    return 0;
  }

  bool holds_record(std::span<const std::byte> slot, IsRecoverReport& report) const {
    const SlotHeader header = header_of(slot);
    if (header.state == kSlotFree) return false;
    if (header.state == kSlotGone) return is_back(slot, header, report);
    // Without a checksum the sequence must at least be one that a file can reach: one near the
    // greatest number would prevent all further writing.
    const std::uint64_t sequence = sequence_of(header);
    const bool whole =
        header.state == kSlotLive &&
        (has_id_ ? is_whole(slot, header) : sequence != 0 && sequence < kLastSequence / 2);
    if (!whole) ++report.lost;
    return whole;
  }

  // Whether a slot is live, or its deletion was written in part.
  [[nodiscard]] bool is_whole(std::span<const std::byte> slot, const SlotHeader& header) const {
    const std::uint32_t epoch = header.checksum ^ checksum_of(slot, id_);
    return epoch == 0 || (deletions_.settled && epoch - *deletions_.settled - 1 < kOpenEpochs);
  }

  // Whether a deleted record comes back: its deletion may have been half of a replacement that the
  // power loss cut off. Without evidence a gone record stays gone.
  bool is_back(std::span<const std::byte> slot, const SlotHeader& header,
               IsRecoverReport& report) const {
    if (deletions_.known) return false;
    if (!has_id_ || !deletions_.settled) {
      ++report.undecided;
      return false;
    }
    if (!is_whole(slot, header)) return false;
    ++report.undecided;
    return true;
  }

  // Whether the records found can be those of this file. Without the pair's number, more losses
  // than records mean that the record length is wrong, or that this is no keyed file.
  [[nodiscard]] bool is_plausible(const IsRecoverReport& report, std::uint64_t known) const {
    if (has_id_) return true;
    const auto found = static_cast<std::int64_t>(fresh_.added());
    const bool emptied = report.undecided > 0 || (deletions_.known && known == 0);
    return report.lost <= found && (found > 0 || emptied);
  }

  int install(IsRecoverReport& report) {
    if (report.lost > 0 || report.undecided > 0 || !report.checked) {
      change_step();
      if (const int failed = keep_old(data_, request_.data_path, report.kept)) return failed;
    }
    int failed = fresh_.install_data();
    if (failed != 0 && !report.kept.empty()) {
      file_remove(report.kept.c_str());
      report.kept.clear();
    }
    if (failed == 0) failed = fresh_.install_index();
    return failed;
  }

  const OpenRequest& request_;
  std::uint32_t record_length_;
  std::uint32_t slot_size_;
  std::vector<TreeShape> trees_;
  RecordFile data_;
  RecordFile index_;
  std::array<std::byte, kDataStart> head_{};
  std::array<std::byte, kPageSize> index_head_{};
  std::uint64_t id_ = 0;    // the pair's number
  bool has_id_ = false;     // the number is known
  std::uint64_t live_ = 0;  // slots whose state is live
  Deletions deletions_;
  FreshPair fresh_;
};

// Whether a file with this header has these records and keys. It may have fewer keys, if its maker
// was interrupted.
int fits(const DataHeader& header, std::uint32_t record_length,
         std::span<const KeyDescription> keys) {
  if (header.record_length != record_length) return kIsBadArgument;
  const bool same = header.key_count <= keys.size() &&
                    std::ranges::equal(std::span(header.keys).first(header.key_count),
                                       keys.first(header.key_count), key_same);
  return same ? 0 : kIsBadKey;
}

// Writes both copies of the header again from the whole one.
int restore_header(const OpenRequest& request) {
  std::shared_ptr<File> file;
  if (const int failed = file_open(file, request)) return failed;
  const std::vector<TreeShape> trees = file->trees;
  const int failed = as_writer(*file, [&] { return file_write_keys(*file, trees); });
  const int closed = file_close(*file);
  return failed == 0 ? closed : failed;
}

// With a whole header the engine needs no help of the caller.
int rebuild(const OpenRequest& request, IsRecoverReport& report, const IsWatch& watch) {
  IsRebuildReport rebuilt;
  int failed = file_rebuild(request, rebuilt, watch);
  if (failed == 0) failed = restore_header(request);
  report = {};
  report.records = rebuilt.records;
  report.lost = rebuilt.lost;
  report.kept = rebuilt.kept;
  return failed;
}

}  // namespace

int file_recover(const OpenRequest& request, std::uint32_t record_length,
                 std::span<const KeyDescription> keys, IsRecoverReport& report,
                 const IsWatch& watch) {
  {
    Recovery recovery(request, record_length, keys);
    if (const int failed = recovery.open()) return failed;
    const auto header = recovery.header();
    if (!header) return recovery.recover(report, watch);
    if (const int failed = fits(*header, record_length, keys)) return failed;
  }  // gives the locks back
  return rebuild(request, report, watch);
}

}  // namespace marigold::inner::isam
