// SPDX-License-Identifier: GPL-3.0-or-later
#include <conio.h>
#include <windows.h>

#include <array>
#include <cstdlib>

#include "runtime/wi/console/console.h"
#include "runtime/wi/console/console_size.h"

namespace marigold::inner {
namespace {

// The results of the console's calls have no effect: a screen that cannot be changed stays as it
// is.

// The size given to WriteConsoleOutputA has always been one row more than the screen has, and the
// buffer has room for it. The region below never reaches that row.
constexpr SHORT kDeclaredRows = kScreenRows + 1;

constexpr DWORD kCursorSize = 100;  // percent of the cell: a full block

struct State {
  HANDLE output = nullptr;
  std::array<CHAR_INFO, std::size_t{kScreenColumns} * kDeclaredRows> cells{};
};

constinit State state;

void size_buffer() {
  SetConsoleScreenBufferSize(state.output, {kScreenColumns, kScreenRows});
}

void size() {
  state.output = GetStdHandle(STD_OUTPUT_HANDLE);
  CONSOLE_SCREEN_BUFFER_INFO info{};
  GetConsoleScreenBufferInfo(state.output, &info);
  const COORD largest = GetLargestConsoleWindowSize(state.output);
  const ConsoleSizing sizing =
      console_sizing({info.dwSize.X, info.dwSize.Y}, {largest.X, largest.Y});
  const SMALL_RECT window = {0, 0, static_cast<SHORT>(sizing.right),
                             static_cast<SHORT>(sizing.bottom)};
  if (sizing.order == ConsoleOrder::kNeither) return;
  if (sizing.order == ConsoleOrder::kBufferFirst) size_buffer();
  SetConsoleWindowInfo(state.output, TRUE, &window);
  if (sizing.order == ConsoleOrder::kWindowFirst) size_buffer();
}

void clear() {
  static_cast<void>(std::system("cls"));
}

void write(const ConsoleBuffer& cells) {
  for (std::size_t index = 0; index < cells.size(); ++index) {
    state.cells[index].Char.AsciiChar = static_cast<CHAR>(cells[index].character);
    state.cells[index].Attributes = cells[index].colour;
  }
  SMALL_RECT region = {0, 0, kScreenColumns - 1, kScreenRows - 1};
  WriteConsoleOutputA(state.output, state.cells.data(), {kScreenColumns, kDeclaredRows}, {0, 0},
                      &region);
}

void place_cursor(int column, int row) {
  SetConsoleCursorPosition(state.output,
                           {static_cast<SHORT>(column - 1), static_cast<SHORT>(row - 1)});
}

void show_cursor(bool visible) {
  const CONSOLE_CURSOR_INFO cursor = {kCursorSize, visible ? TRUE : FALSE};
  SetConsoleCursorInfo(state.output, &cursor);
}

std::uint8_t read_key() {
  return static_cast<std::uint8_t>(_getch());
}

bool key_waiting() {
  return _kbhit() != 0;
}

// Nothing to do: the console keeps the state in which it was found, except for its size and its
// cursor, which the terminal layer shows at its end.
void leave() {}

constexpr Console kWindowsConsole{.size = size,
                                  .clear = clear,
                                  .write = write,
                                  .place_cursor = place_cursor,
                                  .show_cursor = show_cursor,
                                  .read_key = read_key,
                                  .key_waiting = key_waiting,
                                  .leave = leave};

}  // namespace

const Console& system_console() {
  return kWindowsConsole;
}

}  // namespace marigold::inner
