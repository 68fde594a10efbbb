// SPDX-License-Identifier: GPL-3.0-or-later
// Changes a tree, within a change of the file. A page is saved before it is overwritten, unless
// this change has saved it or made it.

#include <algorithm>
#include <cstring>

#include "runtime/isam/local/node_change.h"
#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {
namespace {

// Links a new leaf between a leaf and its right neighbour.
bool link_right(File& file, std::size_t tree, PageNumber left, PageNumber right) {
  const PageNumber beyond = header_of(file, left).next;
  if (beyond != 0) {
    if (!page_is_sound(file, beyond, kLeaf, tree)) return false;
    save_header(file, beyond);
    header_of(file, beyond).previous = right;
    header_of(file, beyond).checksum = 0;
  }
  header_of(file, right).previous = left;
  header_of(file, right).next = beyond;
  header_of(file, left).next = right;
  return true;
}

// Unlinks a leaf from its neighbours.
bool unlink(File& file, std::size_t tree, PageNumber page) {
  const PageNumber previous = header_of(file, page).previous;
  const PageNumber next = header_of(file, page).next;
  for (const PageNumber neighbour : {previous, next}) {
    if (neighbour == 0) continue;
    if (!page_is_sound(file, neighbour, kLeaf, tree)) return false;
    save_header(file, neighbour);
    header_of(file, neighbour).checksum = 0;
  }
  if (previous != 0) header_of(file, previous).next = next;
  if (next != 0) header_of(file, next).previous = previous;
  return true;
}

// Number of kept bytes, from the first one on, that an entry of a leaf has in common with the entry
// before it.
std::size_t common_length(File& file, PageNumber page, std::uint32_t index) {
  const std::byte* entry = entry_in(file, {page, index});
  const std::byte* before = entry - entry_size(header_of(file, page));
  std::size_t same = 0;
  while (same < header_of(file, page).kept && entry[same] == before[same])
    ++same;
  return same;
}

// Split index of a full leaf: the middle, or an index close to it where neighbours differ early. A
// shorter separator lets the parent hold more children.
std::uint32_t middle_of_leaf(File& file, PageNumber page) {
  const std::uint32_t count = header_of(file, page).count;
  std::uint32_t best = count / 2;
  std::size_t shortest = common_length(file, page, best);
  for (std::uint32_t away = 1; away <= count / 8; ++away) {
    for (const std::uint32_t index : {count / 2 - away, count / 2 + away}) {
      const std::size_t length = common_length(file, page, index);
      if (length >= shortest) continue;
      best = index;
      shortest = length;
    }
  }
  return best;
}

// Split index of a full leaf for a new entry at `place`. Most leaves split in the middle. The last
// leaf of a tree stays full when the new entry goes to its end, so that records written in key
// order fill their pages. An entry without the leaf's common prefix can leave too little room in
// either half; it then goes before or after all entries of the leaf and is alone in its half.
std::uint32_t split_index_of_leaf(File& file, std::size_t tree, Place place, const Entry& entry) {
  const PageHeader& header = header_of(file, place.page);
  if (header.next == 0 && place.index == header.count) return header.count;
  const std::uint32_t middle = middle_of_leaf(file, place.page);
  const std::uint32_t larger = std::max(middle, header.count - middle);
  const bool has_room =
      suits(file, place.page, entry) || fits(shape_with(file, tree, place, entry), larger + 1);
  return has_room ? middle : place.index;
}

// Split index of a full inner node. If the new entry's bound is too long for either half, it
// becomes the first entry of the right half, whose bound is never compared.
std::uint32_t split_index_of_inner(File& file, Place place, const Entry& entry) {
  const PageHeader& header = header_of(file, place.page);
  const std::uint32_t middle = header.count / 2U;
  const Shape wider{0, std::max<std::size_t>(header.kept, bound_length(entry.bytes))};
  return fits(wider, header.count - middle + 1) ? middle : place.index;
}

// Moves the entries from `from.index` on to a new right neighbour. Returns its page, or 0 when the
// file is damaged.
PageNumber split_off(File& file, std::size_t tree, Place from) {
  save_node(file, from.page);
  const PageNumber right = page_take(file);
  if (right == 0) return 0;
  PageHeader& header = header_of(file, from.page);
  start_node(file, right, header.kind, tree);
  if (header.kind == kLeaf && !link_right(file, tree, from.page, right)) return 0;
  copy_shape(file, right, from.page);
  append(file, right, file.page(from.page), from.index, header.count - from.index);
  header.count = static_cast<std::uint16_t>(from.index);
  return right;
}

// Shortest separator of two leaves: greater than every entry of the left one, not greater than any
// of the right one.
Entry separator_of(File& file, PageNumber left, PageNumber right) {
  const Probe last = read_entry(file, {left, header_of(file, left).count - 1U}).bytes;
  Entry entry = read_entry(file, {right, 0});
  std::size_t length = 0;
  while (length < entry.bytes.size() && entry.bytes[length] == last[length])
    ++length;
  if (length < entry.bytes.size())
    std::fill(entry.bytes.begin() + length + 1, entry.bytes.end(), std::byte{0});
  entry.number = right;
  return entry;
}

// Splits a full leaf and inserts the entry into the half where it belongs. `entry` then is the
// separator for the parent, with the right half as its child.
int split_leaf(File& file, std::size_t tree, Place place, Entry& entry) {
  const std::uint32_t count = header_of(file, place.page).count;
  const std::uint32_t middle = split_index_of_leaf(file, tree, place, entry);
  const PageNumber right = split_off(file, tree, {place.page, middle});
  if (right == 0) return kIsBadFile;
  tighten(file, tree, place.page);
  tighten(file, tree, right);
  const bool goes_right = place.index > middle || middle == count;
  const Place to = goes_right ? Place{right, place.index - middle} : place;
  make_room(file, tree, to, entry);
  put_entry(file, to, entry);
  entry = separator_of(file, place.page, right);
  return 0;
}

// Splits a full inner node in the same way.
int split_inner(File& file, std::size_t tree, Place place, Entry& entry) {
  const std::uint32_t middle = split_index_of_inner(file, place, entry);
  const PageNumber right = split_off(file, tree, {place.page, middle});
  if (right == 0) return kIsBadFile;
  const bool leads = place.index == middle;
  Entry bound = leads ? entry : read_entry(file, {right, 0});
  const Place to = place.index < middle ? place : Place{right, place.index - middle};
  if (!leads) make_room(file, tree, to, entry);
  put_entry(file, to, entry);
  bound.number = right;
  entry = bound;
  return 0;
}

// Makes a new root above the old one and its new right neighbour.
int grow_root(File& file, std::size_t tree, const Entry& right) {
  TreeHeader& root = file.contents().trees[tree];
  const PageNumber page = page_take(file);
  if (page == 0) return kIsBadFile;
  start_node(file, page, kInner, tree);
  Entry left;
  left.number = root.root;
  set_shape(file, page, {0, bound_length(right.bytes)}, left.bytes);
  put_entry(file, {page, 0}, left);
  put_entry(file, {page, 1}, right);
  root.root = page;
  ++root.levels;
  return 0;
}

// Shape of the node that two neighbours would merge into. `bound` is the right neighbour's entry in
// their parent.
Shape merged_shape(File& file, std::size_t tree, PageNumber left, const Entry& bound) {
  const PageHeader& to = header_of(file, left);
  const PageHeader& from = header_of(file, bound.number);
  if (to.kind == kInner)
    return {0, std::max<std::size_t>({to.kept, from.kept, bound_length(bound.bytes)})};
  return leaf_shape(file, tree, read_entry(file, {left, 0}).bytes,
                    read_entry(file, {bound.number, from.count - 1U}).bytes);
}

// Whether two neighbours should merge: the merged node keeps a quarter of its space free, so that
// the next record does not split it again.
bool should_merge(File& file, std::size_t tree, PageNumber left, const Entry& bound) {
  const std::size_t count = header_of(file, left).count;
  const std::size_t more = header_of(file, bound.number).count;
  if (count == 0 || more == 0) return false;
  const Shape shape = merged_shape(file, tree, left, bound);
  return node_space(count + more, shape.prefix, shape.kept) <= kNodeSpace * 3 / 4;
}

// Merges the right node, the parent's entry at `place`, into its left neighbour and frees its page.
int merge(File& file, std::size_t tree, PageNumber left, Place place) {
  const Entry bound = read_entry(file, place);
  const PageNumber right = bound.number;
  PageHeader& to = header_of(file, left);
  if (to.kind == kLeaf && !unlink(file, tree, right)) return kIsBadFile;
  reshape(file, left, merged_shape(file, tree, left, bound), read_entry(file, {left, 0}).bytes);
  save_header(file, left);
  const std::uint32_t first = to.count;
  append(file, left, file.page(right), 0, header_of(file, right).count);
  // The right node's bound becomes the bound of its first child, whose own entry was never
  // compared.
  if (to.kind == kInner) std::memcpy(entry_in(file, {left, first}), bound.bytes.data(), to.kept);
  to.checksum = 0;
  page_give(file, right);
  return 0;
}

// Finds a neighbour below the same parent with which a thin node can merge. `left` is the index of
// the left one of the two. False when there is none.
bool find_partner(File& file, std::size_t tree, Place parent, std::uint8_t kind,
                  std::uint32_t& left) {
  const std::uint32_t children = header_of(file, parent.page).count;
  for (const std::uint32_t index : {parent.index, parent.index - 1}) {
    if (index >= children - 1) continue;  // the last child, or 0 - 1
    const PageNumber a = number_in(file, {parent.page, index});
    const Entry b = read_entry(file, {parent.page, index + 1});
    if (!page_is_sound(file, a, kind, tree) || !page_is_sound(file, b.number, kind, tree)) continue;
    if (!should_merge(file, tree, a, b)) continue;
    left = index;
    return true;
  }
  return false;
}

// Replaces a root that has a single child by the child.
void shrink_root(File& file, std::size_t tree) {
  TreeHeader& root = file.contents().trees[tree];
  while (root.levels > 1 && header_of(file, root.root).count == 1) {
    const PageNumber old = root.root;
    root.root = number_in(file, {old, 0});
    --root.levels;
    page_give(file, old);
  }
}

// Rebalances the tree after a node has lost an entry: frees an empty node, merges one that is less
// than a third full with a neighbour. `lost` reports whether the parent loses an entry by this,
// `lost_index` which one.
int rebalance(File& file, std::size_t tree, PageNumber page, Place parent, bool& lost,
              std::uint32_t& lost_index) {
  const PageHeader& header = header_of(file, page);
  lost = header.count == 0;
  lost_index = parent.index;
  if (lost) {
    if (header.kind == kLeaf && !unlink(file, tree, page)) return kIsBadFile;
    page_give(file, page);
    return 0;
  }
  std::uint32_t left = 0;
  if (!fits(shape_of(header), 3 * (header.count + std::size_t{1}))) return 0;  // not thin
  if (!find_partner(file, tree, parent, header.kind, left)) return 0;
  lost = true;
  lost_index = left + 1;
  return merge(file, tree, number_in(file, {parent.page, left}), {parent.page, left + 1});
}

}  // namespace

