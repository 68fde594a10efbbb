// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/read.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "runtime/isam/local/change.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/record.h"
#include "runtime/isam/local/slots.h"

namespace marigold::inner::isam {
namespace {

// ---- Positions

void stand_between(Position& position, const Probe& probe, Bound bound) {
  position.probe = probe;
  position.forward = bound;
  position.backward = bound;
  position.at_record = false;
}

// Stands at an entry that was read. Page 0 stands for an unknown place. `entry` was copied while it
// was whole.
void stand_at(Position& position, const TreeShape& shape, const Probe& entry, Place place,
              std::uint64_t changes) {
  copy_compared(position.probe, entry, shape);
  position.forward = Bound::kGreater;
  position.backward = Bound::kNotLess;
  position.at_record = true;
  position.place = place;
  position.changes = place.page == 0 ? kNoShortCut : changes;
}

// ---- Finding

// Result of a search: a place and its leaf, or why there is none. `sound` is false when a page
// failed verification.
struct Found {
  bool sound = true;
  int error = 0;
  Place place;
  Node leaf;
};

bool is_at_entry(const Found& found) {
  return found.sound && found.place.index < found.leaf.header.count;
}

// Whether the search ended at an entry that begins with the first `length` bytes of the probe.
bool is_at(const Found& found, const Probe& probe, std::size_t length) {
  if (!is_at_entry(found)) return false;
  Probe entry;
  node_entry(found.leaf, found.place.index, entry);
  return begin_alike(entry, probe, length);
}

Found find_place(File& file, std::size_t tree, const Probe& probe, Bound bound) {
  Found found;
  Path path;
  found.sound = tree_find(file, tree, probe, bound, path);
  found.place = path.nodes[0];
  return found;
}

void skip_to_entry(File& file, std::size_t tree, Found& found, int error) {
  if (found.sound) found.sound = tree_skip_to_entry(file, tree, found.place, found.leaf);
  if (found.sound && found.place.page == 0) found.error = error;
}

void step_back(File& file, std::size_t tree, Found& found) {
  if (found.sound) found.sound = tree_step_back(file, tree, found.place, found.leaf);
  if (found.sound && found.place.page == 0) found.error = kIsEndOfFile;
}

Found find_next(File& file, const Cursor& cursor, bool short_cut) {
  const Position& position = cursor.position;
  Found found;
  if (short_cut) {
    found.place = {position.place.page, position.place.index + 1};
  } else {
    found = find_place(file, cursor.tree, position.probe, position.forward);
  }
  skip_to_entry(file, cursor.tree, found, kIsEndOfFile);
  return found;
}

Found find_previous(File& file, const Cursor& cursor, bool short_cut) {
  const Position& position = cursor.position;
  Found found;
  if (short_cut) {
    found.place = position.place;
  } else {
    found = find_place(file, cursor.tree, position.probe, position.backward);
  }
  step_back(file, cursor.tree, found);
  return found;
}

Found find_current(File& file, const Cursor& cursor, bool short_cut) {
  const Position& position = cursor.position;
  Found found;
  if (!position.at_record) {
    found.error = kIsNoCurrent;
    return found;
  }
  found.place = position.place;
  if (!short_cut) found = find_place(file, cursor.tree, position.probe, Bound::kNotLess);
  found.sound = found.sound && read_node(file, found.place.page, kLeaf, cursor.tree, found.leaf);
  if (!is_at(found, position.probe, file.trees[cursor.tree].compare_length))
    found.error = kIsNoCurrent;
  return found;
}

Found find_by_value(File& file, std::size_t tree, const Search& search) {
  Found found = find_place(file, tree, search.probe, search.bound);
  skip_to_entry(file, tree, found, kIsNoRecord);
  if (found.error == 0 && search.mode == kIsEqual && !is_at(found, search.probe, search.length))
    found.error = kIsNoRecord;
  return found;
}

Found find(File& file, const Cursor& cursor, const Search& search, std::uint64_t changes) {
  const Position& position = cursor.position;
  const bool short_cut = position.at_record && position.changes == changes;
  Found found;
  switch (search.mode) {
    case kIsFirst:
      found.sound = tree_first(file, cursor.tree, found.place);
      skip_to_entry(file, cursor.tree, found, kIsEndOfFile);
      return found;
    case kIsLast:
      found.sound = tree_end(file, cursor.tree, found.place);
      step_back(file, cursor.tree, found);
      return found;
    case kIsNext:
      return find_next(file, cursor, short_cut);
    case kIsPrevious:
      return find_previous(file, cursor, short_cut);
    case kIsCurrent:
      return find_current(file, cursor, short_cut);
    default:
      return find_by_value(file, cursor.tree, search);
  }
}

// Moves the position after a search that found nothing.
void stand_after_miss(Position& position, const Search& search) {
  if (search.mode == kIsCurrent) return;
  if (search.mode >= kIsEqual) return stand_between(position, search.probe, search.bound);
  if (search.mode == kIsNext || search.mode == kIsPrevious) {
    // Beside the last record that was read, so that records inserted after it later are still
    // found.
    const Bound bound = search.mode == kIsNext ? Bound::kGreater : Bound::kNotLess;
    if (position.at_record) stand_between(position, Probe(position.probe), bound);
    return;
  }
  Probe least;
  least.fill(std::byte{0});
  stand_between(position, least, Bound::kNotLess);
}

// ---- Reading

// A scan prefetches the records of kTogether entries together, kAhead entries ahead. A processor
// waits with each prefetch until it has translated the address of the page; it translates several
// in a row side by side. docs/decisions.md has the figures.
constexpr std::uint32_t kTogether = 4;
constexpr std::uint32_t kAhead = 3 * kTogether;

// Slots of entries by their distance from the first entry of a leaf, in the leaf or in its
// neighbour; 0 where there is none. They serve prefetches only, so a leaf that is being changed
// does no harm.
class SlotsAround {
 public:
  SlotsAround(File& file, std::size_t tree, const Node& leaf)
      : file_(file), tree_(tree), leaf_(leaf) {}

