// SPDX-License-Identifier: GPL-3.0-or-later
// Trees of an index file: B+ trees of entries that are ordered as strings of bytes.
//
// An entry consists of the bytes that it is compared by (TreeShape::compare_length: the key and,
// where duplicates are allowed, the record's sequence after it, so that no two entries are equal)
// and a number: in a leaf the record's slot, in an inner node the page of a child. A child holds
// entries that are not less than its own entry in the parent and less than the next one; the first
// entry of an inner node counts as less than everything, whatever its bytes. Leaves are linked to
// both neighbours.
//
// A leaf stores the common prefix of its entries once, and an inner node stores only the separators
// of its children. Neighbours in a tree have most of their bytes in common, so nodes hold more
// entries, and a search waits for fewer nodes.
//
// Reading functions return false when a page fails verification: a writer is at work, or the file
// is damaged.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "runtime/isam/local/node.h"

namespace marigold::inner::isam {

// More levels than a tree of all possible slots can have.
inline constexpr std::size_t kMostLevels = 32;

// Place in a node: before its entry `index`. With index == count it is the place after the last
// entry.
struct Place {
  PageNumber page = 0;
  std::uint32_t index = 0;
};

// Path from the root to a place. nodes[0] is the leaf; in an inner node the index is that of the
// child.
struct Path {
  std::size_t levels = 0;
  std::array<Place, kMostLevels> nodes;
};

// Prefetches a node: one wait for memory replaces one for each of the first halvings of the search.
// The last quarter of most nodes is empty.
[[gnu::always_inline]] inline void tree_fetch(const File& file, PageNumber page) {
  constexpr std::size_t kLine = 64;
  constexpr std::size_t kFetched = kPageSize / 4 * 3;
  if (page >= file.intact_pages.size()) return;
  for (std::size_t at = 0; at < kFetched; at += kLine)
    __builtin_prefetch(file.page(page) + at);
}

// Finds the place before the first entry that is not less than the probe, or before the first one
// that is greater.
enum class Bound { kNotLess, kGreater };
bool tree_find(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path);

// Do the same in steps: enter at the root; from each level (path.levels - 1 to 1) follow to the
// node below, which is prefetched and becomes path.nodes[0]; arrive at the place in the leaf. A
// caller that searches several trees takes a step in each in turn, and waits for the nodes of all
// trees at once.
bool tree_enter(const File& file, std::size_t tree, Path& path);
bool tree_follow(File& file, std::size_t tree, std::size_t level, const Probe& probe, Path& path);
bool tree_arrive(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path);

// Moves a place after the last entry of a leaf to the first entry of the next leaf; page 0 when
// there is none. Gives the leaf of the entry.
bool tree_skip_to_entry(File& file, std::size_t tree, Place& place, Node& leaf);
// Moves to the entry before the place, with the same results.
bool tree_step_back(File& file, std::size_t tree, Place& place, Node& leaf);

// Give the places before the first entry and after the last one.
bool tree_first(File& file, std::size_t tree, Place& place);
bool tree_end(File& file, std::size_t tree, Place& place);

// ---- Within a change. 0, or 105 when another page that must change too is not sound; then the
// change must be undone

// Inserts an entry at the path that tree_find gave for it.
int tree_insert(File& file, std::size_t tree, Path& path, const Probe& probe, SlotNumber slot);
// Removes the entry at the path.
int tree_remove(File& file, std::size_t tree, Path& path);
// Makes the entry at a place of a leaf refer to another slot.
void tree_set_number(File& file, Place place, SlotNumber slot);
// Makes an empty tree.
void tree_create(File& file, std::size_t tree);

}  // namespace marigold::inner::isam
