// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of composing the screen from 30 overlapping windows, of which the lowest one covers the
// screen.
//
//   compose/same         all windows as large as the screen
//   compose/staggered    framed windows of half the screen's rows and columns, each beside the last
//   refresh/staggered    the same by the operation that programs use: composed without the lowest
//                        window, then with it, and written into the terminal layer
//
// All options are Google Benchmark's.

#include <benchmark/benchmark.h>

#include "marigold/windows.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/compose.h"
#include "runtime/wi/window/window_table.h"

namespace marigold::inner::bench {
namespace {

constexpr int kLowest = 1;

// A console that accepts everything and shows nothing.
constexpr Console kNoConsole{
    .size = [] {},
    .clear = [] {},
    .write = [](const ConsoleBuffer&) {},
    .place_cursor = [](int, int) {},
    .show_cursor = [](bool) {},
    .read_key = [] { return std::uint8_t{27}; },
    .key_waiting = [] { return false; },
    .keyboard_lost = [] { return true; },
    .leave = [] {},
};

void show_windows(bool same) {
  terminal_reset(&kNoConsole);
  wi_start();
  for (int count = 0; count < kWindows; ++count) {
    int window = 0;
    if (same || count == 0)
      create_w(window, 1, 1, kScreenRows, kScreenColumns, same);
    else
      create_w(window, 1 + count % 12, 1 + count * 7 % 40, 12, 40, false);
    p_printstr(window, 1, 1, "Kunden");
    p_active_w(window);
  }
}

void compose(benchmark::State& state, bool same) {
  show_windows(same);
  for (auto _ : state) {
    compose_show(kLowest);
    benchmark::ClobberMemory();
  }
}

void refresh(benchmark::State& state) {
  show_windows(false);
  for (auto _ : state) {
    p_refreshany_w(kLowest);
    benchmark::ClobberMemory();
  }
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  using marigold::inner::bench::compose;
  benchmark::RegisterBenchmark("compose/same", compose, true);
  benchmark::RegisterBenchmark("compose/staggered", compose, false);
  benchmark::RegisterBenchmark("refresh/staggered", marigold::inner::bench::refresh);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
