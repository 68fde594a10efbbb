// Changing a tree, within a change of the file: everything overwritten that the change did not
// itself write is saved first.

#include <algorithm>
#include <cstring>

#include "runtime/isam/tree.h"

namespace marigold::isam {
namespace {

using Entry = std::array<std::byte, kLongestCompare + kNumberLength>;

PageHeader& header_of(File& file, PageNumber page) {
  return *reinterpret_cast<PageHeader*>(file.page(page));
}

std::byte* entry_in(File& file, std::size_t tree, Place place) {
  return file.page(place.page) + sizeof(PageHeader) +
         std::size_t{place.index} * file.trees[tree].entry_length;
}

void save_header(File& file, PageNumber page) {
  save(file, Side::kIndex, file.page(page), sizeof(PageHeader));
}

bool is_saved(const File& file, PageNumber page) {
  return std::ranges::find(file.saved_pages, page) != file.saved_pages.end();
}

// Saves header and entries from one index on, and takes the page's check away.
void save_from(File& file, std::size_t tree, Place place) {
  PageHeader& header = header_of(file, place.page);
  if (file.logging && !is_saved(file, place.page)) {
    save_header(file, place.page);
    save(file, Side::kIndex, entry_in(file, tree, place),
         std::size_t{header.count - place.index} * file.trees[tree].entry_length);
    if (place.index == 0) file.saved_pages.push_back(place.page);
  }
  header.check = 0;
}

void put_entry(File& file, std::size_t tree, Place place, const Entry& entry) {
  const std::size_t length = file.trees[tree].entry_length;
  save_from(file, tree, place);
  PageHeader& header = header_of(file, place.page);
  std::byte* at = entry_in(file, tree, place);
  std::memmove(at + length, at, std::size_t{header.count - place.index} * length);
  std::memcpy(at, entry.data(), length);
  ++header.count;
}

void take_entry(File& file, std::size_t tree, Place place) {
  const std::size_t length = file.trees[tree].entry_length;
  save_from(file, tree, place);
  PageHeader& header = header_of(file, place.page);
  std::byte* at = entry_in(file, tree, place);
  std::memmove(at, at + length, std::size_t{header.count - place.index - 1U} * length);
  --header.count;
}

void set_number(const TreeShape& shape, Entry& entry, std::uint32_t number) {
  std::memcpy(entry.data() + shape.compare_length, &number, sizeof number);
}

void start_page(File& file, PageNumber page, std::uint8_t kind, std::size_t tree) {
  header_of(file, page) = PageHeader{.check = 0,
                                     .kind = kind,
                                     .tree = static_cast<std::uint8_t>(tree),
                                     .count = 0,
                                     .previous = 0,
                                     .next = 0};
  file.verified[page] = 1;
  if (file.logging) file.saved_pages.push_back(page);
}

// Hangs a new leaf between a leaf and its right neighbour.
bool link_right(File& file, std::size_t tree, PageNumber left, PageNumber right) {
  const PageNumber beyond = header_of(file, left).next;
  if (beyond != 0) {
    if (!page_is_sound(file, beyond, kLeaf, tree)) return false;
    save_header(file, beyond);
    header_of(file, beyond).previous = right;
    header_of(file, beyond).check = 0;
  }
  header_of(file, right).previous = left;
  header_of(file, right).next = beyond;
  header_of(file, left).next = right;
  return true;
}

// Takes a leaf out of the chain of leaves.
bool unlink(File& file, std::size_t tree, PageNumber page) {
  const PageNumber previous = header_of(file, page).previous;
  const PageNumber next = header_of(file, page).next;
  for (const PageNumber neighbour : {previous, next}) {
    if (neighbour == 0) continue;
    if (!page_is_sound(file, neighbour, kLeaf, tree)) return false;
    save_header(file, neighbour);
    header_of(file, neighbour).check = 0;
  }
  if (previous != 0) header_of(file, previous).next = next;
  if (next != 0) header_of(file, next).previous = previous;
  return true;
}

// Where a full node is divided: in the middle, but a node that grows at the end of its level is
// left full, so that records that arrive in order fill their pages.
std::uint32_t division(const PageHeader& header, std::uint32_t index) {
  return header.next == 0 && index == header.count && header.kind == kLeaf ? header.count
                                                                           : header.count / 2U;
}

// Divides a full node and puts the entry into the half where it belongs; the new right half's first
// entry, pointing to it, is what its parent gets.
int split(File& file, std::size_t tree, Place place, Entry& entry) {
  const TreeShape& shape = file.trees[tree];
  save_from(file, tree, {place.page, 0});
  const PageNumber right = page_take(file);
  if (right == 0) return kIsBadFile;
  PageHeader& left_header = header_of(file, place.page);
  const std::uint32_t middle = division(left_header, place.index);  // before it has a neighbour
  start_page(file, right, left_header.kind, tree);
  if (left_header.kind == kLeaf && !link_right(file, tree, place.page, right)) return kIsBadFile;
  const std::uint32_t moved = left_header.count - middle;
  std::memcpy(entry_in(file, tree, {right, 0}), entry_in(file, tree, {place.page, middle}),
              std::size_t{moved} * shape.entry_length);
  header_of(file, right).count = static_cast<std::uint16_t>(moved);
  left_header.count = static_cast<std::uint16_t>(middle);
  const bool goes_right = place.index > middle || moved == 0;
  put_entry(file, tree, goes_right ? Place{right, place.index - middle} : place, entry);
  std::memcpy(entry.data(), entry_in(file, tree, {right, 0}), shape.compare_length);
  set_number(shape, entry, right);
  return 0;
}

// A new root above the old one and its new right neighbour.
int grow_root(File& file, std::size_t tree, const Entry& right) {
  TreeHeader& root = file.contents().trees[tree];
  const PageNumber page = page_take(file);
  if (page == 0) return kIsBadFile;
  start_page(file, page, kInner, tree);
  Entry left{};
  set_number(file.trees[tree], left, root.root);
  put_entry(file, tree, {page, 0}, left);
  put_entry(file, tree, {page, 1}, right);
  root.root = page;
  ++root.levels;
  return 0;
}

// Whether two neighbouring nodes should become one: with room left, so that the next record does
// not part them again.
bool belong_together(const File& file, std::size_t tree, PageNumber left, PageNumber right) {
  const std::uint32_t together = page_header(file, left).count + page_header(file, right).count;
  return together <= file.trees[tree].capacity * 3 / 4;
}

// Moves the entries of the right node, which is the parent's entry at `place`, into the left one
// and gives the right one up.
int merge(File& file, std::size_t tree, PageNumber left, Place place) {
  const std::byte* parent_entry = entry_at(file, tree, place);
  const PageNumber right = entry_number(file.trees[tree], parent_entry);
  PageHeader& to = header_of(file, left);
  const PageHeader& from = header_of(file, right);
  if (to.kind == kLeaf && !unlink(file, tree, right)) return kIsBadFile;
  save_header(file, left);
  std::byte* first = entry_in(file, tree, {left, to.count});
  std::memcpy(first, entry_in(file, tree, {right, 0}),
              std::size_t{from.count} * file.trees[tree].entry_length);
  // What bounded the right node from below now bounds its first child, whose own entry did not
  // count until now.
  if (to.kind == kInner) std::memcpy(first, parent_entry, file.trees[tree].compare_length);
  to.count = static_cast<std::uint16_t>(to.count + from.count);
  to.check = 0;
  page_give(file, right);
  return 0;
}

// The neighbour below the same parent with which a thin node can be merged, as the index of the
// left one of the two; false when there is none.
bool find_partner(File& file, std::size_t tree, Place parent, std::uint8_t kind,
                  std::uint32_t& left) {
  const std::uint32_t children = page_header(file, parent.page).count;
  for (const std::uint32_t index : {parent.index, parent.index - 1}) {
    if (index >= children - 1) continue;  // the last child, or the number before the first one
    const PageNumber a = entry_number(file.trees[tree], entry_at(file, tree, {parent.page, index}));
    const PageNumber b =
        entry_number(file.trees[tree], entry_at(file, tree, {parent.page, index + 1}));
    if (!page_is_sound(file, a, kind, tree) || !page_is_sound(file, b, kind, tree)) continue;
    if (!belong_together(file, tree, a, b)) continue;
    left = index;
    return true;
  }
  return false;
}

// While the root is an inner node with one child, the child is the root.
void shrink_root(File& file, std::size_t tree) {
  TreeHeader& root = file.contents().trees[tree];
  while (root.levels > 1 && page_header(file, root.root).count == 1) {
    const PageNumber old = root.root;
    root.root = entry_number(file.trees[tree], entry_at(file, tree, {old, 0}));
    --root.levels;
    page_give(file, old);
  }
}

// What is to be done about a node that has lost an entry: gives the index of a child that its
// parent has lost by it, or that nothing was lost.
int thin_out(File& file, std::size_t tree, PageNumber page, Place parent, bool& lost,
             std::uint32_t& lost_index) {
  const PageHeader& header = page_header(file, page);
  lost = header.count == 0;
  lost_index = parent.index;
  if (lost) {
    if (header.kind == kLeaf && !unlink(file, tree, page)) return kIsBadFile;
    page_give(file, page);
    return 0;
  }
  std::uint32_t left = 0;
  if (header.count >= file.trees[tree].capacity / 3) return 0;
  if (!find_partner(file, tree, parent, header.kind, left)) return 0;
  lost = true;
  lost_index = left + 1;
  const PageNumber left_page =
      entry_number(file.trees[tree], entry_at(file, tree, {parent.page, left}));
  return merge(file, tree, left_page, {parent.page, left + 1});
}

}  // namespace

void tree_set_number(File& file, std::size_t tree, Place place, SlotNumber slot) {
  std::byte* number = entry_in(file, tree, place) + file.trees[tree].compare_length;
  if (!is_saved(file, place.page)) {
    save_header(file, place.page);
    save(file, Side::kIndex, number, sizeof slot);
  }
  header_of(file, place.page).check = 0;
  std::memcpy(number, &slot, sizeof slot);
}

void tree_create(File& file, std::size_t tree) {
  const PageNumber page = page_take(file);
  start_page(file, page, kLeaf, tree);
  file.contents().trees[tree] = {.root = page, .levels = 1, .entries = 0};
}

int tree_insert(File& file, std::size_t tree, Path& path, const Probe& probe, SlotNumber slot) {
  const TreeShape& shape = file.trees[tree];
  Entry entry{};
  std::memcpy(entry.data(), probe.data(), shape.compare_length);
  set_number(shape, entry, slot);
  ++file.contents().trees[tree].entries;
  for (std::size_t level = 0; level < path.levels; ++level) {
    Place place = path.nodes[level];
    if (level > 0) ++place.index;  // behind the child that was divided
    if (page_header(file, place.page).count < shape.capacity) {
      put_entry(file, tree, place, entry);
      return 0;
    }
    if (const int failed = split(file, tree, place, entry)) return failed;
  }
  return grow_root(file, tree, entry);
}

int tree_remove(File& file, std::size_t tree, Path& path) {
  --file.contents().trees[tree].entries;
  std::uint32_t index = path.nodes[0].index;
  for (std::size_t level = 0;; ++level) {
    const PageNumber page = path.nodes[level].page;
    take_entry(file, tree, {page, index});
    if (level + 1 == path.levels) break;
    bool lost = false;
    if (const int failed = thin_out(file, tree, page, path.nodes[level + 1], lost, index))
      return failed;
    if (!lost) break;
  }
  shrink_root(file, tree);
  return 0;
}

}  // namespace marigold::isam
