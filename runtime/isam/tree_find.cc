// Finding in a tree. Another process may be changing it: nothing read here is followed before it is
// checked, and no loop runs longer than the tree can be deep.

#include <bit>
#include <cstring>

#include "runtime/isam/tree.h"

namespace marigold::isam {
namespace {

constexpr std::uint32_t kPiece = 8;
constexpr std::size_t kPieces = 16;  // the first two

std::uint64_t big_endian(const std::byte* from) {
  std::uint64_t value = 0;
  std::memcpy(&value, from, sizeof value);
  return __builtin_bswap64(value);
}

// Of 8 bytes as a number: those of the first so many.
std::uint64_t mask_of(std::uint32_t bytes) {
  return bytes >= kPiece ? ~std::uint64_t{0} : ~(~std::uint64_t{0} >> 8 * bytes);
}

// The probe in the form in which most comparisons end after one or two: its first pieces of 8 bytes
// as numbers.
struct Comparison {
  const std::byte* probe;
  std::uint32_t length;
  std::uint64_t first;
  std::uint64_t first_mask;  // of the bytes that belong to entries shorter than that
  std::uint64_t second = 0;
  std::uint64_t second_mask = 0;

  Comparison(const Probe& key, std::uint32_t compare_length)
      : probe(key.data()), length(compare_length), first(0), first_mask(mask_of(compare_length)) {
    first = big_endian(probe) & first_mask;
    if (length <= kPiece) return;
    second_mask = mask_of(length - kPiece);
    second = big_endian(probe + kPiece) & second_mask;
  }

  // Whether the entry stands before the place that is looked for.
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

// The number of the first `count` entries that stand before the place.
std::uint32_t entries_before(const std::byte* entries, std::uint32_t count,
                             std::uint32_t entry_length, const Comparison& comparison,
                             bool or_equal) {
  std::uint32_t first = 0;
  while (count > 0) {
    const std::uint32_t half = count / 2;
    const bool right =
        comparison.passes(entries + std::size_t{first + half} * entry_length, or_equal);
    first = right ? first + half + 1 : first;
    count = right ? count - half - 1 : half;
  }
  return first;
}

const std::byte* entries_of(const File& file, PageNumber page) {
  return file.page(page) + sizeof(PageHeader);
}

PageNumber child_at(const File& file, std::size_t tree, PageNumber page, std::uint32_t index) {
  return entry_number(file.trees[tree], entry_at(file, tree, {page, index}));
}

bool node_is_sound(File& file, PageNumber page, std::uint8_t kind, std::size_t tree) {
  return page_is_sound(file, page, kind, tree) &&
         page_header(file, page).count <= file.trees[tree].capacity;
}

// Goes down from the root to a leaf, which is not looked at yet; `choose` gives the child to follow
// in an inner node.
template <typename Choose>
bool descend(File& file, std::size_t tree, Path& path, Choose choose) {
  const TreeHeader root = file.contents().trees[tree];
  if (root.levels < 1 || root.levels > kMostLevels) return false;
  path.levels = root.levels;
  PageNumber page = root.root;
  for (std::size_t level = root.levels - 1; level > 0; --level) {
    if (!node_is_sound(file, page, kInner, tree)) return false;
    const std::uint32_t count = page_header(file, page).count;
    if (count == 0) return false;
    const std::uint32_t index = choose(page, count);
    path.nodes[level] = {page, index};
    page = child_at(file, tree, page, index);
    if (level > 1) tree_fetch(file, page);  // the leaf is the caller's
  }
  path.nodes[0] = {page, 0};
  return true;
}

}  // namespace

bool tree_approach(File& file, std::size_t tree, const Probe& probe, Path& path) {
  const TreeShape& shape = file.trees[tree];
  const Comparison comparison(probe, shape.compare_length);
  const bool sound = descend(file, tree, path, [&](PageNumber page, std::uint32_t count) {
    return entries_before(entries_of(file, page) + shape.entry_length, count - 1,
                          shape.entry_length, comparison, true);
  });
  if (sound) tree_fetch(file, path.nodes[0].page);
  return sound;
}

bool tree_arrive(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path) {
  const TreeShape& shape = file.trees[tree];
  Place& place = path.nodes[0];
  if (!node_is_sound(file, place.page, kLeaf, tree)) return false;
  place.index = entries_before(entries_of(file, place.page), page_header(file, place.page).count,
                               shape.entry_length, Comparison(probe, shape.compare_length),
                               bound == Bound::kGreater);
  return true;
}

bool tree_find(File& file, std::size_t tree, const Probe& probe, Bound bound, Path& path) {
  return tree_approach(file, tree, probe, path) && tree_arrive(file, tree, probe, bound, path);
}

bool tree_settle_forward(File& file, std::size_t tree, Place& place) {
  // One page on is enough: only the root can be an empty leaf.
  if (place.index < page_header(file, place.page).count) return true;
  place = {page_header(file, place.page).next, 0};
  if (place.page == 0) return true;
  return page_is_sound(file, place.page, kLeaf, tree) && page_header(file, place.page).count > 0;
}

bool tree_step_back(File& file, std::size_t tree, Place& place) {
  if (place.index == 0) {
    const PageNumber previous = page_header(file, place.page).previous;
    if (previous == 0) {
      place = {};
      return true;
    }
    if (!page_is_sound(file, previous, kLeaf, tree)) return false;
    place = {previous, page_header(file, previous).count};
    if (place.index == 0) return false;
  }
  --place.index;
  return true;
}

bool tree_first(File& file, std::size_t tree, Place& place) {
  Path path;
  if (!descend(file, tree, path, [](PageNumber, std::uint32_t) { return 0U; })) return false;
  place = path.nodes[0];
  return node_is_sound(file, place.page, kLeaf, tree);
}

bool tree_end(File& file, std::size_t tree, Place& place) {
  Path path;
  const auto last = [](PageNumber, std::uint32_t count) { return count - 1; };
  if (!descend(file, tree, path, last)) return false;
  place = path.nodes[0];
  if (!node_is_sound(file, place.page, kLeaf, tree)) return false;
  place.index = page_header(file, place.page).count;
  return true;
}

}  // namespace marigold::isam
