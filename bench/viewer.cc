// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the viewer of screen output over a long list: the time until its first screen, and the
// slowest of each of its keys.
//
//   viewer [LINES=1000000] [ROUNDS=200]
//
// Collects LINES lines of 100 characters as a list does, in the current directory, and runs the
// viewer with a console that only records. A key's time runs from its last byte until the viewer
// waits for the next one. Prints CSV: the lines, the milliseconds of collecting them and until the
// first screen, then the slowest of ROUNDS of each key, and two searches through the whole list.
// The viewer reads the list from the system's cache, since the list was just made.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <string_view>

#include "marigold/windows.h"
#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/print/output/screen_output.h"
#include "runtime/print/viewer/viewer.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"

namespace marigold::inner::bench {
namespace {

using Clock = std::chrono::steady_clock;

struct Row {
  const char* name;
  std::string_view key;
  std::string_view before = "";  // typed before each round, not measured
  int rounds = 0;                // 0: the number given
};
constexpr Row kRows[] = {
    {"forward", "+"},
    {"back", "-"},
    {"next_page", "*"},
    {"previous_page", "/"},
    {"tab", "\t"},
    {"delete", "\xE0S"},
    {"right", "\xE0M"},
    {"left", "\xE0K"},
    {"down", "\xE0P"},
    {"up", "\xE0H"},
    {"end", "\xE0R", "\xE0w"},
    {"start", "\xE0w", "\xE0R"},
    {"line", "\r", "\xE0wg500000"},
    {"next_hit", "n", "\xE0wsline 1\r"},
    {"help", "?", "x"},
    {"search_all", "\r", "\xE0wsnowhere", 5},
    {"search_all_common_letter", "\r", "\xE0wse@", 5},
};
constexpr std::string_view kF1("\0;", 2);

struct State {
  std::deque<std::uint8_t> keys;
  ConsoleBuffer shown{};
  Clock::time_point begin;
  std::size_t row = 0;
  int round = -1;  // -1: the first screen
  int rounds = 200;
  double slowest = 0;
};
State state;

double milliseconds_since(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// The viewer waits for a key, so the measured operation is done.
void finish_round() {
  state.slowest = std::max(state.slowest, milliseconds_since(state.begin));
  const bool first_screen = state.round == -1;
  const int rounds = kRows[state.row].rounds == 0 ? state.rounds : kRows[state.row].rounds;
  if (++state.round < rounds && !first_screen) return;
  std::printf(",%.3f", state.slowest);
  if (!first_screen) ++state.row;
  state.round = 0;
  state.slowest = 0;
}

void queue(std::string_view keys) {
  for (const char c : keys)
    state.keys.push_back(static_cast<std::uint8_t>(c));
}

std::uint8_t next_key() {
  if (state.keys.empty()) {
    finish_round();
    if (state.row == std::size(kRows)) {
      queue(kF1);
    } else {
      queue(kRows[state.row].before);
      queue(kRows[state.row].key);
    }
  }
  const std::uint8_t key = state.keys.front();
  state.keys.pop_front();
  if (state.keys.empty()) state.begin = Clock::now();
  return key;
}

constexpr Console kConsole{
    .size = [] {},
    .clear = [] {},
    .write = [](const ConsoleBuffer& cells) { state.shown = cells; },
    .place_cursor = [](int, int) {},
    .show_cursor = [](bool) {},
    .read_key = next_key,
    .key_waiting = [] { return !state.keys.empty(); },
    .leave = [] {},
};

double collect(int lines) {
  const auto begin = Clock::now();
  if (screen_output_start() != 0) return -1;
  char text[100];
  std::fill(std::begin(text), std::end(text), 'e');
  for (int number = 1; number <= lines; ++number) {
    const int length = std::snprintf(text, sizeof text, "line %d", number);
    text[length] = ' ';
    screen_output_bytes({text, sizeof text});
    screen_output_bytes("\r\n");
    screen_output_text({text, sizeof text});
    screen_output_end_line();
  }
  screen_output_end();
  return screen_output_disk_full() ? -1 : milliseconds_since(begin);
}

int run(int lines) {
  settings_read();
  terminal_reset(&kConsole);
  user_interface_start();
  terminal_start();
  wi_start();
  const double collected = collect(lines);
  if (collected < 0) {
    screen_output_remove();
    std::fprintf(stderr, "viewer: the list cannot be written\n");
    return 1;
  }
  std::printf("lines,collect_ms,first_screen_ms");
  for (const Row& row : kRows)
    std::printf(",%s_ms", row.name);
  std::printf("\n%d,%.0f", lines, collected);
  state.begin = Clock::now();
  viewer_run({.name = "bench", .page_length = 60});
  std::printf("\n");
  return screen_output_remove();
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int count, char** words) {
  using marigold::inner::bench::state;
  const int lines = count > 1 ? std::atoi(words[1]) : 1000000;
  if (count > 2) state.rounds = std::atoi(words[2]);
  if (lines < 1 || state.rounds < 1) {
    std::fprintf(stderr, "usage: viewer [LINES] [ROUNDS]\n");
    return 2;
  }
  return marigold::inner::bench::run(lines);
}
