// SPDX-License-Identifier: GPL-3.0-or-later
// Searches in a tree. Another process may be changing it: a value read here is verified before it
// is followed, and no loop runs longer than a tree can be deep.

#include <compare>
#include <cstring>

#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {
namespace {

constexpr std::size_t kPieces = 2 * kPiece;  // the first two

// Mask of the first bytes of a piece that is read as a number.
std::uint64_t mask_of(std::uint32_t bytes) {
  return bytes >= kPiece ? ~std::uint64_t{0} : ~(~std::uint64_t{0} >> 8 * bytes);
}

// The part of the probe that is compared with a node's entries. Its first two pieces are held as
// numbers, by which most comparisons end.
struct Comparison {
  const std::byte* probe;
  std::uint32_t length;
  std::uint64_t first;
  std::uint64_t first_mask;  // of the bytes that belong to entries shorter than that
  std::uint64_t second = 0;
  std::uint64_t second_mask = 0;

  Comparison(const std::byte* from, std::uint32_t compared)
      : probe(from), length(compared), first(0), first_mask(mask_of(compared)) {
    first = big_endian(probe) & first_mask;
    if (length <= kPiece) return;
    second_mask = mask_of(length - kPiece);
    second = big_endian(probe + kPiece) & second_mask;
  }

  // Whether the entry comes before the place that is looked for.
  [[nodiscard]] bool passes(const std::byte* entry, bool or_equal) const {
    std::uint64_t other = big_endian(entry) & first_mask;
    if (other != first) return other < first;
    if (length <= kPiece) return or_equal;
    other = big_endian(entry + kPiece) & second_mask;
    if (other != second) return other < second;
    if (length <= 2 * kPiece) return or_equal;
    const int order = std::memcmp(entry + kPieces, probe + kPieces, length - kPieces);
    return order < 0 || (order == 0 && or_equal);
  }
};

// Number of a node's entries before the place. The first `first` entries count as before it.
std::uint32_t entries_before(const Node& node, std::uint32_t first, const Probe& probe,
                             bool or_equal) {
  const Comparison comparison(probe.data() + node.header.prefix, node.header.kept);
  std::uint32_t count = node.header.count - first;
  while (count > 0) {
    const std::uint32_t half = count / 2;
    const bool right = comparison.passes(node.entry(first + half), or_equal);
    first = right ? first + half + 1 : first;
    count = right ? count - half - 1 : half;
  }
  return first;
}

// Compares the probe with the common prefix of a node's entries.
std::strong_ordering compare_prefix(const Node& node, const Probe& probe) {
  for (std::uint32_t at = 0; at < node.header.prefix; at += kPiece) {
    const std::uint64_t mask = mask_of(node.header.prefix - at);
    const std::uint64_t own = big_endian(probe.data() + at) & mask;
    const std::uint64_t other = big_endian(node.prefix + at) & mask;
    if (own != other) return own <=> other;
  }
  return std::strong_ordering::equal;
}

// Goes from an inner node to its child, which is prefetched. `choose` returns the child's index.
template <typename Choose>
bool follow(File& file, std::size_t tree, std::size_t level, Path& path, Choose choose) {
  PageNumber& page = path.nodes[0].page;
  Node node;
  if (!read_node(file, page, kInner, tree, node) || node.header.count == 0) return false;
  const std::uint32_t index = choose(node);
  path.nodes[level] = {page, index};
  page = node.number(index);
  tree_fetch(file, page);
  return true;
}

// Goes from the root to a leaf, which is not verified yet.
template <typename Choose>
bool descend(File& file, std::size_t tree, Path& path, Choose choose) {
  if (!tree_enter(file, tree, path)) return false;
  for (std::size_t level = path.levels - 1; level > 0; --level) {
    if (!follow(file, tree, level, path, choose)) return false;
  }
  return true;
}

}  // namespace

bool tree_enter(const File& file, std::size_t tree, Path& path) {
  const TreeHeader root = file.contents().trees[tree];
  if (root.levels < 1 || root.levels > kMostLevels) return false;
  path.levels = root.levels;
  path.nodes[0] = {root.root, 0};
  return true;
}

bool tree_follow(File& file, std::size_t tree, std::size_t level, const Probe& probe, Path& path) {
  return follow(file, tree, level, path,
                [&](const Node& node) { return entries_before(node, 1, probe, true) - 1; });
}

bool tree_arrive(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path) {
  Place& place = path.nodes[0];
  Node node;
  if (!read_node(file, place.page, kLeaf, tree, node)) return false;
  const std::strong_ordering order = compare_prefix(node, probe);
  place.index = 0;
  if (order > 0) place.index = node.header.count;
  if (order == 0) place.index = entries_before(node, 0, probe, bound == Bound::kGreater);
  return true;
}

bool tree_find(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path) {
  if (!tree_enter(file, tree, path)) return false;
  for (std::size_t level = path.levels - 1; level > 0; --level) {
    if (!tree_follow(file, tree, level, probe, path)) return false;
  }
  return tree_arrive(file, tree, probe, bound, path);
}

bool tree_skip_to_entry(File& file, std::size_t tree, Place& place, Node& leaf) {
  // One page further is enough: only the root can be an empty leaf.
  if (!read_node(file, place.page, kLeaf, tree, leaf)) return false;
  if (place.index < leaf.header.count) return true;
  place = {leaf.header.next, 0};
  if (place.page == 0) return true;
  return read_node(file, place.page, kLeaf, tree, leaf) && leaf.header.count > 0;
}

bool tree_step_back(File& file, std::size_t tree, Place& place, Node& leaf) {
  if (!read_node(file, place.page, kLeaf, tree, leaf)) return false;
  if (place.index == 0) {
    place = {leaf.header.previous, 0};
    if (place.page == 0) return true;
    if (!read_node(file, place.page, kLeaf, tree, leaf)) return false;
    place.index = leaf.header.count;
    if (place.index == 0) return false;
  }
  --place.index;
  return true;
}

bool tree_first(File& file, std::size_t tree, Place& place) {
  Path path;
  if (!descend(file, tree, path, [](const Node&) { return 0U; })) return false;
  place = path.nodes[0];
  return page_is_sound(file, place.page, kLeaf, tree);
}

bool tree_end(File& file, std::size_t tree, Place& place) {
  Path path;
  const auto last = [](const Node& node) { return node.header.count - 1U; };
  if (!descend(file, tree, path, last)) return false;
  PageHeader header;
  if (!page_is_sound(file, path.nodes[0].page, kLeaf, tree, header)) return false;
  place = {path.nodes[0].page, header.count};
  return true;
}

}  // namespace marigold::inner::isam
