#include "runtime/print/variables.h"

#include <array>
#include <vector>

namespace marigold {
namespace {

struct State {
  std::vector<Variable> variables;
  std::size_t next = 0;  // behind the one that was found last
  std::array<double, kRegisters> registers{};
};
State state;

std::size_t outline_of(std::string_view name) {
  if (name.empty()) return 0;
  return name.size() << 16 | static_cast<std::uint8_t>(name.front()) << 8 |
         static_cast<std::uint8_t>(name.back());
}

constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

// Programs set their variables in the same order for each record, and blocks print them so: the one
// behind the last that was found is looked at first.
std::size_t place_of(std::string_view name, std::int32_t generation) {
  const std::size_t outline = outline_of(name);
  const std::size_t count = state.variables.size();
  std::size_t place = state.next;
  for (std::size_t looked_at = 0; looked_at < count; ++looked_at, ++place) {
    if (place >= count) place = 0;
    const Variable& variable = state.variables[place];
    if (variable.outline != outline || variable.generation != generation || variable.name != name)
      continue;
    state.next = place + 1;
    return place;
  }
  return kNowhere;
}

// The variable to be given a value, or null when there is no room for a new one.
Variable* to_be_set(std::string_view name, std::int32_t generation) {
  const std::size_t found = place_of(name, generation);
  if (found != kNowhere) return &state.variables[found];
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
  const std::size_t found = place_of(name, generation);
  if (found == kNowhere) return;
  state.variables.erase(state.variables.begin() + static_cast<std::ptrdiff_t>(found));
}

const Variable* variable_find(std::string_view name, std::int32_t generation) {
  const std::size_t found = place_of(name, generation);
  return found == kNowhere ? nullptr : &state.variables[found];
}

void register_set(std::size_t index, double number) {
  if (index < kRegisters) state.registers.at(index) = number;
}

double register_get(std::size_t index) {
  return index < kRegisters ? state.registers.at(index) : 0;
}

}  // namespace marigold
