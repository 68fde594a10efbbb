// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/engine/variables.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>

namespace marigold::inner {
namespace {

struct State {
  std::deque<Variable> variables;  // a deque, so that they keep their addresses
  std::size_t set = 0;
  Variable* last = nullptr;  // the variable asked for last
  std::array<double, kRegisters> registers{};
};
State state;

template <typename Number>
std::uint64_t number_at(const char* from) {
  Number number = 0;
  std::memcpy(&number, from, sizeof number);
  return number;
}

// Returns all of a name of up to 8 characters, because every value of every record compares names;
// of a longer name its beginning. Names of different lengths may have the same outline.
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

// A name in the form for comparisons.
struct Wanted {
  std::string_view name;
  std::uint64_t outline;
  std::int32_t generation;
};

bool is_it(const Variable& variable, const Wanted& wanted) {
  constexpr std::size_t kWhole = 8;
  return variable.generation == wanted.generation && variable.outline == wanted.outline &&
         variable.name.size() == wanted.name.size() &&
         (wanted.name.size() <= kWhole || variable.name == wanted.name);
}

Variable* look_through(const Wanted& wanted) {
  const auto found = std::ranges::find_if(
      state.variables, [&](const Variable& variable) { return is_it(variable, wanted); });
  if (found == state.variables.end()) return nullptr;
  if (state.last != nullptr) state.last->next = &*found;
  return state.last = &*found;
}

// Finds the variable, set or not; null if there is none. Programs set their variables in the same
// order for each record, so it first tries the one that followed the last variable before.
Variable* find(std::string_view name, std::int32_t generation) {
  const Wanted wanted{name, outline_of(name), generation};
  Variable* const next = state.last == nullptr ? nullptr : state.last->next;
  if (next == nullptr || !is_it(*next, wanted)) return look_through(wanted);
  return state.last = next;
}

// Uses the room of a variable that is not set and not watched: lists may unset any number of
// variables.
Variable& add(std::string_view name, std::int32_t generation) {
  const auto is_free = [](const Variable& variable) {
    return variable.kind == VariableKind::kNotSet && !variable.watched;
  };
  auto room = std::ranges::find_if(state.variables, is_free);
  if (room == state.variables.end()) room = state.variables.emplace(state.variables.end());
  room->outline = outline_of(name);
  room->name = name;
  room->generation = generation;
  return *room;
}

// Returns the variable to give a value to, or null if there is no room for one more.
Variable* to_be_set(std::string_view name, std::int32_t generation, VariableKind kind) {
  Variable* variable = find(name, generation);
  if (variable == nullptr || variable->kind == VariableKind::kNotSet) {
    if (state.set == kMostVariables) return nullptr;
    ++state.set;
    if (variable == nullptr) variable = &add(name, generation);
  }
  variable->kind = kind;
  return variable;
}

}  // namespace

void variables_clear() {
  state = {};
}

bool variable_set(std::string_view name, std::int32_t generation, double number,
                  std::string_view as_text) {
  Variable* variable = to_be_set(name, generation, VariableKind::kNumeric);
  if (variable == nullptr) return false;
  variable->number = number;
  variable->text.clear();
  if (!as_text.empty()) variable->text.append(as_text);
  return true;
}

bool variable_set(std::string_view name, std::int32_t generation, std::string_view text) {
  Variable* variable = to_be_set(name, generation, VariableKind::kText);
  if (variable == nullptr) return false;
  // Into the same memory: an assignment would first check whether the text is a part of itself.
  variable->text.clear();
  variable->text.append(text);
  return true;
}

bool variable_set_empty(std::string_view name, std::int32_t generation) {
  return to_be_set(name, generation, VariableKind::kEmpty) != nullptr;
}

void variable_unset(std::string_view name, std::int32_t generation) {
  Variable* variable = find(name, generation);
  if (variable == nullptr || variable->kind == VariableKind::kNotSet) return;
  variable->kind = VariableKind::kNotSet;
  --state.set;
}

const Variable* variable_place(std::string_view name, std::int32_t generation) {
  Variable* variable = look_through({name, outline_of(name), generation});
  if (variable == nullptr) variable = &add(name, generation);
  variable->watched = true;
  return variable;
}

void register_set(std::size_t index, double number) {
  if (index < kRegisters) state.registers.at(index) = number;
}

double register_get(std::size_t index) {
  return index < kRegisters ? state.registers.at(index) : 0;
}

}  // namespace marigold::inner
