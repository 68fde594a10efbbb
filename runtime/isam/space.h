// The space of the two files: how much of it is there and visible, and how it grows.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::isam {

// How much of a file is there, made visible; 105 when it is less than what is needed.
int measure(MappedFile& file, std::uint64_t needed, std::uint64_t& space);

// Makes a file longer by what is needed, and some ahead, so that it is seldom done.
int grow(MappedFile& file, std::uint64_t needed, std::uint64_t& space);

// Gives back the space behind the last record and the last page. The caller has the file for itself.
int give_back_space(File& file);

// Room for what is known of each page and slot that is now visible.
int note_space(File& file);

inline std::uint64_t index_bytes(const File& file) {
  return file.contents().page_count * kPageSize;
}
inline std::uint64_t data_bytes(const File& file) {
  return kDataStart + file.contents().slot_count * file.slot_size;
}

// Sees to it that everything that is now in the file is visible. 105 when the file is shorter than
// it says.
int make_grown_visible(File& file);
inline int make_visible(File& file) {
  const bool visible = index_bytes(file) <= file.index_space && data_bytes(file) <= file.data_space;
  return visible ? 0 : make_grown_visible(file);
}
// Makes a file longer, if it is not long enough, and some ahead. ENOSPC and so on; then it is as
// before.
int file_grow_index(File& file, std::uint64_t pages);
// Sees to it that adding a record finds the space that it may need: a slot, and a page for every
// level of every tree and one more.
int change_prepare_space(File& file);

}  // namespace marigold::isam
