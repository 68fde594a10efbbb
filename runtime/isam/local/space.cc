// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/space.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>

#include "runtime/isam/local/change.h"
#include "runtime/isam/local/slots.h"

namespace marigold::inner::isam {
namespace {

// Growth ahead of need: so many bytes at least, or a fraction of the file, in whole units.
constexpr std::uint64_t kLeastGrowth = std::uint64_t{64} << 10;
constexpr std::uint64_t kGrowthUnit = 4096;
constexpr std::uint64_t kGrowthFraction = 16;

int prepare_new_slot(File& file) {
  if (!file.settling.ripe_tried && slots_are_due(file)) return kSettleRipeFirst;
  const Contents& contents = file.contents();
  int failed = contents.slot_count >= std::numeric_limits<SlotNumber>::max() ? EFBIG : 0;
  if (failed == 0 && contents.slot_count < file.slots) return 0;
  if (failed == 0) {
    failed = grow(file.data, data_bytes(file) + file.slot_size, file.data_space);
  }
  if (failed == 0) return note_space(file);
  // The disk is full, but settling deletions may free some slots.
  const bool some = contents.gone.count + contents.ripe.count > 0;
  return some && !file.settling.all_tried ? kSettleAllFirst : failed;
}

}  // namespace

int measure(MappedFile& file, std::uint64_t needed, std::uint64_t& space) {
  std::uint64_t size = 0;
  if (const int failed = file.size(size)) return failed;
  if (size < needed) return kIsBadFile;
  if (const int failed = file.map(size)) return failed;
  space = size;
  return 0;
}

int note_space(File& file) {
  const std::uint64_t pages = file.index_space / kPageSize;
  const std::uint64_t slots = (file.data_space - kDataStart) / file.slot_size;
  try {
    if (file.intact_pages.size() < pages) file.intact_pages.resize(pages);
    if (file.intact_slots.size() <= slots / 64) file.intact_slots.resize(slots / 64 + 1);
  } catch (const std::bad_alloc&) {
    // Notes exist only for what was mapped before: the next use asks again.
    file.index_space = std::min(file.index_space, file.intact_pages.size() * kPageSize);
    file.data_space = std::min(file.data_space, kDataStart + file.slots * file.slot_size);
    return kIsNoMemory;
  }
  file.slots = slots;
  file.hints.expect(slots);
  return 0;
}

int grow(MappedFile& file, std::uint64_t needed, std::uint64_t& space) {
  if (needed <= space) return 0;
  const std::uint64_t ahead = std::max(kLeastGrowth, needed / kGrowthFraction);
  const std::uint64_t whole = (needed + ahead + kGrowthUnit - 1) / kGrowthUnit * kGrowthUnit;
  int failed = file.reserve(whole);
  if (failed == ENOSPC || failed == EFBIG)
    failed = file.reserve(needed);  // the last of the disk is enough for this one
  if (failed != 0) return failed;
  const std::uint64_t filled = std::min(ahead, space);
  file.start_sync(space - filled, filled);
  return measure(file, needed, space);
}

int give_back_space(File& file) {
  if (const int failed = file.data.truncate(data_bytes(file))) return failed;
  if (const int failed = file.index.truncate(index_bytes(file))) return failed;
  file.data_space = data_bytes(file);
  file.index_space = index_bytes(file);
  return note_space(file);
}

int file_grow_index(File& file, std::uint64_t pages) {
  const std::uint64_t needed = pages * kPageSize;
  if (needed <= file.index_space && pages <= file.intact_pages.size()) return 0;
  if (const int failed = grow(file.index, needed, file.index_space)) return failed;
  return note_space(file);
}

int change_prepare_space(File& file) {
  const Contents& contents = file.contents();
  std::uint64_t pages = 0;
  for (std::size_t i = 0; i < file.trees.size(); ++i)
    pages += contents.trees[i].levels + 1;
  pages -= std::min(pages, contents.free_pages);
  if (const int failed = file_grow_index(file, contents.page_count + pages)) return failed;
  // Growth may have moved the memory that `contents` refers to.
  return file.contents().free_slot != 0 ? 0 : prepare_new_slot(file);
}

int file_reserve(File& file, std::uint64_t records) {
  if (records == 0) return 0;
  std::uint64_t pages = file.contents().page_count;
  for (std::size_t i = 0; i < file.trees.size(); ++i)
    pages += file.contents().trees[i].levels + records;
  if (const int failed = file_grow_index(file, pages)) return failed;
  const std::uint64_t needed = data_bytes(file) + records * file.slot_size;
  if (const int failed = grow(file.data, needed, file.data_space)) return failed;
  return note_space(file);
}

int make_grown_visible(File& file) {
  if (index_bytes(file) > file.index_space) {
    if (const int failed = measure(file.index, index_bytes(file), file.index_space)) return failed;
  }
  if (data_bytes(file) > file.data_space) {
    if (const int failed = measure(file.data, data_bytes(file), file.data_space)) return failed;
  }
  return note_space(file);
}

}  // namespace marigold::inner::isam
