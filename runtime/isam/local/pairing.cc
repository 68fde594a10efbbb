// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/pairing.h"

#include <atomic>
#include <random>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/use_locks.h"

namespace marigold::inner::isam {
namespace {

constexpr std::uint64_t kCleanBit = 1;

std::uint64_t draw_stamp() {
  std::random_device source;
  return static_cast<std::uint64_t>(source()) << 32 | source();
}

std::uint64_t draw_use_stamp() {
  for (;;) {
    if (const std::uint64_t stamp = draw_stamp() & ~kCleanBit) return stamp;
  }
}

bool is_of_use(std::uint64_t stamp) {
  return stamp != 0 && (stamp & kCleanBit) == 0;
}

std::uint64_t number_of(const MappedFile& file) {
  FileIdentity identity;
  return file.identity(identity) == 0 ? identity.number : 0;
}

// Programs of one run of the machine see each other's changes, synced or not. If the system does
// not distinguish runs, only processes that have the file open now belong to this one.
bool is_of_this_run(const File& file) {
  const BootIdentity own = boot_identity();
  if (file.header().boot != own) return false;
  if (own != kUnknownBoot) return true;
  bool others = false;
  return has_other_users(file, others) == 0 && others;
}

// Whether the stamps, the run and the files are those with which the pair was put in use.
bool fits_use(const File& file) {
  const IndexHeader& header = file.header();
  if (header.version <= kUnstampedIndexVersion)
    return header.state == kStateInUse && data_mark(file).stamp == 0 && is_of_this_run(file);
  return is_of_use(header.use_stamp) && data_mark(file).stamp == header.use_stamp &&
         header.file_number == number_of(file.index) && is_of_this_run(file);
}

bool is_copy(const File& file) {
  const DataMark& mark = data_mark(file);
  return is_of_use(mark.stamp) && mark.file_number != number_of(file.data);
}

// Equal stamps of both files show that only a restart separates index and data.
const char* why_unfit(const File& file) {
  const IndexHeader& header = file.header();
  const bool same = data_mark(file).stamp == header.use_stamp;
  if (header.state != kStateClean && same && !is_of_this_run(file))
    return "the machine was restarted while the file was in use";
  return "the index belongs to another state of the data file";
}

}  // namespace

bool is_clean_pair(const File& file) {
  const IndexHeader& header = file.header();
  if (data_mark(file).stamp != header.clean_stamp) return false;
  return header.version > kUnstampedIndexVersion ? header.clean_stamp != 0
                                                 : header.state == kStateClean;
}

Judgement judge_pair(const File& file) {
  const IndexHeader& header = file.header();
  if (is_copy(file)) return {Fit::kCopied, "the data file was copied while it was in use"};
  if (header.version <= kFormerIndexVersion)
    return {Fit::kRebuild, "the index has a former version of the format"};
  if (header.state == kStateRebuild)
    return {Fit::kRebuild, "a rebuild of the indexes was interrupted"};
  if (fits_use(file)) return {Fit::kInUse};
  if (is_clean_pair(file)) return {Fit::kClean};
  return {Fit::kRebuild, why_unfit(file)};
}

// A process that is killed in between leaves the pair clean or in use, and not changed yet. The
// version is stored last, because the checksum of a clean header depends on it.
//
// The index is synced as well. A power loss may leave its new pages beside the header that the disk
// had before. If that were a clean header, the index would seem to fit when somebody restores the
// data file of that time alone.
int put_in_use(File& file, std::uint32_t state) {
  IndexHeader& header = file.header();
  if (!fits_use(file) || header.version != kIndexVersion || header.clean_stamp != 0) {
    DataMark& mark = data_mark(file);
    const std::uint64_t before = mark.stamp;
    const std::uint64_t clean_before = header.clean_stamp;
    header.use_stamp = draw_use_stamp();
    header.boot = boot_identity();
    header.file_number = number_of(file.index);
    mark.file_number = number_of(file.data);
    change_step();
    std::atomic_ref(mark.stamp).store(header.use_stamp);
    change_step();
    header.clean_stamp = 0;
    change_step();
    int not_synced = file.data.sync();
    if (not_synced == 0) not_synced = file.index.sync_part(0, kPageSize);
    // A stamp that stays in this process would make the index on the disk seem to fit the data.
    const int failed = was_hit(file) ? after_hit(file) : not_synced;
    if (failed != 0) {
      header.clean_stamp = clean_before;
      if (mark.stamp != before) mark.stamp = before;
      return failed;
    }
    change_step();
    header.version = kIndexVersion;
  }
  change_step();
  header.state = state;
  change_step();
  return 0;
}

int stamp_clean(File& file) {
  IndexHeader& header = file.header();
  header.clean_stamp = draw_stamp() | kCleanBit;
  header.checksum = index_header_checksum(header);
  change_step();
  if (const int failed = file.index.sync()) return failed;
  if (was_hit(file)) return after_hit(file);
  // A failed sync changes nothing here: as programs see the pair it is clean, and the next process
  // that changes it draws another stamp, whichever of the two stamps is on the disk.
  std::atomic_ref(data_mark(file).stamp).store(header.clean_stamp);
  change_step();
  header.use_stamp = 0;
  header.state = kStateClean;
  return file.data.sync();
}

}  // namespace marigold::inner::isam
