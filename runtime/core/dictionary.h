// Name dictionary: what a short name stands for, in a height-balanced binary tree.
//
// Names have at most eight characters and are ordered byte by byte. A name that is handed in is cut
// first, see dictionary_cut, so "KUNDEN  " and "KUNDEN" are one. The dictionary owns its nodes and
// not what the names stand for. Nothing is ever removed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "marigold/core.h"
#include "runtime/core/user_interface.h"

#include "runtime/core/system_errors.h"

namespace marigold {

inline constexpr std::size_t kDictionaryNameLength = 8;
using DictionaryName = TextBuffer<kDictionaryNameLength>;

// The name up to its first blank, its first zero byte or its eighth character.
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

  // The new node, whose value the caller sets; null when the name is taken. Without memory: system
  // error 34, which does not return.
  Node* insert(std::string_view name);
  // The node of the name, or null.
  [[nodiscard]] Node* find(std::string_view name) const;
  // Null without names.
  [[nodiscard]] const Node* root() const { return root_.get(); }

 private:
  using Link = std::unique_ptr<Node>;

  static bool insert_below(Link& link, std::string_view name, Node*& created);
  static bool grow(Link& link, Side side);
  static void rotate(Link& link, Side side);
  static void rotate_twice(Link& link, Side side);

  Link root_;
};

// Names of records of type Value, which outlive the dictionary or its use.
template <typename Value>
class Dictionary {
 public:
  // False when the name is taken; it keeps its value.
  [[nodiscard]] bool insert(std::string_view name, Value& value) {
    DictionaryTree::Node* node = tree_.insert(name);
    if (node != nullptr) node->value = &value;
    return node != nullptr;
  }

  // What the name stands for, or null.
  [[nodiscard]] Value* find(std::string_view name) const {
    const DictionaryTree::Node* node = tree_.find(name);
    return node == nullptr ? nullptr : static_cast<Value*>(node->value);
  }

  // Calls visit(Value&) for all, in the order of their names.
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

// What the name stands for. A missing name is the given system error, which does not return.
template <typename Value>
Value& dictionary_value(const Dictionary<Value>& dictionary, std::string_view name,
                        int when_missing = kErrorUnknownField) {
  Value* value = dictionary.find(name);
  if (value == nullptr) raise_fatal(when_missing);
  return *value;
}

}  // namespace marigold
