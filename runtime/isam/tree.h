// The trees of an index file: B+ trees of entries that are ordered as strings of bytes.
//
// An entry is what it is compared by (TreeShape::compare_length bytes: the key, and behind it the
// record's sequence where duplicates are allowed, so that no two entries are equal) and a number:
// in a leaf the record's slot, in an inner node the page of a child. A child holds what is not less
// than its own entry and less than the next one; the first entry of an inner node counts as less
// than everything, whatever it holds. Leaves are linked to both sides.
//
// What all entries of a leaf begin with stands in it once, and an inner node keeps of its entries
// what tells its children apart. Neighbours in a tree have most of their bytes in common, so nodes
// hold more of them, and fewer have to be waited for.
//
// Reading functions return false when a page does not look as it must: then a writer is at work, or
// the file is damaged.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "runtime/isam/node.h"

namespace marigold::isam {

// More levels than a tree of all possible slots can have.
inline constexpr std::size_t kMostLevels = 32;

// A place in a leaf: before its entry `index`; index == count is the place behind the last one.
struct Place {
  PageNumber page = 0;
  std::uint32_t index = 0;
};

// The way from the root to a place: nodes[0] is the leaf. In an inner node the index is that of the
// child.
struct Path {
  std::size_t levels = 0;
  std::array<Place, kMostLevels> nodes;
};

// Starts to fetch a node: one wait for memory in the place of one for each of the first halvings.
// Of most nodes the last quarter is empty.
[[gnu::always_inline]] inline void tree_fetch(const File& file, PageNumber page) {
  constexpr std::size_t kLine = 64;
  constexpr std::size_t kFetched = kPageSize / 4 * 3;
  if (page >= file.intact_pages.size()) return;
  for (std::size_t at = 0; at < kFetched; at += kLine)
    __builtin_prefetch(file.page(page) + at);
}

// The place before the first entry that is not less than the probe, or greater than it.
enum class Bound { kNotLess, kGreater };
bool tree_find(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path);

// The same in steps: to the root; from each level (path.levels - 1 to 1) to the node below, which
// is then being fetched and is path.nodes[0]; in the leaf to the place. Whoever goes down in
// several trees takes a step in each in turn, and waits for the nodes of all at once.
bool tree_enter(const File& file, std::size_t tree, Path& path);
bool tree_follow(File& file, std::size_t tree, std::size_t level, const Probe& probe, Path& path);
bool tree_arrive(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path);

// Moves from the place behind the last entry of a leaf to the first entry of the next; page 0 when
// there is none. Gives the leaf in which the entry stands.
bool tree_skip_to_entry(File& file, std::size_t tree, Place& place, Node& leaf);
// Moves to the entry before the place; the same.
bool tree_step_back(File& file, std::size_t tree, Place& place, Node& leaf);

// The places before the first entry and behind the last.
bool tree_first(File& file, std::size_t tree, Place& place);
bool tree_end(File& file, std::size_t tree, Place& place);

// ---- Within a change. 0, or 105 when a page that has to be changed as well is not sound; then the
// change must be undone.

// Puts an entry in at the path that tree_find gave for it.
int tree_insert(File& file, std::size_t tree, Path& path, const Probe& probe, SlotNumber slot);
// Takes the entry at the path out.
int tree_remove(File& file, std::size_t tree, Path& path);
// Lets the entry at a place of a leaf stand for another slot.
void tree_set_number(File& file, Place place, SlotNumber slot);
// An empty tree.
void tree_create(File& file, std::size_t tree);

}  // namespace marigold::isam
