// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/tree_build.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/space.h"

namespace marigold::inner::isam {
namespace {

// Bytes to which a node is filled.
constexpr std::size_t kFilled = kNodeSpace * 15 / 16;

// Up to an eighth of the entries of a full leaf may move from its end to the next leaf, for a
// shorter separator.
constexpr std::size_t kLooksBack = 8;

// Number of written pages that leave the process's memory together.
constexpr PageNumber kForgotten = (std::uint64_t{4} << 20) / kPageSize;

}  // namespace

TreeBuilder::TreeBuilder(File& file, std::size_t tree)
    : file_(file),
      tree_(tree),
      whole_(file.trees[tree].compare_length),
      entry_size_(whole_ + kNumberLength),
      remembered_(static_cast<PageNumber>(file.contents().page_count)) {}

// Length of the common prefix of two entries.
std::size_t TreeBuilder::same_bytes(const std::byte* a, const std::byte* b) const {
  std::size_t same = 0;
  for (; same + kPiece <= whole_; same += kPiece) {
    const std::uint64_t differs = piece_at(a + same) ^ piece_at(b + same);
    if (differs != 0) return same + static_cast<std::size_t>(std::countr_zero(differs)) / 8;
  }
  while (same < whole_ && a[same] == b[same])
    ++same;
  return same;
}

int TreeBuilder::add(const std::byte* bytes, SlotNumber slot) {
  std::size_t prefix = whole_ - 1;
  while (!leaf_.empty()) {
    prefix = std::min(prefix_, same_bytes(entry(0), bytes));
    if (node_space(count() + 1, prefix, whole_ - prefix) <= kFilled) break;
    const std::size_t end = end_of_leaf(bytes);
    if (const int failed = write_leaf(end, false, end < count() ? entry(end) : bytes))
      return failed;
    leaf_.erase(leaf_.begin(), leaf_.begin() + static_cast<std::ptrdiff_t>(end * entry_size_));
    prefix_ = whole_ - 1;
    if (!leaf_.empty()) prefix_ = std::min(prefix_, same_bytes(entry(0), entry(count() - 1)));
    prefix = prefix_;
  }
  prefix_ = prefix;
  const std::size_t at = leaf_.size();
  leaf_.resize(at + entry_size_);
  std::memcpy(leaf_.data() + at, bytes, whole_);
  std::memcpy(leaf_.data() + at + whole_, &slot, sizeof slot);
  ++entries_;
  return 0;
}

// Returns the split index of a full leaf: its end, or an index a little before it where neighbours
// differ early.
std::size_t TreeBuilder::end_of_leaf(const std::byte* next) const {
  std::size_t best = count();
  std::size_t shortest = same_bytes(entry(best - 1), next);
  const std::size_t least = std::max<std::size_t>(count() - count() / kLooksBack, 1);
  for (std::size_t end = count() - 1; end >= least; --end) {
    const std::size_t same = same_bytes(entry(end - 1), entry(end));
    if (same >= shortest) continue;
    best = end;
    shortest = same;
  }
  return best;
}

int TreeBuilder::take_page(PageNumber& page) {
  if (const int failed = file_grow_index(file_, file_.contents().page_count + 1)) return failed;
  page = page_take(file_);
  return page == 0 ? kIsBadFile : 0;
}

// Completes a page that is not needed again soon.
void TreeBuilder::complete(PageNumber page) {
  header_of(file_, page).checksum = page_checksum(file_.page(page));
  change_step();
  const auto end = static_cast<PageNumber>(file_.contents().page_count);
  if (end - remembered_ < kForgotten) return;
  file_.index.forget(remembered_ * kPageSize, (end - remembered_) * kPageSize);
  remembered_ = end;
}

// Writes the first `entries` entries as a leaf. `next` is the entry after them.
int TreeBuilder::write_leaf(std::size_t entries, bool is_last, const std::byte* next) {
  if (leaf_page_ == 0) {
    if (const int failed = take_page(leaf_page_)) return failed;
  }
  PageNumber right = 0;
  if (!is_last) {
    if (const int failed = take_page(right)) return failed;
  }
  const PageNumber page = leaf_page_;
  start_node(file_, page, kLeaf, tree_);
  const std::byte* last = entry(entries - 1);
  const std::size_t prefix = std::min(same_bytes(entry(0), last), whole_ - 1);
  Probe like;
  std::memcpy(like.data(), entry(0), prefix);
  set_shape(file_, page, {prefix, whole_ - prefix}, like);
  PageHeader& header = header_of(file_, page);
  header.count = static_cast<std::uint16_t>(entries);
  header.previous = last_leaf_;
  header.next = right;
  std::byte* to = entry_in(file_, {page, 0});
  for (std::size_t i = 0; i < entries; ++i, to += entry_size(header))
    std::memcpy(to, entry(i) + prefix, entry_size(header));
  complete(page);
  bound_.number = page;
  if (const int failed = add_child(1, bound_)) return failed;
  last_leaf_ = page;
  leaf_page_ = right;
  if (is_last) return 0;
  bound_ = Entry{};
  std::memcpy(bound_.bytes.data(), next, same_bytes(last, next) + 1);
  return 0;
}

int TreeBuilder::add_child(std::size_t level, const Entry& child) {
  Level& parent = levels_[level];
  const auto needed = [&] { return std::max(parent.kept, bound_length(child.bytes)); };
  const std::size_t count = parent.children.size() + 1;
  if (count > 1 && node_space(count, 0, needed()) > kFilled) {
    if (const int failed = write_inner(level)) return failed;
  }
  if (!parent.children.empty()) parent.kept = needed();
  parent.children.push_back(child);
  return 0;
}

// The first entry of a node is never compared there: its bytes go to the parent.
int TreeBuilder::write_inner(std::size_t level) {
  Level& node = levels_[level];
  PageNumber page = 0;
  if (const int failed = take_page(page)) return failed;
  start_node(file_, page, kInner, tree_);
  set_shape(file_, page, {0, node.kept}, node.children[0].bytes);
  PageHeader& header = header_of(file_, page);
  header.count = static_cast<std::uint16_t>(node.children.size());
  std::byte* to = entry_in(file_, {page, 0});
  for (const Entry& child : node.children) {
    std::memcpy(to, child.bytes.data(), header.kept);
    std::memcpy(to + header.kept, &child.number, kNumberLength);
    to += entry_size(header);
  }
  complete(page);
  Entry up = node.children[0];
  up.number = page;
  node.children.clear();
  node.kept = 1;
  node.is_first = false;
  return add_child(level + 1, up);
}

int TreeBuilder::finish() {
  if (entries_ == 0) {
    if (const int failed = file_grow_index(file_, file_.contents().page_count + 1)) return failed;
    tree_create(file_, tree_);
    return 0;
  }
  if (const int failed = write_leaf(count(), true, nullptr)) return failed;
  std::uint32_t level = 1;
  for (; !levels_[level].is_first || levels_[level].children.size() > 1; ++level) {
    if (const int failed = write_inner(level)) return failed;
  }
  file_.contents().trees[tree_] = {
      .root = levels_[level].children[0].number, .levels = level, .entries = entries_};
  return 0;
}

}  // namespace marigold::inner::isam
