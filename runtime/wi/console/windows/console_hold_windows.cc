// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/windows/console_hold_windows.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <tuple>
#include <utility>

#include "runtime/platform/stream.h"
#include "runtime/wi/console/code_page_437.h"

namespace marigold::inner {
namespace {

// Settings of the input that a user makes for the window: marking with the mouse, and inserting.
constexpr DWORD kUsersSettings =
    ENABLE_EXTENDED_FLAGS | ENABLE_QUICK_EDIT_MODE | ENABLE_INSERT_MODE | ENABLE_AUTO_POSITION;
constexpr DWORD kVirtualTerminal = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING

constexpr DWORD kCursorSize = 100;  // percent of the cell: a full block

// Moves below a VT100's screen and sets normal video, for the shell's next line.
constexpr std::string_view kLeaveVt100 = "\x0f\x1b[m\x1b[24H\r\n";

struct State {
  std::atomic<ConsoleHold> held = ConsoleHold::kNone;
  HANDLE input = INVALID_HANDLE_VALUE;
  HANDLE screen = INVALID_HANDLE_VALUE;  // the program's own, kept until it ends
  HANDLE found_screen = INVALID_HANDLE_VALUE;
  DWORD found_input_mode = 0;
  DWORD found_output_mode = 0;                  // of standard output, for kVt100
  std::atomic<bool> output_is_console = false;  // for kVt100
};
State state;

// Events restore the console in a thread of their own, and a fault may happen in the thread that
// holds the lock.
std::recursive_mutex lock;

[[noreturn]] void end_program(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::exit(EXIT_FAILURE);
}

bool is_console(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

void require_consoles(ConsoleHold wanted) {
  if (!is_console(STD_INPUT_HANDLE)) end_program("standard input is not a terminal");
  if (wanted == ConsoleHold::kScreen && !is_console(STD_OUTPUT_HANDLE))
    end_program("standard output is not a terminal");
}

// Standard streams may have been opened for one direction alone. CONOUT$ is the buffer that the
// console shows now.
HANDLE open_console(const wchar_t* name) {
  return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     nullptr, OPEN_EXISTING, 0, nullptr);
}

bool is_open(HANDLE handle) {
  return handle != INVALID_HANDLE_VALUE;
}

void take_input() {
  if (!is_open(state.input)) state.input = open_console(L"CONIN$");
  if (GetConsoleMode(state.input, &state.found_input_mode) == 0) console_gone();
}

void set_raw_input() {
  SetConsoleMode(state.input, (state.found_input_mode & kUsersSettings) | ENABLE_WINDOW_INPUT);
}

// A system whose console knows no sequences shows them.
void take_vt100() {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  state.output_is_console = GetConsoleMode(output, &state.found_output_mode) != 0 &&
                            SetConsoleMode(output, state.found_output_mode | kVirtualTerminal) != 0;
}

void give_vt100_back(ConsoleEnd end) {
  if (!state.output_is_console) return;
  if (end == ConsoleEnd::kSudden) static_cast<void>(stream_write(Stream::kOutput, kLeaveVt100));
  SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), state.found_output_mode);
}

bool get_info(CONSOLE_SCREEN_BUFFER_INFO& info) {
  return GetConsoleScreenBufferInfo(state.screen, &info) != 0;
}

ConsoleSize window_of(const CONSOLE_SCREEN_BUFFER_INFO& info) {
  return {info.srWindow.Right - info.srWindow.Left + 1,
          info.srWindow.Bottom - info.srWindow.Top + 1};
}

void set_window(ConsoleSize size) {
  const SMALL_RECT window = {0, 0, static_cast<SHORT>(size.columns - 1),
                             static_cast<SHORT>(size.rows - 1)};
  SetConsoleWindowInfo(state.screen, TRUE, &window);
}

void set_buffer(ConsoleSize size) {
  SetConsoleScreenBufferSize(state.screen,
                             {static_cast<SHORT>(size.columns), static_cast<SHORT>(size.rows)});
}

void size_screen() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!get_info(info)) return;
  const COORD largest = GetLargestConsoleWindowSize(state.screen);
  const ConsoleSizing sizing = console_sizing(window_of(info), {largest.X, largest.Y});
  set_window(sizing.shrunk_window);
  set_buffer(kScreenSize);
  set_window(sizing.window);
}