  SlotNumber at(std::int64_t index) {
    const std::uint32_t count = leaf_.header.count;
    if (index >= 0 && index < count) return leaf_.number(static_cast<std::uint32_t>(index));
    const PageNumber page = index < 0 ? leaf_.header.previous : leaf_.header.next;
    if (!looked_) has_beside_ = page != 0 && read_node(file_, page, kLeaf, tree_, beside_);
    looked_ = true;
    if (!has_beside_) return 0;
    index += index < 0 ? std::int64_t{beside_.header.count} : -std::int64_t{count};
    const bool inside = index >= 0 && index < beside_.header.count;
    return inside ? beside_.number(static_cast<std::uint32_t>(index)) : 0;
  }

 private:
  File& file_;
  std::size_t tree_;
  const Node& leaf_;
  Node beside_{};
  bool looked_ = false;
  bool has_beside_ = false;
};

// Forced inline, like its callers: the compiler takes a function that only prefetches for one
// without effect and drops its calls.
[[gnu::always_inline]] inline void fetch_record(const File& file, SlotNumber slot) {
  if (slot == 0 || slot > file.slots) return;
  __builtin_prefetch(&file.intact_slots[slot / 64]);
  for (std::uint32_t line = 0; line < std::min(file.slot_size, 256U); line += 64) {
    __builtin_prefetch(file.slot(slot) + line);
  }
}

// Prefetches the records of entries that come soon, and the next leaf, so that a scan finds them in
// the cache.
[[gnu::always_inline]] inline void fetch_ahead(File& file, std::size_t tree, const Node& leaf,
                                               std::uint32_t index, bool back) {
  if (index % kTogether != 0) return;
  if (index == (back ? 2 * kAhead : 0))
    tree_fetch(file, back ? leaf.header.previous : leaf.header.next);
  SlotsAround slots(file, tree, leaf);
  const std::int64_t first = back ? std::int64_t{index} - kAhead - kTogether : index + kAhead;
  for (std::uint32_t i = 0; i < kTogether; ++i)
    fetch_record(file, slots.at(first + i));
}

void copy_slot(const File& file, const std::byte* slot, ReadBuffer& buffer) {
  std::memcpy(buffer.record.data(), slot + sizeof(SlotHeader), file.record_length);
  buffer.sequence = record_sequence(slot);
}

// Copies the record of the entry in the buffer. False when the record is not whole or does not
// belong to the entry.
bool copy_record(File& file, std::size_t tree, SlotNumber slot, ReadBuffer& buffer) {
  if (slot == 0 || slot > file.slots || !slot_was_live(file, slot)) return false;
  const std::byte* at = file.slot(slot);
  if (!is_entry_of(file, tree, buffer.entry, at)) return false;
  copy_slot(file, at, buffer);
  return true;
}

// ---- Guessing: a live record with the primary key that is looked for is the right one, however it
// was found

bool can_be_guessed(const Cursor& cursor, const Search& search, const TreeShape& shape) {
  return cursor.tree == 0 && search.mode == kIsEqual && search.length == shape.key_length;
}

bool copy_guessed(File& file, const Search& search, std::uint64_t hash, ReadBuffer& buffer) {
  const SlotNumber slot = file.hints.guess(hash);
  if (slot == 0 || slot > file.slots || !slot_was_live(file, slot)) return false;
  if (!is_entry_of(file, 0, search.probe, file.slot(slot))) return false;
  copy_slot(file, file.slot(slot), buffer);
  copy_compared(buffer.entry, search.probe, file.trees[0]);
  return true;
}

// Result of an attempt. The buffer has the entry's bytes and the record.
struct ReadResult {
  int error = 0;
  Place place;
  std::uint64_t changes = 0;
};

// Attempts a read once. The result counts only if no change overlapped it.
bool attempt(File& file, const Cursor& cursor, const Search& search, ReadBuffer& buffer, bool copy,
             ReadResult& result) {
  const TreeShape& shape = file.trees[cursor.tree];
  const bool guesses = copy && can_be_guessed(cursor, search, shape);
  const std::uint64_t hash = guesses ? hint_hash(shape, search.probe) : 0;
  if (guesses && copy_guessed(file, search, hash, buffer)) {
    result.error = 0;
    result.place = {};
    return true;
  }
  const Found found = find(file, cursor, search, result.changes);
  if (!found.sound) return false;
  result.error = found.error;
  if (found.error != 0) return true;
  if (!is_at_entry(found)) return false;
  if (search.mode == kIsNext || search.mode == kIsPrevious)
    fetch_ahead(file, cursor.tree, found.leaf, found.place.index, search.mode == kIsPrevious);
  const SlotNumber slot = found.leaf.number(found.place.index);
  node_entry(found.leaf, found.place.index, buffer.entry);
  if (copy && !copy_record(file, cursor.tree, slot, buffer)) return false;
  if (guesses) file.hints.note(hash, slot);
  result.place = found.place;
  return true;
}

// A reader that finds no moment without a change in so many attempts takes its turn among the
// writers.
constexpr int kReadAttempts = 100;

int read_stable(File& file, const Cursor& cursor, const Search& search, ReadBuffer& buffer,
                bool copy, ReadResult& result) {
  int failed = 0;
  const auto read_once = [&] {
    failed = read_begin(file, result.changes);
    if (failed == 0 && !attempt(file, cursor, search, buffer, copy, result)) failed = kIsBadFile;
    return read_was_whole(file, result.changes);
  };
  for (int round = 0;; ++round) {
    if (round == kReadAttempts && file.writable) {
      const int waited =
          unless_hit(file, as_writer(file, [&] { return read_once() ? 0 : EAGAIN; }));
      return waited != 0 ? waited : failed;
    }
    const bool whole = read_once();
    // On a full disk private pages with the file's content have stood in: a read that was whole is
    // right, and another one is repeated on the file itself.
    const int hit = was_hit(file) ? after_hit(file) : 0;
    if (hit != 0 && hit != ENOSPC) return hit;
    if (whole) return failed;
  }
}

// Takes most steps of a scan: to the neighbour in the same leaf, while nothing has changed since
// that leaf was read. False when the step is not of this kind, or something prevents it; nothing
// has moved then, and the caller searches the tree.
bool step_in_leaf(File& file, Cursor& cursor, bool back, ReadBuffer& buffer) {
  Position& position = cursor.position;
  const std::uint64_t changes = position.changes;
  if (!position.at_record || changes % 2 != 0 || !read_was_whole(file, changes)) return false;
  const std::uint32_t index = position.place.index + (back ? -1U : 1U);
  const Node leaf = view_node(file, position.place.page);
  // A change may begin at this moment.
  if (index >= leaf.header.count || node_space(leaf.header) > kNodeSpace) return false;
  fetch_ahead(file, cursor.tree, leaf, index, back);
  node_entry(leaf, index, buffer.entry);
  if (!copy_record(file, cursor.tree, leaf.number(index), buffer)) return false;
  if (!read_was_whole(file, changes) || was_hit(file)) return false;
  copy_compared(position.probe, buffer.entry, file.trees[cursor.tree]);
  position.place.index = index;
  return true;
}

}  // namespace

Search make_search(const TreeShape& shape, const char* record, int mode, int length) {
  Search search;
  search.mode = mode;
  if (mode < kIsEqual) return search;
  search.length = length == 0 ? shape.key_length : static_cast<std::size_t>(length);
  search.bound = mode == kIsGreater ? Bound::kGreater : Bound::kNotLess;
  key_from_record(shape.key, record, search.probe.data());
  // Bytes beyond the given length get the greatest or the least value.
  const auto first = search.probe.begin() + static_cast<std::ptrdiff_t>(search.length);
  std::fill(first, search.probe.begin() + shape.compare_length,
            mode == kIsGreater ? std::byte{0xFF} : std::byte{0});
  return search;
}

int cursor_find(File& file, Cursor& cursor, const Search& search, ReadBuffer& buffer, bool copy) {
  const bool steps = copy && (search.mode == kIsNext || search.mode == kIsPrevious);
  if (steps && step_in_leaf(file, cursor, search.mode == kIsPrevious, buffer)) return 0;
  ReadResult result;
  if (const int failed = read_stable(file, cursor, search, buffer, copy, result)) return failed;
  if (result.error != 0) {
    stand_after_miss(cursor.position, search);
  } else {
    stand_at(cursor.position, file.trees[cursor.tree], buffer.entry, result.place, result.changes);
  }
  return result.error;
}

int cursor_change_tree(File& file, Cursor& cursor, std::size_t tree, ReadBuffer& buffer) {
  Cursor found = cursor;
  if (const int failed = cursor_find(
          file, found, make_search(file.trees[cursor.tree], nullptr, kIsCurrent, 0), buffer, true))
    return failed;
  const Probe entry = new_probe(file.trees[tree], buffer.record.data(), buffer.sequence);
  cursor.tree = tree;
  stand_at(cursor.position, file.trees[tree], entry, {}, 0);
  return 0;
}

}  // namespace marigold::inner::isam
