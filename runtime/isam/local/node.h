// SPDX-License-Identifier: GPL-3.0-or-later
// Nodes as readers see them, and the bytes that entries are compared by. tree.h describes the
// trees.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// ---- Probes: the whole bytes that an entry is compared by. They are handled in pieces of 8 bytes,
// since a call of the C library for a few bytes costs more than its work

// Only the first TreeShape::compare_length bytes count. From each of these, two pieces can be read
// and written.
using Probe = std::array<std::byte, (kLongestCompare + 16 + 7) / 8 * 8>;

inline constexpr std::size_t kPiece = 8;

inline std::uint64_t piece_at(const std::byte* from) {
  std::uint64_t piece = 0;
  std::memcpy(&piece, from, kPiece);
  return piece;
}

// Reads a piece as a number that orders like its bytes.
inline std::uint64_t big_endian(const std::byte* from) {
  return __builtin_bswap64(piece_at(from));
}

// Keeps the first bytes of a piece, fewer than all.
inline std::uint64_t first_bytes(std::uint64_t piece, std::size_t bytes) {
  return piece & ((std::uint64_t{1} << 8 * bytes) - 1);
}

// Copies up to 7 bytes more than `length`.
inline void copy_pieces(std::byte* to, const std::byte* from, std::size_t length) {
  for (std::size_t at = 0; at < length; at += kPiece)
    std::memcpy(to + at, from + at, kPiece);
}
inline void copy_compared(Probe& to, const Probe& from, const TreeShape& shape) {
  copy_pieces(to.data(), from.data(), shape.compare_length);
}

// Whether the first `length` bytes are equal.
inline bool begin_alike(const Probe& a, const Probe& b, std::size_t length) {
  std::size_t at = 0;
  for (; at + kPiece <= length; at += kPiece) {
    if (piece_at(a.data() + at) != piece_at(b.data() + at)) return false;
  }
  return first_bytes(piece_at(a.data() + at) ^ piece_at(b.data() + at), length - at) == 0;
}

// ---- Nodes

// Whether a page may be followed: it is a node of this tree and kind, its entries lie inside it,
// and its checksum is right or void. The verdict holds for the copy of the header only, since a
// writer may be changing the page.
inline bool page_is_sound(File& file, PageNumber number, std::uint8_t kind, std::size_t tree,
                          PageHeader& header) {
  if (number == 0 || number >= file.intact_pages.size()) return false;
  std::memcpy(&header, file.page(number), sizeof header);
  if (header.kind != kind || header.tree != tree || node_space(header) > kNodeSpace) return false;
  const std::uint32_t whole = file.trees[tree].compare_length;
  if (kind == kInner && (header.prefix != 0 || header.kept > whole)) return false;
  if (kind == kLeaf && header.prefix + header.kept != whole) return false;
  if (header.kept == 0) return false;
  return file.intact_pages[number] != 0 || page_checksum_fits(file, number);
}
inline bool page_is_sound(File& file, PageNumber number, std::uint8_t kind, std::size_t tree) {
  PageHeader header;
  return page_is_sound(file, number, kind, tree, header);
}

inline bool free_page_is_sound(File& file, PageNumber number) {
  if (number == 0 || number >= file.intact_pages.size()) return false;
  const auto* header = reinterpret_cast<const PageHeader*>(file.page(number));
  return header->kind == kFreePage && page_checksum_fits(file, number);
}
// Node as a reader sees it. The header is a copy, so that verified values stay the same while a
// writer changes the page.
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

inline void find_entries_of(const File& file, PageNumber page, Node& node) {
  node.prefix = file.page(page) + sizeof(PageHeader);
  node.entries = node.prefix + node.header.prefix;
}

inline bool read_node(File& file, PageNumber page, std::uint8_t kind, std::size_t tree,
                      Node& node) {
  if (!page_is_sound(file, page, kind, tree, node.header)) return false;
  find_entries_of(file, page, node);
  return true;
}

// Reads a node of a page that was verified before, without verifying it again.
inline Node view_node(const File& file, PageNumber page) {
  Node node;
  std::memcpy(&node.header, file.page(page), sizeof node.header);
  find_entries_of(file, page, node);
  return node;
}

// Puts the bytes together that an entry is compared by. Works in registers: a processor stalls when
// it reads in one piece what was written in two.
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

}  // namespace marigold::inner::isam
