// A node within a change: its entries, and the shape in which it keeps them.
//
// Nothing here looks beyond the page, or whether it is sound: that is the caller's.
#pragma once

#include "runtime/isam/tree.h"

namespace marigold::isam {

// An entry on its way into a node: what it is compared by, with zeros behind, and its number.
struct Entry {
  Probe bytes{};
  std::uint32_t number = 0;
};

// How many bytes of its entries a node keeps once, and how many of each. In a leaf they are all
// that an entry is compared by. An inner node keeps nothing once, because its first entry need not
// look like the others, and of each what bounds its child from below: zeros at the end are left
// out.
struct Shape {
  std::size_t prefix;
  std::size_t kept;
};

inline PageHeader& header_of(File& file, PageNumber page) {
  return *reinterpret_cast<PageHeader*>(file.page(page));
}

inline Shape shape_of(const PageHeader& header) {
  return {header.prefix, header.kept};
}
inline std::size_t entry_size(const PageHeader& header) {
  return std::size_t{header.kept} + kNumberLength;
}

// ---- Saving what a change overwrites

void save_header(File& file, PageNumber page);
// The whole node, and takes the page's check away.
void save_node(File& file, PageNumber page);

// ---- Shapes

// Whether a node of this shape has room for so many entries.
bool fits(Shape shape, std::size_t count);

// The shape in which a leaf takes the least space of which these are the first entry and the last.
Shape leaf_shape(const File& file, std::size_t tree, const Probe& first, const Probe& last);
// What an inner node must keep of what bounds a child from below.
std::size_t bound_length(const Probe& bound);
// The shape in which a node, and an entry that comes to a place in it, take the least space.
Shape shape_with(File& file, std::size_t tree, Place place, const Entry& entry);
// Whether an entry can come into a node in the shape that the node has.
bool suits(File& file, PageNumber page, const Entry& entry);

// For a node without entries; `like` begins with the prefix.
void set_shape(File& file, PageNumber page, Shape shape, const Probe& like);
void copy_shape(File& file, PageNumber to, PageNumber from);
// Gives a node another shape; `like` begins with what its entries are to have in common.
void reshape(File& file, PageNumber page, Shape shape, const Probe& like);
// Gives a leaf the shape in which it takes the least space.
void tighten(File& file, std::size_t tree, PageNumber page);
// Sees to it that an entry fits into a node, which may take another shape for it; false when the
// node must be divided.
bool make_room(File& file, std::size_t tree, Place place, const Entry& entry);

// ---- Entries

std::byte* entry_in(File& file, Place place);
std::uint32_t number_in(File& file, Place place);
Entry read_entry(File& file, Place place);
void set_number(File& file, Place place, std::uint32_t number);
void put_entry(File& file, Place place, const Entry& entry);
void take_entry(File& file, Place place);
// Copies so many entries of another node, from one on, behind those of a node, in its shape.
void append(File& file, PageNumber to, const std::byte* from, std::size_t first, std::size_t count);

// ---- Pages

// Takes a page; 0 when the one that should be free is not: the file is damaged and the change must
// be undone.
PageNumber page_take(File& file);
void page_give(File& file, PageNumber number);

// Makes a page that was taken a node without entries.
void start_node(File& file, PageNumber page, std::uint8_t kind, std::size_t tree);

}  // namespace marigold::isam
