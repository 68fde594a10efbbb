// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/node_change.h"

#include <algorithm>

#include "runtime/isam/local/change.h"

namespace marigold::inner::isam {
namespace {

bool is_saved(const File& file, PageNumber page) {
  return std::ranges::find(file.saved_pages, page) != file.saved_pages.end();
}

// Saves the header and the entries from `place` on, and voids the page's checksum.
void save_from(File& file, Place place) {
  PageHeader& header = header_of(file, place.page);
  if (file.logging && !is_saved(file, place.page)) {
    save_header(file, place.page);
    save(file, Side::kIndex, entry_in(file, place),
         (header.count - place.index) * entry_size(header));
  }
  header.checksum = 0;
}

bool is_shape_of(Shape shape, const PageHeader& header) {
  return shape.prefix == header.prefix && shape.kept == header.kept;
}

// Bytes that an inner node must keep of its entries, apart from the first one.
std::size_t bounds_length(File& file, PageNumber page) {
  std::size_t length = 1;
  for (std::uint32_t i = 1; i < header_of(file, page).count; ++i)
    length = std::max(length, bound_length(read_entry(file, {page, i}).bytes));
  return length;
}

// Copies an entry of an inner node into one that keeps more or fewer bytes of it.
void copy_bound(std::byte* to, const PageHeader& target, const std::byte* from,
                const PageHeader& source) {
  const std::size_t same = std::min(target.kept, source.kept);
  std::memcpy(to, from, same);
  std::memset(to + same, 0, target.kept - same);
  std::memcpy(to + target.kept, from + source.kept, kNumberLength);
}

// Copies an entry of a leaf into one with a longer or a shorter prefix. Writes up to 7 bytes beyond
// the entry; the caller copies entries in ascending order, so the next one overwrites these.
void copy_entry(std::byte* to, const PageHeader& target, const std::byte* from,
                const PageHeader& source, const std::byte* source_prefix) {
  if (target.prefix >= source.prefix)
    return copy_pieces(to, from + target.prefix - source.prefix, entry_size(target));
  const std::size_t more = source.prefix - target.prefix;
  copy_pieces(to, source_prefix + target.prefix, more);
  copy_pieces(to + more, from, entry_size(source));
}

// Copy of a node before it gets another shape.
using Image = std::array<std::byte, kPageSize>;

Image image_of(const File& file, PageNumber page) {
  Image image;
  std::memcpy(image.data(), file.page(page), kPageSize);
  return image;
}

}  // namespace

// ---- Saving

void save_header(File& file, PageNumber page) {
  save(file, Side::kIndex, file.page(page), sizeof(PageHeader));
}

void save_node(File& file, PageNumber page) {
  PageHeader& header = header_of(file, page);
  if (file.logging && !is_saved(file, page)) {
    save(file, Side::kIndex, file.page(page), sizeof(PageHeader) + node_space(header));
    file.saved_pages.push_back(page);
  }
  header.checksum = 0;
}

// ---- Shapes

bool fits(Shape shape, std::size_t count) {
  return node_space(count, shape.prefix, shape.kept) <= kNodeSpace;
}

Shape leaf_shape(const File& file, std::size_t tree, const Probe& first, const Probe& last) {
  const std::size_t whole = file.trees[tree].compare_length;
  std::size_t prefix = 0;
  while (prefix < whole - 1 && first[prefix] == last[prefix])
    ++prefix;
  return {prefix, whole - prefix};
}

std::size_t bound_length(const Probe& bound) {
  std::size_t length = bound.size();
  while (length > 1 && bound[length - 1] == std::byte{0})
    --length;
  return length;
}

Shape shape_with(File& file, std::size_t tree, Place place, const Entry& entry) {
  const PageHeader& header = header_of(file, place.page);
  if (header.kind == kInner)
    return {0, std::max(bounds_length(file, place.page), bound_length(entry.bytes))};
  const auto at = [&](std::uint32_t index) { return read_entry(file, {place.page, index}).bytes; };
  return leaf_shape(file, tree, place.index == 0 ? entry.bytes : at(0),
                    place.index == header.count ? entry.bytes : at(header.count - 1U));
}

bool suits(File& file, PageNumber page, const Entry& entry) {
  const PageHeader& header = header_of(file, page);
  if (header.kind == kInner) return bound_length(entry.bytes) <= header.kept;
  const std::byte* prefix = file.page(page) + sizeof(PageHeader);
  return std::memcmp(prefix, entry.bytes.data(), header.prefix) == 0;
}

void set_shape(File& file, PageNumber page, Shape shape, const Probe& like) {
  PageHeader& header = header_of(file, page);
  header.prefix = static_cast<std::uint16_t>(shape.prefix);
  header.kept = static_cast<std::uint16_t>(shape.kept);
  std::memcpy(file.page(page) + sizeof(PageHeader), like.data(), shape.prefix);
}

void copy_shape(File& file, PageNumber to, PageNumber from) {
  Probe like;
  std::memcpy(like.data(), file.page(from) + sizeof(PageHeader), header_of(file, from).prefix);
  set_shape(file, to, shape_of(header_of(file, from)), like);
}

void reshape(File& file, PageNumber page, Shape shape, const Probe& like) {
  PageHeader& header = header_of(file, page);
  // A node without entries has no meaningful prefix.
  if (is_shape_of(shape, header) && header.count > 0) return;
  save_node(file, page);
  const Image image = image_of(file, page);
  const std::size_t count = header.count;
  header.count = 0;
  set_shape(file, page, shape, like);
  append(file, page, image.data(), 0, count);
}

void tighten(File& file, std::size_t tree, PageNumber page) {
  const std::uint32_t count = header_of(file, page).count;
  if (count == 0) return;
  const Probe first = read_entry(file, {page, 0}).bytes;
  const Probe last = read_entry(file, {page, count - 1}).bytes;
  reshape(file, page, leaf_shape(file, tree, first, last), first);
}

bool make_room(File& file, std::size_t tree, Place place, const Entry& entry) {
  const PageHeader& header = header_of(file, place.page);
  const std::uint32_t count = header.count;
  const bool is_full = !fits(shape_of(header), count + 1);
  if (count > 0 && !is_full && suits(file, place.page, entry)) return true;
  const Shape shape = shape_with(file, tree, place, entry);
  if (!fits(shape, count + 1)) return false;
  reshape(file, place.page, shape, entry.bytes);
  return true;
}

// ---- Entries

std::byte* entry_in(File& file, Place place) {
  const PageHeader& header = header_of(file, place.page);
  return file.page(place.page) + sizeof(PageHeader) + header.prefix +
         place.index * entry_size(header);
}

std::uint32_t number_in(File& file, Place place) {
  std::uint32_t number = 0;
  std::memcpy(&number, entry_in(file, place) + header_of(file, place.page).kept, sizeof number);
  return number;
}

Entry read_entry(File& file, Place place) {
  const PageHeader& header = header_of(file, place.page);
  Entry entry;
  std::memcpy(entry.bytes.data(), file.page(place.page) + sizeof(PageHeader), header.prefix);
  std::memcpy(entry.bytes.data() + header.prefix, entry_in(file, place), header.kept);
  entry.number = number_in(file, place);
  return entry;
}

void set_number(File& file, Place place, std::uint32_t number) {
  PageHeader& header = header_of(file, place.page);
  std::byte* at = entry_in(file, place) + header.kept;
  if (!is_saved(file, place.page)) {
    save_header(file, place.page);
    save(file, Side::kIndex, at, sizeof number);
  }
  header.checksum = 0;
  std::memcpy(at, &number, sizeof number);
}

void put_entry(File& file, Place place, const Entry& entry) {
  save_from(file, place);
  PageHeader& header = header_of(file, place.page);
  std::byte* at = entry_in(file, place);
  std::memmove(at + entry_size(header), at, (header.count - place.index) * entry_size(header));
  std::memcpy(at, entry.bytes.data() + header.prefix, header.kept);
  std::memcpy(at + header.kept, &entry.number, kNumberLength);
  ++header.count;
}

void take_entry(File& file, Place place) {
  save_from(file, place);
  PageHeader& header = header_of(file, place.page);
  std::byte* at = entry_in(file, place);
  std::memmove(at, at + entry_size(header), (header.count - place.index - 1U) * entry_size(header));
  --header.count;
}

void append(File& file, PageNumber to, const std::byte* from, std::size_t first,
            std::size_t count) {
  PageHeader& target = header_of(file, to);
  const auto& source = *reinterpret_cast<const PageHeader*>(from);
  std::byte* out = entry_in(file, {to, target.count});
  const std::byte* prefix = from + sizeof(PageHeader);
  const std::byte* in = prefix + source.prefix + first * entry_size(source);
  change_step();  // here a node that gets another shape is empty
  target.count = static_cast<std::uint16_t>(target.count + count);
  if (is_shape_of(shape_of(source), target)) {
    std::memcpy(out, in, count * entry_size(source));
    return;
  }
  for (; count > 0; --count, in += entry_size(source), out += entry_size(target))
    source.kind == kInner ? copy_bound(out, target, in, source)
                          : copy_entry(out, target, in, source, prefix);
}

// ---- Pages

PageNumber page_take(File& file) {
  Contents& contents = file.contents();
  const auto free = static_cast<PageNumber>(contents.free_page);
  if (free == 0) return static_cast<PageNumber>(contents.page_count++);
  if (!free_page_is_sound(file, free)) return 0;
  save(file, Side::kIndex, file.page(free), sizeof(PageHeader));
  contents.free_page = reinterpret_cast<const PageHeader*>(file.page(free))->next;
  --contents.free_pages;
  return free;
}

void page_give(File& file, PageNumber number) {
  Contents& contents = file.contents();
  auto& header = *reinterpret_cast<PageHeader*>(file.page(number));
  // The whole node: the same change may take the page again and overwrite it.
  save(file, Side::kIndex, file.page(number), sizeof header + node_space(header));
  header = PageHeader{.checksum = 0,
                      .kind = kFreePage,
                      .tree = 0,
                      .count = 0,
                      .previous = 0,
                      .next = static_cast<PageNumber>(contents.free_page),
                      .prefix = 0,
                      .kept = 0};
  contents.free_page = number;
  ++contents.free_pages;
}

void start_node(File& file, PageNumber page, std::uint8_t kind, std::size_t tree) {
  header_of(file, page) =
      PageHeader{.checksum = 0,
                 .kind = kind,
                 .tree = static_cast<std::uint8_t>(tree),
                 .count = 0,
                 .previous = 0,
                 .next = 0,
                 .prefix = 0,
                 .kept = static_cast<std::uint16_t>(file.trees[tree].compare_length)};
  file.intact_pages[page] = 1;
  if (file.logging) file.saved_pages.push_back(page);
}

}  // namespace marigold::inner::isam
