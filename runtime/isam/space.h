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

}  // namespace marigold::isam
