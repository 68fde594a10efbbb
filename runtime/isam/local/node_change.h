// SPDX-License-Identifier: GPL-3.0-or-later
// A node within a change: its entries and its shape.
//
// These functions look at the page of the node only, and do not verify it. The caller has done so.
#pragma once

#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {

// An entry on its way into a node: the bytes that it is compared by, filled up with zeros, and its
// number.
struct Entry {
  Probe bytes{};
  std::uint32_t number = 0;
};

// Shape of a node: the bytes that it stores once for all entries (prefix), and those that it stores
// of each entry (kept). In a leaf both together are all bytes that an entry is compared by. An
// inner node has no prefix, since its first entry need not resemble the others, and keeps of each
// entry the bound of its child without the zeros at the end.
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
// Saves the whole node and voids its checksum.
void save_node(File& file, PageNumber page);

// ---- Shapes

// Whether a node of this shape has room for `count` entries.
bool fits(Shape shape, std::size_t count);

// Shape in which a leaf with this first and this last entry takes the least space.
Shape leaf_shape(const File& file, std::size_t tree, const Probe& first, const Probe& last);
// Bytes of a child's bound that an inner node must keep: all but the zeros at the end.
std::size_t bound_length(const Probe& bound);
// Shape in which a node takes the least space once it holds an entry at `place`.
Shape shape_with(File& file, std::size_t tree, Place place, const Entry& entry);
// Whether a node can store an entry in its present shape, if it has the room.
bool suits(File& file, PageNumber page, const Entry& entry);

// Sets the shape of a node without entries. `like` begins with the prefix.
void set_shape(File& file, PageNumber page, Shape shape, const Probe& like);
void copy_shape(File& file, PageNumber to, PageNumber from);
// Gives a node another shape. `like` begins with the new prefix.
void reshape(File& file, PageNumber page, Shape shape, const Probe& like);
// Gives a leaf the shape in which it takes the least space.
void tighten(File& file, std::size_t tree, PageNumber page);
// Makes room for an entry, in another shape if need be. False when the node must be split.
bool make_room(File& file, std::size_t tree, Place place, const Entry& entry);

// ---- Entries

std::byte* entry_in(File& file, Place place);
std::uint32_t number_in(File& file, Place place);
Entry read_entry(File& file, Place place);
void set_number(File& file, Place place, std::uint32_t number);
void put_entry(File& file, Place place, const Entry& entry);
void take_entry(File& file, Place place);
// Appends `count` entries of another node, from its entry `first` on, in the shape of the node
// `to`.
void append(File& file, PageNumber to, const std::byte* from, std::size_t first, std::size_t count);

// ---- Pages

// Takes a page from the free list or, when that is empty, the next one at the end. 0 when the first
// page of the list is not a sound free page: the file is damaged and the change must be undone.
PageNumber page_take(File& file);
void page_give(File& file, PageNumber number);

// Makes a page that was taken a node without entries.
void start_node(File& file, PageNumber page, std::uint8_t kind, std::size_t tree);

}  // namespace marigold::inner::isam
