// SPDX-License-Identifier: GPL-3.0-or-later
// Output of the console to a POSIX terminal: bytes, writes and processor time for the common
// changes of a screen of 80 by 24.
//
//   screen
//
// A child process drives the console on a pty; the parent reads the pty empty. Standard output gets
// CSV: operation, bytes and writes of the first time, mean bytes, microseconds of the child's
// processor time (user and system) with the pty and with /dev/null in its place. The contents come
// from a generator of its own, the same in every run. They equal those of other programs that
// measure terminal libraries by the same operations: the cursor rests in the last row.

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "runtime/wi/console/console.h"

namespace {
long counted_writes;
long counted_bytes;
}  // namespace

// The linker uses this function for `write`, because a program cannot see from outside how many
// calls there were.
extern "C" {
ssize_t __real_write(int descriptor, const void* bytes, std::size_t count);   // NOLINT
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count);   // NOLINT
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count) {  // NOLINT
  const ssize_t written = __real_write(descriptor, bytes, count);
  if (descriptor == STDOUT_FILENO && written > 0) {
    ++counted_writes;
    counted_bytes += written;
  }
  return written;
}
}

namespace marigold::inner::bench {
namespace {

constexpr int kRepetitions = 2000;
constexpr std::size_t kColumns = kScreenColumns;
constexpr std::size_t kRows = kScreenRows;
constexpr std::size_t kWindowRows = 10;
constexpr std::size_t kWindowColumns = 40;

struct State {
  ConsoleBuffer screen{};
  std::array<std::uint8_t, kColumns * kRows> noise{};
  unsigned seed = 12345;
  std::size_t step = 0;
};
State state;

unsigned next_random() {
  state.seed = state.seed * 1103515245U + 12345U;
  return state.seed >> 16U;
}

ConsoleCell& cell(std::size_t row, std::size_t column) {
  return state.screen[row * kColumns + column];
}

// No shift from one step to the next, which an update could exploit.
std::uint8_t glyph(std::size_t row, std::size_t column) {
  return static_cast<std::uint8_t>('!' + (state.noise[row * kColumns + column] + state.step) % 90);
}

// Fills the screen with words of two to nine letters.
void fill_with_text() {
  state.seed = 99;
  for (std::size_t row = 0; row < kRows; ++row) {
    int left = 0;
    for (std::size_t column = 0; column < kColumns; ++column, --left) {
      if (left < 0) left = static_cast<int>(2 + next_random() % 8);
      const auto letter = static_cast<std::uint8_t>('a' + (left == 0 ? 0 : next_random() % 26));
      cell(row, column) = {left == 0 ? std::uint8_t{' '} : letter, kColourPlain};
    }
  }
}

void draw_window(std::size_t top, std::size_t left) {
  constexpr std::uint8_t kHorizontal = 196;
  constexpr std::uint8_t kVertical = 179;
  for (std::size_t row = 0; row < kWindowRows; ++row) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "  panel line %d abcdefghij 0123456789",
                                     static_cast<int>(row));
    for (std::size_t column = 0; column < kWindowColumns; ++column) {
      const bool written = column >= 2 && column < static_cast<std::size_t>(length);
      const char character = written ? text[column] : ' ';
      cell(top + row, left + column) = {static_cast<std::uint8_t>(character), kColourPlain};
    }
    cell(top + row, left).character = cell(top + row, left + kWindowColumns - 1).character =
        kVertical;
  }
  for (const std::size_t row : {top, top + kWindowRows - 1}) {
    for (std::size_t column = 1; column < kWindowColumns - 1; ++column)
      cell(row, left + column).character = kHorizontal;
  }
  cell(top, left).character = 218;
  cell(top, left + kWindowColumns - 1).character = 191;
  cell(top + kWindowRows - 1, left).character = 192;
  cell(top + kWindowRows - 1, left + kWindowColumns - 1).character = 217;
}

void fill(std::size_t row, std::size_t first, std::size_t count, bool reversing) {
  for (std::size_t column = first; column < first + count; ++column) {
    const bool plain = !reversing || (column / 10) % 2 == 1;
    cell(row, column) = {glyph(row, column), plain ? kColourPlain : kColourReverse};
  }
}

