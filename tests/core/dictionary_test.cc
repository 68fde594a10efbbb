// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/dictionary.h"

#include <random>

#include "tests/support/support.h"

namespace marigold::inner::test {

using Node = DictionaryTree::Node;

// Returns the height of a subtree with correct balances and order; -1000 spoils the sum.
static int checked_height(const Node* node, std::string_view above, std::string_view below) {
  if (node == nullptr) return 0;
  const std::string_view name = node->name.view();
  const int left = checked_height(node->children[DictionaryTree::kLeft].get(), above, name);
  const int right = checked_height(node->children[DictionaryTree::kRight].get(), name, below);
  const bool good = name > above && name < below && node->balance == right - left &&
                    right - left >= -1 && right - left <= 1;
  return good ? 1 + std::max(left, right) : -1000;
}

TEST(DictionaryTest, StaysBalancedInEveryOrderOfInsertion) {
  std::vector<std::string> names(4096);
  std::ranges::generate(names, [next = 10000]() mutable { return std::to_string(next++); });
  const auto check = [&names](const char* order) {
    DictionaryTree tree;
    for (const std::string& name : names)
      ASSERT_NE(tree.insert(name), nullptr);
    const int height = checked_height(tree.root(), "", "\xFF");
    EXPECT_GE(height, 13) << order;
    EXPECT_LE(height, 17) << order;  // 1.44 * log2 of the number of names
    for (const std::string& name : names)
      ASSERT_EQ(tree.find(name)->name.view(), name);
  };
  check("ascending");
  std::ranges::reverse(names);
  check("descending");
  std::ranges::shuffle(names, std::mt19937(7));
  check("random");
}

TEST(DictionaryTest, NamesAreCutAndUnique) {
  int values[6] = {};
  Dictionary<int> dictionary;
  EXPECT_TRUE(dictionary.insert("CUSTOMER1", values[0]));
  EXPECT_FALSE(dictionary.insert("CUSTOMER2", values[1]));
  EXPECT_TRUE(dictionary.insert("AB CD", values[2]));
  EXPECT_TRUE(dictionary.insert("Z\0Y"s, values[3]));
  EXPECT_TRUE(dictionary.insert("\xC4", values[4]));
  const std::pair<std::string, const int*> rows[] = {
      {"CUSTOMER", &values[0]}, {"AB", &values[2]},   {"AB      ", &values[2]}, {"Z", &values[3]},
      {"\xC4  x", &values[4]},  {"CUSTOME", nullptr}, {"ab", nullptr},          {"", nullptr}};
  for (const auto& [name, value] : rows)
    EXPECT_EQ(dictionary.find(name), value) << name;
  std::vector<const int*> walked;
  dictionary.walk([&walked](const int& value) { walked.push_back(&value); });
  EXPECT_EQ(walked, (std::vector<const int*>{&values[2], &values[0], &values[3], &values[4]}));
  EXPECT_EQ(&dictionary_value(dictionary, "AB"), &values[2]);
  EXPECT_DEATH(dictionary_value(dictionary, "XY"), "system error 2\n");
}

}  // namespace marigold::inner::test
