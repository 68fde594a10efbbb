// Finding and reading records along a key: where a reader stands, and how a read is repeated until
// nobody has changed the file meanwhile.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <vector>

#include "runtime/isam/tree.h"

namespace marigold::isam {

// Where a descriptor stands in its key: at an entry, or between two.
struct Position {
  Probe probe{};
  // How the place is found from which the next and the previous record are counted.
  Bound forward = Bound::kNotLess;
  Bound backward = Bound::kNotLess;
  bool at_record = false;
  // The same place as a short cut, which holds as long as nothing is changed.
  Place place;
  std::uint64_t changes = 0;
};

// Where a descriptor stands: in which key, and where there.
struct Cursor {
  std::size_t tree = 0;
  Position position;
};

// What a read found, until it is known to be whole. One serves all files of a process.
struct ReadBuffer {
  std::vector<char> record;
  Probe entry{};  // of the record, in the cursor's tree
};

// What is looked for: one of the read modes of isam.h, and for a key value its first `length`
// bytes.
struct Search {
  int mode = kIsFirst;
  // The value, filled up so that all entries with it stand behind the bound.
  Probe probe;
  Bound bound = Bound::kNotLess;
  std::size_t length = 0;
};

// The search for the key value of a record; length 0: all of it. The other modes look at neither.
Search make_search(const TreeShape& shape, const char* record, int mode, int length);

// Finds the entry and moves the cursor there; with a buffer its record is put there. When there is
// none (110, 111, 112) the cursor stands where isam.h says; after any other failure where it stood.
int cursor_find(File& file, Cursor& cursor, const Search& search, ReadBuffer& buffer, bool copy);

}  // namespace marigold::isam
