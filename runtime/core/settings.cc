// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/settings.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace marigold::inner {
namespace {

struct State {
  Settings settings;
  OpenSubsystems open;
};

constinit State state;

// Compares without regard to case. All else counts: a blank after the keyword makes another word.
bool variable_says(const char* name, std::string_view keyword) {
  RuntimeString value;
  settings_read_variable(name, value);
  return std::ranges::equal(value.view(), keyword, {}, st_upper);
}

void read_text(const char* name, const char* when_empty, RuntimeString& target) {
  settings_read_variable(name, target);
  if (target.empty()) target.assign_cut(when_empty);
}

}  // namespace

void settings_read_variable(const char* name, RuntimeString& target) {
  target.clear();
  const char* value = std::getenv(name);
  if (value == nullptr) return;
  const int length = st_length(value);
  target.assign_cut({value, static_cast<std::size_t>(length)});
}

void settings_read() {
  state = State{};
  Settings& read = state.settings;
  read.screen_dump = variable_says("SCREEN_DUMP", "ENABLED");
  read.assigned_function_keys_only = !variable_says("FUNCTION_KEYS", "DISPLAY_ALL");
  read_text("LANGUAGE_SEARCHPATH", kDefaultSearchpath, read.language_searchpath);
  read_text("LANGUAGE_IDENTIFIER", kDefaultIdentifier, read.language_identifier);
  read.multi_user = variable_says("IS_MULTIUSER", "TRUE");
  read.debug = variable_says("DEBUG", "TRUE");
  if (read.debug) {
    read.debug_function_keys = variable_says("DEBUGFUNCTIONKEYS", "TRUE");
    read.debug_timer = variable_says("DEBUGTIMER", "TRUE");
  }
  read_text("DEFINITION_DIRECTORY", "./definitions", read.definition_directory);
  read_text("DATA_DIRECTORY", "./data/%p", read.data_directory);
  read_text("PRINT_DIRECTORY", "./print", read.print_directory);
}

const Settings& settings() {
  return state.settings;
}

OpenSubsystems& open_subsystems() {
  return state.open;
}

}  // namespace marigold::inner
