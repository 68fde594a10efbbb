#include "runtime/print/variables.h"

#include <algorithm>
#include <array>
#include <vector>

namespace marigold {
namespace {

struct State {
  std::vector<Variable> variables;
  std::array<double, kRegisters> registers{};
};
State state;

std::size_t outline_of(std::string_view name) {
  if (name.empty()) return 0;
  return name.size() << 16 | static_cast<std::uint8_t>(name.front()) << 8 |
         static_cast<std::uint8_t>(name.back());
}

auto place_of(std::string_view name, std::int32_t generation) {
  const std::size_t outline = outline_of(name);
  return std::ranges::find_if(state.variables, [&](const Variable& variable) {
    return variable.outline == outline && variable.generation == generation &&
           variable.name == name;
  });
}

// The variable to be given a value, or null when there is no room for a new one.
Variable* to_be_set(std::string_view name, std::int32_t generation) {
  const auto found = place_of(name, generation);
  if (found != state.variables.end()) return &*found;
  if (state.variables.size() == kMostVariables) return nullptr;
  state.variables.push_back({.outline = outline_of(name),
                             .name = std::string(name),
                             .generation = generation,
                             .text = {}});
  return &state.variables.back();
}

}  // namespace

void variables_clear() {
  state = {};
}

bool variable_set(std::string_view name, std::int32_t generation, double number) {
  Variable* variable = to_be_set(name, generation);
  if (variable == nullptr) return false;
  variable->kind = VariableKind::kNumeric;
  variable->number = number;
  return true;
}

bool variable_set(std::string_view name, std::int32_t generation, std::string_view text) {
  Variable* variable = to_be_set(name, generation);
  if (variable == nullptr) return false;
  variable->kind = VariableKind::kText;
  variable->text = text;
  return true;
}

void variable_unset(std::string_view name, std::int32_t generation) {
  const auto found = place_of(name, generation);
  if (found != state.variables.end()) state.variables.erase(found);
}

const Variable* variable_find(std::string_view name, std::int32_t generation) {
  const auto found = place_of(name, generation);
  return found == state.variables.end() ? nullptr : &*found;
}

void register_set(std::size_t index, double number) {
  if (index < kRegisters) state.registers.at(index) = number;
}

double register_get(std::size_t index) {
  return index < kRegisters ? state.registers.at(index) : 0;
}

}  // namespace marigold
