// SPDX-License-Identifier: GPL-3.0-or-later
// Finds and reads records along a key: the position of a reader, and the repetition of a read until
// no change overlaps it.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <vector>

#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {

// As Position::changes: matches no file at rest, whose count of changes is even.
inline constexpr std::uint64_t kNoShortCut = 1;

// Position of a descriptor in its key: at an entry, or between two.
struct Position {
  Probe probe{};
  // Bounds by which the tree finds the position again, for the next record and for the previous
  // one.
  Bound forward = Bound::kNotLess;
  Bound backward = Bound::kNotLess;
  bool at_record = false;
  // The same position as a place: a short cut, valid while IndexHeader::changes equals `changes`.
  Place place;
  std::uint64_t changes = 0;
};

// Cursor of a descriptor: a key, and a position in it.
struct Cursor {
  std::size_t tree = 0;
  Position position;
};

// Result of a read that is not known to be whole yet. All files of a process share one buffer.
struct ReadBuffer {
  std::vector<char> record;
  std::uint64_t sequence = 0;  // of the record
  Probe entry{};               // entry of the record in the cursor's tree
};

// Target of a search: one of the read modes of isam.h, and for modes by value the first `length`
// bytes of a key value.
struct Search {
  int mode = kIsFirst;
  // The value, filled up so that the bound lies before all entries that the mode accepts.
  Probe probe;
  Bound bound = Bound::kNotLess;
  std::size_t length = 0;
};

// Returns the search for the key value of a record; length 0 means the whole value. Modes without a
// value use neither.
Search make_search(const TreeShape& shape, const char* record, int mode, int length);

// Finds the entry and moves the cursor to it. With `copy` the record is put into the buffer. When
// there is none (110, 111, 112) the cursor stands where isam.h says; after any other failure the
// cursor has not moved.
int cursor_find(File& file, Cursor& cursor, const Search& search, ReadBuffer& buffer, bool copy);

// Moves the cursor to the entry that its record has in another tree. 112 without a record.
int cursor_change_tree(File& file, Cursor& cursor, std::size_t tree, ReadBuffer& buffer);

}  // namespace marigold::inner::isam