void tree_set_number(File& file, Place place, SlotNumber slot) {
  set_number(file, place, slot);
}

void tree_create(File& file, std::size_t tree) {
  const PageNumber page = page_take(file);
  start_node(file, page, kLeaf, tree);
  file.contents().trees[tree] = {.root = page, .levels = 1, .entries = 0};
}

int tree_insert(File& file, std::size_t tree, Path& path, const Probe& probe, SlotNumber slot) {
  Entry entry;
  std::memcpy(entry.bytes.data(), probe.data(), file.trees[tree].compare_length);
  entry.number = slot;
  ++file.contents().trees[tree].entries;
  for (std::size_t level = 0; level < path.levels; ++level) {
    Place place = path.nodes[level];
    if (level > 0) ++place.index;  // after the child that was split
    if (make_room(file, tree, place, entry)) {
      put_entry(file, place, entry);
      return 0;
    }
    const int failed =
        level == 0 ? split_leaf(file, tree, place, entry) : split_inner(file, tree, place, entry);
    if (failed != 0) return failed;
  }
  return grow_root(file, tree, entry);
}

int tree_remove(File& file, std::size_t tree, Path& path) {
  --file.contents().trees[tree].entries;
  std::uint32_t index = path.nodes[0].index;
  for (std::size_t level = 0;; ++level) {
    const PageNumber page = path.nodes[level].page;
    take_entry(file, {page, index});
    if (level + 1 == path.levels) break;
    bool lost = false;
    if (const int failed = rebalance(file, tree, page, path.nodes[level + 1], lost, index))
      return failed;
    if (!lost) break;
  }
  shrink_root(file, tree);
  return 0;
}

}  // namespace marigold::inner::isam