void change_all() {
  for (std::size_t row = 0; row < kRows; ++row)
    fill(row, 0, kColumns, false);
}
void change_all_looks() {
  for (std::size_t row = 0; row < kRows; ++row)
    fill(row, 0, kColumns, true);
}
void change_row() {
  fill(11, 0, kColumns, false);
}
void change_ten() {
  fill(11, 20, 10, false);
}
void change_one() {
  cell(11, 39).character = static_cast<std::uint8_t>('A' + state.step % 26);
}
void move_window_sideways() {
  fill_with_text();
  draw_window(6, state.step % 2 == 1 ? 10 : 11);
}
void move_window_down() {
  fill_with_text();
  draw_window(state.step % 2 == 1 ? 6 : 7, 10);
}
void open_or_close_window() {
  fill_with_text();
  if (state.step % 2 == 1) draw_window(6, 10);
}
void change_nothing() {}

// An operation, with a window that exists before the first step.
struct Operation {
  const char* name;
  void (*change)();
  bool window = false;
};
constexpr Operation kOperations[] = {
    {"full repaint, all cells differ", change_all},
    {"full repaint, 8 attribute runs a row", change_all_looks},
    {"one row (80 cells)", change_row},
    {"ten cells of one row", change_ten},
    {"one cell", change_one},
    {"40x10 window moves one column", move_window_sideways, true},
    {"40x10 window moves one row", move_window_down, true},
    {"40x10 window closes/opens", open_or_close_window, true},
    {"no change", change_nothing},
};

struct Measured {
  long bytes = 0;
  long writes = 0;
  double mean_bytes = 0;
  double pty_us = 0;
  double null_us = 0;
};

double processor_us() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// Subtracts the time of composing the cells, which is not the subject.
double mean_us(const Operation& operation) {
  double spent = 0;
  for (const bool showing : {false, true}) {
    const double start = processor_us();
    for (int count = 0; count < kRepetitions; ++count) {
      ++state.step;
      operation.change();
      if (showing) system_console().write(state.screen);
    }
    spent = processor_us() - start - spent;
  }
  return spent / kRepetitions;
}

Measured measure(const Operation& operation, int null_device, int terminal) {
  state.step = 0;
  fill_with_text();
  if (operation.window) draw_window(6, 10);
  system_console().write(state.screen);
  Measured result;
  counted_bytes = counted_writes = 0;
  operation.change();
  system_console().write(state.screen);
  result.bytes = counted_bytes;
  result.writes = counted_writes;
  counted_bytes = 0;
  result.pty_us = mean_us(operation);
  result.mean_bytes = static_cast<double>(counted_bytes) / kRepetitions;
  dup2(null_device, STDOUT_FILENO);
  result.null_us = mean_us(operation);
  dup2(terminal, STDOUT_FILENO);
  return result;
}

void run_child(std::FILE* report) {
  const int null_device = open("/dev/null", O_WRONLY);
  const int terminal = dup(STDOUT_FILENO);
  for (std::uint8_t& value : state.noise)
    value = static_cast<std::uint8_t>(next_random() % 90);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("TERM", "xterm-256color", 1);
  system_console().size();
  system_console().place_cursor(1, kScreenRows);
  std::fprintf(report, "operation,bytes,writes,mean_bytes,cpu_us_pty,cpu_us_null\n");
  for (const Operation& operation : kOperations) {
    const Measured m = measure(operation, null_device, terminal);
    std::fprintf(report, "\"%s\",%ld,%ld,%.1f,%.2f,%.2f\n", operation.name, m.bytes, m.writes,
                 m.mean_bytes, m.pty_us, m.null_us);
  }
  std::fclose(report);
  system_console().leave();
  std::_Exit(0);
}

int run() {
  const int report = dup(STDOUT_FILENO);
  winsize size{};
  size.ws_row = kScreenRows;
  size.ws_col = kScreenColumns;
  int master = -1;
  const pid_t child = forkpty(&master, nullptr, nullptr, &size);
  if (report < 0 || child < 0) {
    std::perror("screen");
    return 1;
  }
  if (child == 0) run_child(fdopen(report, "w"));
  std::array<char, 65536> bytes{};
  while (read(master, bytes.data(), bytes.size()) > 0) {
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? 0 : 1;
}

}  // namespace
}  // namespace marigold::inner::bench

int main() {
  return marigold::inner::bench::run();
}