void take_screen() {
  state.found_screen = open_console(L"CONOUT$");
  if (!is_open(state.screen)) {
    state.screen =
        CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, CONSOLE_TEXTMODE_BUFFER, nullptr);
  }
  if (!is_open(state.found_screen) || SetConsoleActiveScreenBuffer(state.screen) == 0)
    console_gone();
  size_screen();
}

void give_screen_back() {
  SetConsoleActiveScreenBuffer(state.found_screen);
  CloseHandle(std::exchange(state.found_screen, INVALID_HANDLE_VALUE));
}

CHAR_INFO as_char_info(const ConsoleCell& cell) {
  CHAR_INFO info{};
  info.Char.UnicodeChar = static_cast<WCHAR>(code_page_437_character(cell.character));
  info.Attributes = cell.colour;
  return info;
}

}  // namespace

ConsoleHold console_held() {
  return state.held;
}

bool console_shows_output() {
  const ConsoleHold held = console_held();
  return held == ConsoleHold::kScreen || (held == ConsoleHold::kVt100 && state.output_is_console);
}

bool console_has_keyboard() {
  return is_console(STD_INPUT_HANDLE);
}

bool console_take(ConsoleHold wanted) {
  if (console_held() >= wanted) return false;
  require_consoles(wanted);
  const std::lock_guard guard(lock);
  const ConsoleHold before = console_held();
  if (before == ConsoleHold::kNone) take_input();
  // From here on an end restores the console.
  state.held = std::max(before, ConsoleHold::kKeyboard);
  set_raw_input();
  if (wanted == ConsoleHold::kVt100) take_vt100();
  if (wanted == ConsoleHold::kScreen) take_screen();
  state.held = wanted;
  return true;
}

void console_restore(ConsoleEnd end) {
  const std::lock_guard guard(lock);
  const ConsoleHold held = state.held.exchange(ConsoleHold::kNone);
  if (held == ConsoleHold::kNone) return;
  if (held == ConsoleHold::kVt100) give_vt100_back(end);
  if (is_open(state.found_screen)) give_screen_back();
  SetConsoleMode(state.input, state.found_input_mode);
}

HANDLE console_input() {
  return state.input;
}

void console_fit() {
  const ConsoleSize size = console_size();
  if (is_too_small(size))
    set_buffer({std::max(size.columns, kScreenColumns), std::max(size.rows, kScreenRows)});
}

ConsoleSize console_size() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!get_info(info)) return kScreenSize;
  return {info.dwSize.X, info.dwSize.Y};
}

void console_erase() {
  const ConsoleSize size = console_size();
  const auto cells = static_cast<DWORD>(size.columns) * static_cast<DWORD>(size.rows);
  DWORD written = 0;
  FillConsoleOutputCharacterW(state.screen, L' ', cells, {0, 0}, &written);
  FillConsoleOutputAttribute(state.screen, kColourPlain, cells, {0, 0}, &written);
}

void console_write(const ConsoleBuffer& cells, const CellRegion& region) {
  if (region.is_empty()) return;
  std::array<CHAR_INFO, std::tuple_size_v<ConsoleBuffer>> infos;
  std::ranges::transform(cells, infos.begin(), as_char_info);
  SMALL_RECT target = {static_cast<SHORT>(region.left), static_cast<SHORT>(region.top),
                       static_cast<SHORT>(region.right), static_cast<SHORT>(region.bottom)};
  WriteConsoleOutputW(state.screen, infos.data(), {kScreenColumns, kScreenRows},
                      {target.Left, target.Top}, &target);
}

void console_place_cursor(int column, int row) {
  SetConsoleCursorPosition(state.screen,
                           {static_cast<SHORT>(column - 1), static_cast<SHORT>(row - 1)});
}

void console_show_cursor(bool visible) {
  const CONSOLE_CURSOR_INFO cursor = {kCursorSize, visible ? TRUE : FALSE};
  SetConsoleCursorInfo(state.screen, &cursor);
}

void console_gone() {
  console_restore(ConsoleEnd::kSudden);
  end_program("the terminal is gone");
}

}  // namespace marigold::inner
