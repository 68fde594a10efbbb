// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/dictionary.h"

#include <new>
#include <utility>

#include "runtime/core/system_errors.h"

namespace marigold::inner {
namespace {

constexpr std::int8_t kEven = 0;  // the balance of a node with subtrees of one height

using Side = DictionaryTree::Side;

Side opposite(Side side) {
  return side == DictionaryTree::kLeft ? DictionaryTree::kRight : DictionaryTree::kLeft;
}

// Returns the balance of a node whose subtree on this side is higher.
std::int8_t leaning(Side side) {
  return side == DictionaryTree::kLeft ? -1 : 1;
}

std::unique_ptr<DictionaryTree::Node> make_node(std::string_view name) {
  std::unique_ptr<DictionaryTree::Node> node(new (std::nothrow) DictionaryTree::Node);
  if (!node) raise_fatal(kErrorNoMemory);
  node->name.assign_cut(name);
  return node;
}

}  // namespace

std::string_view dictionary_cut(std::string_view name) {
  name = name.substr(0, kDictionaryNameLength);
  return name.substr(0, name.find_first_of(std::string_view(" \0", 2)));
}

DictionaryTree::Node* DictionaryTree::insert(std::string_view name) {
  Node* created = nullptr;
  insert_below(root_, dictionary_cut(name), created);
  return created;
}

// Inserts the name below the link. Returns whether the subtree became higher.
bool DictionaryTree::insert_below(Link& link, std::string_view name, Node*& created) {
  if (!link) {
    link = make_node(name);
    created = link.get();
    return true;
  }
  const int order = name.compare(link->name.view());
  if (order == 0) return false;
  const Side side = order < 0 ? kLeft : kRight;
  return insert_below(link->children[side], name, created) && grow(link, side);
}

// Rebalances after the subtree on this side became higher. Returns whether the whole subtree became
// higher.
bool DictionaryTree::grow(Link& link, Side side) {
  if (link->balance == leaning(opposite(side))) {
    link->balance = kEven;
    return false;
  }
  if (link->balance == kEven) {
    link->balance = leaning(side);
    return true;
  }
  if (link->children[side]->balance == leaning(side)) {
    link->balance = kEven;
    link->children[side]->balance = kEven;
    rotate(link, side);
  } else {
    rotate_twice(link, side);
  }
  return false;
}

// Lifts the child on this side into the place of its parent.
void DictionaryTree::rotate(Link& link, Side side) {
  Link parent = std::move(link);
  link = std::move(parent->children[side]);
  parent->children[side] = std::move(link->children[opposite(side)]);
  link->children[opposite(side)] = std::move(parent);
}

// Lifts the inner grandchild on this side into the place of the root.
void DictionaryTree::rotate_twice(Link& link, Side side) {
  Node& root = *link;
  Node& child = *root.children[side];
  Node& lifted = *child.children[opposite(side)];
  child.balance = lifted.balance == leaning(opposite(side)) ? leaning(side) : kEven;
  root.balance = lifted.balance == leaning(side) ? leaning(opposite(side)) : kEven;
  lifted.balance = kEven;
  rotate(root.children[side], opposite(side));
  rotate(link, side);
}

DictionaryTree::Node* DictionaryTree::find(std::string_view name) const {
  name = dictionary_cut(name);
  Node* node = root_.get();
  while (node != nullptr) {
    const int order = name.compare(node->name.view());
    if (order == 0) break;
    node = node->children[order < 0 ? kLeft : kRight].get();
  }
  return node;
}

}  // namespace marigold::inner
