// SPDX-License-Identifier: GPL-3.0-or-later
// Builds a tree from entries that come in ascending order: its leaves one after the other, and
// above them each inner node when it is full, so that every page is written once.
//
// Nodes keep some free space, so that the next records do not split each of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/isam/local/node_change.h"

namespace marigold::inner::isam {

class TreeBuilder {
 public:
  // Builds a tree of `file.trees` and sets its header in the contents at the end. Nothing is saved
  // for an undo, since the trees have no meaning meanwhile.
  TreeBuilder(File& file, std::size_t tree);

  // Adds an entry greater than all before, given by its TreeShape::compare_length bytes. 0, or the
  // number for iserrno.
  int add(const std::byte* bytes, SlotNumber slot);
  // Completes the tree after the last entry, with the same results.
  int finish();

 private:
  // Inner node that is being filled.
  struct Level {
    std::vector<Entry> children;
    std::size_t kept = 1;  // bytes that its entries need, without the first
    bool is_first = true;  // no other node of this level is written
  };

  [[nodiscard]] const std::byte* entry(std::size_t index) const {
    return leaf_.data() + index * entry_size_;
  }
  [[nodiscard]] std::size_t count() const { return leaf_.size() / entry_size_; }
  [[nodiscard]] std::size_t same_bytes(const std::byte* a, const std::byte* b) const;
  [[nodiscard]] std::size_t end_of_leaf(const std::byte* next) const;

  int take_page(PageNumber& page);
  int write_leaf(std::size_t entries, bool is_last, const std::byte* next);
  int add_child(std::size_t level, const Entry& child);
  int write_inner(std::size_t level);
  void complete(PageNumber page);

  File& file_;
  std::size_t tree_;
  std::size_t whole_;            // bytes that an entry is compared by
  std::size_t entry_size_;       // in leaf_
  std::vector<std::byte> leaf_;  // entries of the next leaf
  std::size_t prefix_ = 0;       // length of their common prefix
  std::uint64_t entries_ = 0;
  PageNumber leaf_page_ = 0;  // page of the next leaf
  PageNumber last_leaf_ = 0;
  Entry bound_{};                          // bound of the next leaf
  std::array<Level, kMostLevels> levels_;  // from 1 on
  PageNumber remembered_;                  // pages from here on are still in this process's memory
};

}  // namespace marigold::inner::isam
