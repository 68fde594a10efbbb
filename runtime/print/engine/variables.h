// SPDX-License-Identifier: GPL-3.0-or-later
// What a program tells a list by name: 120 variables, each a number or a text, and ten registers.
//
// Process-wide. A variable is known by its name and its generation: a list that is printed within
// another one may have its own under the same names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marigold {

inline constexpr std::size_t kMostVariables = 120;
inline constexpr std::size_t kRegisters = 10;

enum class VariableKind : std::uint8_t {
  kNotSet = 0,
  kNumeric = 1,
  kText = 2,
  kEmpty = 3,  // printed as blanks, and otherwise as if it were not set
};

struct Variable {
  std::uint64_t outline = 0;  // of the name, to compare first
  std::string name;
  std::int32_t generation = 0;
  Variable* next = nullptr;  // the one that was asked for after it, last time
  bool watched = false;      // someone has asked for its place
  VariableKind kind = VariableKind::kNotSet;
  double number = 0;
  std::string text;  // of a number: how it is printed where no mask edits it; "": its digits
};

inline bool is_set(const Variable& variable) {
  return variable.kind == VariableKind::kNumeric || variable.kind == VariableKind::kText;
}

// No variables, all registers 0.
void variables_clear();

// False when it would be one more than there is room for. The text is copied, and must not be that
// of the variable itself.
bool variable_set(std::string_view name, std::int32_t generation, double number,
                  std::string_view as_text = {});
bool variable_set(std::string_view name, std::int32_t generation, std::string_view text);
bool variable_set_empty(std::string_view name, std::int32_t generation);
void variable_unset(std::string_view name, std::int32_t generation);

// Where the variable is, or will be once it is set: the same place until the next variables_clear,
// for blocks that print it many times.
const Variable* variable_place(std::string_view name, std::int32_t generation);

// Indexes 0 to 9; others are ignored and read as 0.
void register_set(std::size_t index, double number);
double register_get(std::size_t index);

}  // namespace marigold
