#include "runtime/print/variables.h"

#include <array>
#include <cstring>
#include <vector>

namespace marigold {
namespace {

struct State {
  std::vector<Variable> variables;
  std::size_t next = 0;  // behind the one that was found last
  std::array<double, kRegisters> registers{};
};
State state;

template <typename Number>
std::uint64_t number_at(const char* from) {
  Number number = 0;
  std::memcpy(&number, from, sizeof number);
  return number;
}

// All of a name of up to 8 characters, as those have to be compared for every value of every
// record; of a longer one the beginning. Names of different lengths may share an outline.
std::uint64_t outline_of(std::string_view name) {
  const std::size_t size = name.size();
  const char* const from = name.data();
  if (size >= 8) return number_at<std::uint64_t>(from);
  if (size >= 4)
    return number_at<std::uint32_t>(from) | number_at<std::uint32_t>(from + size - 4) << 32;
  if (size == 0) return 0;
  return number_at<std::uint8_t>(from) | number_at<std::uint8_t>(from + size / 2) << 8 |
         number_at<std::uint8_t>(from + size - 1) << 16;
}

bool has_name(const Variable& variable, std::string_view name, std::uint64_t outline) {
  constexpr std::size_t kWhole = 8;
  return variable.outline == outline && variable.name.size() == name.size() &&
         (name.size() <= kWhole || variable.name == name);
}

constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

// Programs set their variables in the same order for each record, and blocks print them so: the one
// behind the last that was found is looked at first.
std::size_t place_of(std::string_view name, std::int32_t generation) {
  const std::uint64_t outline = outline_of(name);
  const std::size_t count = state.variables.size();
  std::size_t place = state.next;
  for (std::size_t looked_at = 0; looked_at < count; ++looked_at, ++place) {
    if (place >= count) place = 0;
    const Variable& variable = state.variables[place];
    if (variable.generation != generation || !has_name(variable, name, outline)) continue;
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
