// SPDX-License-Identifier: GPL-3.0-or-later
// Name dictionary: finds the value of a short name in a height-balanced binary tree.
//
// Names have at most eight characters, in the order of their bytes. The dictionary cuts each name
// first (see dictionary_cut), so "KUNDEN  " and "KUNDEN" are the same. The dictionary owns its
// nodes but not the values, and removes no single name.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "marigold/core.h"
#include "runtime/core/user_interface.h"

#include "runtime/core/system_errors.h"

namespace marigold::inner {

inline constexpr std::size_t kDictionaryNameLength = 8;
using DictionaryName = TextBuffer<kDictionaryNameLength>;

// Returns the name up to its first blank, its first zero byte or its eighth character.
std::string_view dictionary_cut(std::string_view name);

// The tree without the type of its values; programs use Dictionary below.
class DictionaryTree {
 public:
  enum Side : std::uint8_t { kLeft = 0, kRight = 1 };

  struct Node {
    DictionaryName name;
    std::array<std::unique_ptr<Node>, 2> children;  // by Side: smaller names, greater names
    std::int8_t balance = 0;  // height of the right subtree less that of the left: -1, 0 or 1
    void* value = nullptr;
  };

  // Returns the new node, whose value the caller sets; null if the name is taken. Without memory:
  // system error 34, and the function does not return.
  Node* insert(std::string_view name);
  // Returns the node of the name, or null.
  [[nodiscard]] Node* find(std::string_view name) const;
  // Returns the root; null without names.
  [[nodiscard]] const Node* root() const { return root_.get(); }

 private:
  using Link = std::unique_ptr<Node>;

  static bool insert_below(Link& link, std::string_view name, Node*& created);
  static bool grow(Link& link, Side side);
  static void rotate(Link& link, Side side);
  static void rotate_twice(Link& link, Side side);

  Link root_;
};

// Maps names to records of type Value. The records must outlive every use of the dictionary.
template <typename Value>
class Dictionary {
 public:
  // Returns false if the name is taken; the name keeps its value.
  [[nodiscard]] bool insert(std::string_view name, Value& value) {
    DictionaryTree::Node* node = tree_.insert(name);
    if (node != nullptr) node->value = &value;
    return node != nullptr;
  }

  // Returns the value of the name, or null.
  [[nodiscard]] Value* find(std::string_view name) const {
    const DictionaryTree::Node* node = tree_.find(name);
    return node == nullptr ? nullptr : static_cast<Value*>(node->value);
  }

  // Calls visit(Value&) for all values, in the order of their names.
  template <typename Visit>
  void walk(Visit visit) const {
    walk_below(tree_.root(), visit);
  }

  [[nodiscard]] bool empty() const { return tree_.root() == nullptr; }
  void clear() { tree_ = {}; }

 private:
  template <typename Visit>
  static void walk_below(const DictionaryTree::Node* node, Visit& visit) {
    if (node == nullptr) return;
    walk_below(node->children[DictionaryTree::kLeft].get(), visit);
    visit(*static_cast<Value*>(node->value));
    walk_below(node->children[DictionaryTree::kRight].get(), visit);
  }

  DictionaryTree tree_;
};

// Returns the value of the name. A missing name is the given system error, and the function does
// not return.
template <typename Value>
Value& dictionary_value(const Dictionary<Value>& dictionary, std::string_view name,
                        int when_missing = kErrorUnknownField) {
  Value* value = dictionary.find(name);
  if (value == nullptr) raise_fatal(when_missing);
  return *value;
}

}  // namespace marigold::inner
