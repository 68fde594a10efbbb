// The trees of an index file: B+ trees of entries that are ordered as strings of bytes.
//
// An entry is what it is compared by (TreeShape::compare_length bytes: the key, and behind it the
// record's sequence where duplicates are allowed, so that no two entries are equal) and a number:
// in a leaf the record's slot, in an inner node the page of a child. A child holds what is not less
// than its own entry and less than the next one; the first entry of an inner node counts as less
// than everything, whatever it holds. Leaves are linked to both sides.
//
// What all entries of a leaf begin with stands in it once. Neighbours in a tree have most of their
// bytes in common, so a leaf holds more of them, and fewer leaves have to be waited for.
//
// Reading functions return false when a page does not look as it must: then a writer is at work, or
// the file is damaged.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "runtime/isam/file.h"

namespace marigold::isam {

// The first compare_length bytes count. Behind each of them two pieces of 8 bytes can be taken, and
// put.
using Probe = std::array<std::byte, (kLongestCompare + 16 + 7) / 8 * 8>;

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

// A node as a reader sees it: with a copy of its header, so that what has been checked stays so
// while a writer changes the page.
struct Node {
  PageHeader header;
  const std::byte* prefix;
  const std::byte* entries;

  [[nodiscard]] std::size_t entry_size() const { return header.kept + kNumberLength; }
  [[nodiscard]] const std::byte* entry(std::uint32_t index) const {
    return entries + index * entry_size();
  }
  [[nodiscard]] std::uint32_t number(std::uint32_t index) const {
    std::uint32_t number = 0;
    std::memcpy(&number, entry(index) + header.kept, sizeof number);
    return number;
  }
};

inline bool read_node(File& file, PageNumber page, std::uint8_t kind, std::size_t tree,
                      Node& node) {
  if (!page_is_sound(file, page, kind, tree, node.header)) return false;
  node.prefix = file.page(page) + sizeof(PageHeader);
  node.entries = node.prefix + node.header.prefix;
  return true;
}

// Starts to fetch a node: one wait for memory in the place of one for each of the first halvings.
// Of most nodes the last quarter is empty.
[[gnu::always_inline]] inline void tree_fetch(const File& file, PageNumber page) {
  constexpr std::size_t kLine = 64;
  constexpr std::size_t kFetched = kPageSize / 4 * 3;
  if (page >= file.verified.size()) return;
  for (std::size_t at = 0; at < kFetched; at += kLine)
    __builtin_prefetch(file.page(page) + at);
}

// ---- Probes, in pieces of 8 bytes: a call of the C library for a few bytes would cost more than
// what it does

inline constexpr std::size_t kPiece = 8;

inline std::uint64_t piece_at(const std::byte* from) {
  std::uint64_t piece = 0;
  std::memcpy(&piece, from, kPiece);
  return piece;
}

// As a number that orders as its bytes do.
inline std::uint64_t big_endian(const std::byte* from) {
  return __builtin_bswap64(piece_at(from));
}

// Of a piece, the first so many bytes, less than all.
inline std::uint64_t first_bytes(std::uint64_t piece, std::size_t bytes) {
  return piece & ((std::uint64_t{1} << 8 * bytes) - 1);
}

// Up to 7 bytes more than asked for.
inline void copy_pieces(std::byte* to, const std::byte* from, std::size_t length) {
  for (std::size_t at = 0; at < length; at += kPiece)
    std::memcpy(to + at, from + at, kPiece);
}
inline void copy_compared(Probe& to, const Probe& from, const TreeShape& shape) {
  copy_pieces(to.data(), from.data(), shape.compare_length);
}

// Whether the first `length` bytes are the same.
inline bool begin_alike(const Probe& a, const Probe& b, std::size_t length) {
  std::size_t at = 0;
  for (; at + kPiece <= length; at += kPiece) {
    if (piece_at(a.data() + at) != piece_at(b.data() + at)) return false;
  }
  return first_bytes(piece_at(a.data() + at) ^ piece_at(b.data() + at), length - at) == 0;
}

// What an entry of a node is compared by. Put together in registers: the processor waits for what
// is read in one piece and was written in two.
inline void node_entry(const Node& node, std::uint32_t index, Probe& entry) {
  const std::byte* from = node.entry(index);
  const std::size_t prefix = node.header.prefix;
  const std::size_t whole = prefix + node.header.kept;
  const auto put = [&](std::size_t at, std::uint64_t piece) {
    std::memcpy(entry.data() + at, &piece, kPiece);
  };
  std::size_t at = 0;
  for (; at + kPiece <= prefix; at += kPiece)
    put(at, piece_at(node.prefix + at));
  const std::size_t rest = prefix - at;
  put(at, first_bytes(piece_at(node.prefix + at), rest) | piece_at(from) << 8 * rest);
  for (at += kPiece; at < whole; at += kPiece)
    put(at, piece_at(from + at - prefix));
}

// The place before the first entry that is not less than the probe, or greater than it.
enum class Bound { kNotLess, kGreater };
bool tree_find(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path);

// The same in two steps: down to the leaf, which is then being fetched, and the place in it.
// Between them the caller approaches the other trees, and waits once for the leaves of all.
bool tree_approach(File& file, std::size_t tree, const Probe& probe, Path& path);
bool tree_arrive(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path);

// Moves from the place behind the last entry of a leaf to the first entry of the next; page 0 when
// there is none. Gives the leaf in which the entry stands.
bool tree_settle_forward(File& file, std::size_t tree, Place& place, Node& leaf);
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
