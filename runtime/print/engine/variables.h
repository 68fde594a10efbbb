// SPDX-License-Identifier: GPL-3.0-or-later
// Values that a program gives a list by name: 120 variables, each a number or a text, and ten
// registers.
//
// Process-wide. A variable has a name and a generation: a list within another one can use the same
// names with a generation of its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marigold::inner {

inline constexpr std::size_t kMostVariables = 120;
inline constexpr std::size_t kRegisters = 10;

enum class VariableKind : std::uint8_t {
  kNotSet = 0,
  kNumeric = 1,
  kText = 2,
  kEmpty = 3,  // printed as blanks; for conditions not set
};

struct Variable {
  std::uint64_t outline = 0;  // of the name, compared first
  std::string name;
  std::int32_t generation = 0;
  Variable* next = nullptr;  // the variable asked for after it, last time
  bool watched = false;      // a block keeps its address
  VariableKind kind = VariableKind::kNotSet;
  double number = 0;
  std::string text;  // of a number: its text where no mask applies; "": its digits
};

inline bool is_set(const Variable& variable) {
  return variable.kind == VariableKind::kNumeric || variable.kind == VariableKind::kText;
}

// Removes all variables and sets all registers to 0.
void variables_clear();

// Sets a variable. Returns false if there is no room for one more. Copies the text, which must not
// be that of the variable itself.
bool variable_set(std::string_view name, std::int32_t generation, double number,
                  std::string_view as_text = {});
bool variable_set(std::string_view name, std::int32_t generation, std::string_view text);
bool variable_set_empty(std::string_view name, std::int32_t generation);
void variable_unset(std::string_view name, std::int32_t generation);

// Returns the address of the variable, or of its place once it is set: valid until the next
// variables_clear, for blocks that print it many times.
const Variable* variable_place(std::string_view name, std::int32_t generation);

// Indexes 0 to 9; others have no effect and read as 0.
void register_set(std::size_t index, double number);
double register_get(std::size_t index);

}  // namespace marigold::inner
