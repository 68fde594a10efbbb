#include "runtime/core/status_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "runtime/core/runtime_string.h"
#include "runtime/core/settings.h"
#include "runtime/platform/clock.h"

namespace marigold {
namespace {

constexpr const char* kFileName = "pstatus.tmp";

// Classes up to this one have names that every reader of the file knows.
constexpr int kLastPathWithoutName = 5;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

struct PathSlot {
  bool held = false;
  RuntimeString name;
};

struct State {
  std::unique_ptr<std::FILE, FileCloser> file;
  std::array<PathSlot, kPathClasses> paths;
};

constinit State state;

// The flag and not the file decides, so that whoever clears the flags at start-up is obeyed here.
bool is_open() {
  return open_subsystems().status_file && state.file != nullptr;
}

void close_file() {
  state.file.reset();
  open_subsystems().status_file = false;
}

void write_header(const char* program) {
  const LocalTime now = clock_local_time();
  std::fprintf(state.file.get(),
               "PROGRAMM =%s\n"
               "DATUM    =%02d-%02d-%4d\n"
               "UHRZEIT  =%02d:%02d:%02d\n",
               program, now.day, now.month, now.year, now.hour, now.minute, now.second);
}

void write_path_line(int path) {
  const PathSlot& slot = state.paths[static_cast<std::size_t>(path)];
  std::fprintf(state.file.get(), "%s%2d", slot.held ? "LOCKPATH =" : "FREEPATH =", path);
  if (path > kLastPathWithoutName) std::fprintf(state.file.get(), ": %s", slot.name.c_str());
  std::fputc('\n', state.file.get());
  std::fflush(state.file.get());
}

}  // namespace

void status_start() {
  state = State{};
}

void status_open(const char* program) {
  close_file();
  state.file.reset(std::fopen(kFileName, "w"));
  if (state.file == nullptr) return;
  write_header(program);
  std::fflush(state.file.get());
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
  std::fputs("EXIT     =OK\n", state.file.get());
  close_file();
}

void status_close_with_error(int number) {
  if (!is_open()) return;
  const bool holds_none = std::ranges::none_of(state.paths, &PathSlot::held);
  std::fprintf(state.file.get(), "EXIT     =%s\nFEHLER   =%4d\n",
               open_subsystems().path_locks && holds_none ? "PATH_OK" : "ERROR", number);
  close_file();
}

}  // namespace marigold
