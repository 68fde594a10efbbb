// SPDX-License-Identifier: GPL-3.0-or-later
// Space of the two files: how much there is, how much is mapped, and how it grows.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Maps the whole file and gives its size; 105 when that is less than `needed`.
int measure(MappedFile& file, std::uint64_t needed, std::uint64_t& space);

// Makes a file at least `needed` bytes long, and some more ahead of need, so that it seldom grows.
int grow(MappedFile& file, std::uint64_t needed, std::uint64_t& space);

// Gives back the space beyond the last record and the last page. The caller has the file for
// itself.
int give_back_space(File& file);

// Makes room for the notes on each mapped page and slot.
int note_space(File& file);

inline std::uint64_t index_bytes(const File& file) {
  return file.contents().page_count * kPageSize;
}
inline std::uint64_t data_bytes(const File& file) {
  return kDataStart + file.contents().slot_count * file.slot_size;
}

// Maps everything that the header counts. 105 when a file is shorter than that.
int make_grown_visible(File& file);
inline int make_visible(File& file) {
  const bool visible = index_bytes(file) <= file.index_space && data_bytes(file) <= file.data_space;
  return visible ? 0 : make_grown_visible(file);
}
// Makes the index file at least `pages` pages long, and some more. ENOSPC and others; then it is as
// before.
int file_grow_index(File& file, std::uint64_t pages);
// Reserves the space that adding a record may need: a slot and, for each tree, a page for every
// level and one more.
int change_prepare_space(File& file);
// Reserves the space for so many further records: their slots, and in each tree a page for each of
// them and for each level. Adding records that split more than that is rare.
int file_reserve(File& file, std::uint64_t records);

}  // namespace marigold::inner::isam
