// SPDX-License-Identifier: GPL-3.0-or-later
// The Windows console: cells as the characters that code page 437 gives them, whatever the
// console's own code page, on a screen buffer of the program's own.
//
// The console is taken at the first use of the screen or the keyboard, and given back in `leave`, at
// the program's exit and before an event, an abort or a fault ends the process. Meanwhile the wanted
// screen is kept, and painted when the console is taken again and when its size has changed. A late
// screen (late_screen.h) is written by a thread, which does not take the console.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/platform/stream.h"
#include "runtime/wi/console/changed_cells.h"
#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/console_size.h"
#include "runtime/wi/console/late_screen.h"
#include "runtime/wi/console/windows/console_events_windows.h"
#include "runtime/wi/console/windows/console_hold_windows.h"
#include "runtime/wi/console/windows/keyboard_windows.h"

namespace marigold::inner {
namespace {

constexpr std::uint8_t kRepaintKey = 0x12;  // Ctrl-R

constexpr ScreenLine kLine{.is_held = console_shows_output,
                           .keys_wait = [] { return keyboard_has_input(console_input()); },
                           .room = [] { return kAnyRoom; }};

// The cursor as the program wants it, and as it was set last.
struct Cursor {
  int column = 1;
  int row = 1;
  bool visible = true;
  bool operator==(const Cursor&) const = default;
};

// The screen's lock guards `too_small` and all that follows it.
struct State {
  bool started = false;
  bool repaint_key_due = false;           // VT100 mode: the program's next key is Ctrl-R
  ConsoleHold used = ConsoleHold::kNone;  // the strongest hold used so far
  bool too_small = false;
  ConsoleBuffer wanted{};
  ConsoleBuffer shown{};
  Cursor cursor;
  Cursor shown_cursor;
};
State state;

void leave() {
  screen_finish();
  console_restore(ConsoleEnd::kOrderly);
  events_remove();
}

// Gives the console back for a program that ends without calling leave.
void leave_at_exit() {
  screen_finish();
  console_restore(ConsoleEnd::kSudden);
  events_remove();
}

void start() {
  if (state.started) return;
  std::atexit(leave_at_exit);
  state.started = true;
}

void place_and_show_cursor() {
  console_place_cursor(state.cursor.column, state.cursor.row);
  console_show_cursor(state.cursor.visible);
  state.shown_cursor = state.cursor;
}

void show_size_message(ConsoleSize size) {
  ConsoleBuffer cells{};
  std::ranges::transform(size_message(size), cells.begin(), [](char character) {
    return ConsoleCell{.character = static_cast<std::uint8_t>(character)};
  });
  console_write(cells, {});
}

// Paints the whole screen on a console with unknown contents.
void paint_all() {
  screen_is_shown();
  console_fit();
  const ConsoleSize size = console_size();
  if (size != kScreenSize) console_erase();
  state.too_small = is_too_small(size);
  if (state.too_small) return show_size_message(size);
  console_write(state.wanted, {});
  state.shown = state.wanted;
  place_and_show_cursor();
}

// Takes the strongest hold used so far. Returns true if it took the console (again).
bool attend(ConsoleHold wanted) {
  const ScreenLock guard;
  start();
  state.used = std::max(state.used, wanted);
  if (console_held() >= state.used) return false;
  events_await_end();
  // Installs the handlers first, so that an event at any moment gives the console back.
  events_install();
  const bool taken = console_take(state.used);
  if (taken && state.used == ConsoleHold::kScreen) paint_all();
  return taken;
}

// Writes all of the screen, whatever the room.
bool paint(int room) {
  static_cast<void>(room);
  if (state.too_small) return true;
  console_write(state.wanted, changed_cells(state.shown, state.wanted));
  state.shown = state.wanted;
  if (state.cursor != state.shown_cursor) place_and_show_cursor();
  return true;
}

void present() {
  attend(ConsoleHold::kScreen);
  const bool is_changed = state.wanted != state.shown || state.cursor != state.shown_cursor;
  if (screen_is_late() || is_changed) screen_changed(kLine, paint);
}

void size() {
  attend(ConsoleHold::kScreen);
}

void repaint() {
  const ScreenLock guard;
  if (!attend(ConsoleHold::kScreen)) paint_all();
}

void clear() {
  const ScreenLock guard;
  state.wanted = {};
  repaint();
}

void write(const ConsoleBuffer& cells) {
  const ScreenLock guard;
  state.wanted = cells;
  present();
}

void place_cursor(int column, int row) {
  const ScreenLock guard;
  state.cursor.column = std::clamp(column, 1, kScreenColumns);
  state.cursor.row = std::clamp(row, 1, kScreenRows);
  present();
}

void show_cursor(bool visible) {
  const ScreenLock guard;
  state.cursor.visible = visible;
  present();
}

bool take_keyboard() {
  // Without a keyboard the first wait for a key ends the program.
  return console_has_keyboard() && attend(ConsoleHold::kVt100);
}

// The console shows a VT100's bytes by code page 437, as it shows cells.
void send(std::string_view bytes) {
  if (!stream_is_terminal(Stream::kOutput)) {
    static_cast<void>(stream_write(Stream::kOutput, bytes));
    return;
  }
  constexpr std::uint8_t kFirstBeyondAscii = 128;
  std::wstring characters;
  for (const char each : bytes) {
    const auto byte = static_cast<std::uint8_t>(each);
    characters +=
        static_cast<wchar_t>(byte < kFirstBeyondAscii ? byte : code_page_437_character(byte));
  }
  DWORD written = 0;
  WriteConsoleW(GetStdHandle(STD_OUTPUT_HANDLE), characters.data(),
                static_cast<DWORD>(characters.size()), &written, nullptr);
}

void repaint_for_size() {
  const ScreenLock guard;
  if (state.used == ConsoleHold::kScreen) paint_all();
}

// Returns true if there is a key; false only without waiting.
bool wait_for_key(bool waiting) {
  for (;;) {
    if (attend(ConsoleHold::kKeyboard) && state.used == ConsoleHold::kVt100)
      state.repaint_key_due = true;
    if (state.repaint_key_due) return true;
    if (waiting) screen_catch_up();
    switch (keyboard_wait(console_input(), events_wake_handle(), waiting)) {
      case KeyWait::kKey:
        return true;
      case KeyWait::kNone:
        return false;
      case KeyWait::kResized:
        repaint_for_size();
        break;
      case KeyWait::kWoken:
        break;
      case KeyWait::kGone:
        console_gone();
    }
  }
}

std::uint8_t read_key() {
  wait_for_key(true);
  // Gives Ctrl-R only between keys, not between the two bytes of a key.
  if (!keyboard_has_byte() && std::exchange(state.repaint_key_due, false)) return kRepaintKey;
  return keyboard_take();
}

bool key_waiting() {
  return wait_for_key(false);
}

constexpr Console kWindowsConsole{.size = size,
                                  .clear = clear,
                                  .write = write,
                                  .place_cursor = place_cursor,
                                  .show_cursor = show_cursor,
                                  .read_key = read_key,
                                  .key_waiting = key_waiting,
                                  .leave = leave,
                                  .take_keyboard = take_keyboard,
                                  .send = send,
                                  .line = &kLine,
                                  .repaint = repaint};

}  // namespace

const Console& system_console() {
  return kWindowsConsole;
}

}  // namespace marigold::inner
