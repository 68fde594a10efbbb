// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/status_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "runtime/core/runtime_string.h"
#include "runtime/core/settings.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner {
namespace {

constexpr const char* kFileName = "pstatus.tmp";

// Classes up to this one have names that every reader of the file knows.
constexpr int kLastPathWithoutName = 5;

struct PathSlot {
  bool held = false;
  RuntimeString name;
};

struct State {
  FileWriter file;
  std::array<PathSlot, kPathClasses> paths;
};

constinit State state;

// The flag decides, not the file, so that clearing the flags at start-up takes effect here.
bool is_open() {
  return open_subsystems().status_file && state.file.is_open();
}

void close_file() {
  state.file.close();
  open_subsystems().status_file = false;
}

// Ignores a failure: the file is for observers, and the program goes on without it.
void write(std::string_view text) {
  static_cast<void>(state.file.write(text));
}

void write_header(const char* program) {
  const LocalTime now = clock_local_time();
  std::array<char, 128> moment{};
  std::snprintf(moment.data(), moment.size(), "DATUM    =%02d-%02d-%4d\nUHRZEIT  =%02d:%02d:%02d\n",
                now.day, now.month, now.year, now.hour, now.minute, now.second);
  write(std::string("PROGRAMM =").append(program).append("\n").append(moment.data()));
}

void write_path_line(int path) {
  const PathSlot& slot = state.paths[static_cast<std::size_t>(path)];
  std::array<char, 16> number{};
  std::snprintf(number.data(), number.size(), "%2d", path);
  std::string line = slot.held ? "LOCKPATH =" : "FREEPATH =";
  line += number.data();
  if (path > kLastPathWithoutName) line.append(": ").append(slot.name.view());
  write(line + "\n");
}

}  // namespace

void status_start() {
  state.file.close();
  state.paths = {};
}

void status_open(const char* program) {
  close_file();
  if (state.file.make_again(kFileName) != 0) return;
  write_header(program);
  open_subsystems().status_file = true;
  if (!open_subsystems().path_locks) return;
  for (int path = 0; path < kPathClasses; ++path) {
    if (state.paths[static_cast<std::size_t>(path)].held) write_path_line(path);
  }
}

void status_path_event(int path, bool locked, const char* name) {
  if (path < 0 || path >= kPathClasses) return;
  PathSlot& slot = state.paths[static_cast<std::size_t>(path)];
  slot.held = locked;
  slot.name.assign_cut(name);
  if (is_open()) write_path_line(path);
}

void status_close() {
  if (!is_open()) return;
  write("EXIT     =OK\n");
  close_file();
}

void status_close_with_error(int number) {
  if (!is_open()) return;
  const bool holds_none = std::ranges::none_of(state.paths, &PathSlot::held);
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "%4d", number);
  const bool path_ok = open_subsystems().path_locks && holds_none;
  write(std::string(path_ok ? "EXIT     =PATH_OK" : "EXIT     =ERROR") +
        "\nFEHLER   =" + digits.data() + "\n");
  close_file();
}

}  // namespace marigold::inner
