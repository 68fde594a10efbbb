#include "runtime/core/status_file.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "runtime/core/runtime_string.h"
#include "runtime/core/settings.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/new_file.h"

namespace marigold {
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

// The flag and not the file decides, so that whoever clears the flags at start-up is obeyed here.
bool is_open() {
  return open_subsystems().status_file && state.file.is_open();
}

void close_file() {
  state.file.close();
  open_subsystems().status_file = false;
}

// Nobody is told when this fails: the file is for observers, and the program goes on without it.
template <typename... Values>
void write(const char* format, Values... values) {
  std::array<char, 1024> line{};
  const int length = std::snprintf(line.data(), line.size(), format, values...);
  if (length <= 0) return;
  const auto written = std::min(static_cast<std::size_t>(length), line.size() - 1);
  static_cast<void>(state.file.write({line.data(), written}));
}

void write_header(const char* program) {
  const LocalTime now = clock_local_time();
  write(
      "PROGRAMM =%s\n"
      "DATUM    =%02d-%02d-%4d\n"
      "UHRZEIT  =%02d:%02d:%02d\n",
      program, now.day, now.month, now.year, now.hour, now.minute, now.second);
}

void write_path_line(int path) {
  const PathSlot& slot = state.paths[static_cast<std::size_t>(path)];
  const bool named = path > kLastPathWithoutName;
  write("%s%2d%s%s\n", slot.held ? "LOCKPATH =" : "FREEPATH =", path, named ? ": " : "",
        named ? slot.name.c_str() : "");
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
  write("EXIT     =%s\nFEHLER   =%4d\n",
        open_subsystems().path_locks && holds_none ? "PATH_OK" : "ERROR", number);
  close_file();
}

}  // namespace marigold
