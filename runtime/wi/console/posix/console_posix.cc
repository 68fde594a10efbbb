// SPDX-License-Identifier: GPL-3.0-or-later
// The console on a POSIX terminal: the cells in the terminal's character set, sent as changes.
//
// The console takes the terminal at the first use of the screen or the keyboard, and gives it back
// in `leave`, at the program's exit and before a signal ends or stops the process. Meanwhile it
// keeps the wanted screen, and paints it when it takes the terminal again and when the terminal's
// size has changed. A terminal smaller than 80 by 24 cells shows a message instead.
//
// A late screen (late_screen.h) is sent by a thread, which neither takes the terminal nor ends the
// program.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/platform/stream.h"
#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/console_size.h"
#include "runtime/wi/console/late_screen.h"
#include "runtime/wi/console/posix/console_signals_posix.h"
#include "runtime/wi/console/posix/console_tty_posix.h"
#include "runtime/wi/console/posix/keyboard_posix.h"
#include "runtime/wi/console/posix/line_posix.h"
#include "runtime/wi/console/screen_update.h"

namespace marigold::inner {
namespace {

constexpr std::uint8_t kRepaintKey = 0x12;  // Ctrl-R

constexpr ScreenLine kLine{
    .is_held = tty_shows_output, .keys_wait = keyboard_has_input, .room = line_room};

// The screen's lock guards `gone` and all that follows it.
struct State {
  bool started = false;
  bool is_old_terminal = false;           // a VT, real or emulated
  bool repaint_key_due = false;           // VT100 mode: the program's next key is Ctrl-R
  ConsoleHold used = ConsoleHold::kNone;  // the strongest hold used so far
  bool gone = false;                      // a write has found no terminal
  bool too_small = false;
  ConsoleBuffer wanted{};
  WantedCursor cursor;
  ShownScreen shown;
  TerminalKind kind;
  std::string bytes;  // a member to keep its capacity
};
State state;

// A forked child leaves the screen alone, and the lock as well, which nobody may free there.
void finish_screen() {
  if (!tty_is_inherited()) screen_finish();
}

void leave() {
  finish_screen();
  tty_restore(-1, ConsoleEnd::kOrderly);
  signals_remove();
}

// Gives the terminal back for a program that ends without calling leave.
void leave_at_exit() {
  finish_screen();
  tty_restore(-1, ConsoleEnd::kSudden);
  signals_remove();
}

TerminalKind kind_from_environment() {
  const TerminalCharacters characters = terminal_characters(
      std::getenv("LC_ALL"), std::getenv("LC_CTYPE"), std::getenv("LANG"), std::getenv("TERM"));
  keyboard_start(characters == TerminalCharacters::kUtf8 ? KeyCharacters::kUtf8
                                                         : KeyCharacters::kLatin);
  const char* term = std::getenv("TERM");
  state.is_old_terminal = term != nullptr && std::string_view(term).starts_with("vt");
  return {.glyphs = terminal_glyphs(characters), .has_axis_positions = !state.is_old_terminal};
}

void start() {
  if (state.started) return;
  state.kind = kind_from_environment();
  std::atexit(leave_at_exit);
  state.started = true;
}

void send() {
  line_note_sent(state.bytes.size());
  state.gone = !tty_write(state.bytes);
  state.bytes.clear();
}

void end_if_gone() {
  if (state.gone) tty_gone();
}

// Paints the whole screen on a terminal with unknown contents.
void paint_all() {
  const ConsoleSize size = tty_size();
  state.too_small = is_too_small(size);
  screen_erase(state.shown, state.bytes);
  if (state.too_small) {
    state.bytes += size_message(size);
  } else {
    screen_update(state.shown, state.wanted, state.cursor, state.kind, state.bytes);
  }
  send();
  screen_is_shown();
  end_if_gone();
}

// Takes the strongest hold used so far, and brings the screen up to date after signals. Returns
// true if it took the terminal (again).
bool attend(ConsoleHold wanted) {
  const ScreenLock guard;
  start();
  state.used = std::max(state.used, wanted);
  const SignalNotes notes = signals_take_notes();
  if (notes.continued) tty_doubt();
  // Installs the handlers before it takes the terminal, so that a signal at any moment gives the
  // terminal back.
  if (notes.continued || tty_held() < state.used) signals_install();
  const bool taken = tty_hold(state.used);
  if (taken) line_start(tty_speed(), state.is_old_terminal || state.used == ConsoleHold::kVt100);
  if (state.used == ConsoleHold::kScreen && (taken || notes.resized)) paint_all();
  return taken;
}

bool paint(int room) {
  if (state.too_small) return true;
  const bool is_whole = screen_update(state.shown, state.wanted, state.cursor, state.kind,
                                      state.bytes, static_cast<std::size_t>(room));
  send();
  return is_whole || state.gone;
}

// A screen without a change costs no call to the system.
void present() {
  attend(ConsoleHold::kScreen);
  if (screen_is_late() || screen_differs(state.shown, state.wanted, state.cursor))
    screen_changed(kLine, paint);
  end_if_gone();
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
  state.cursor.position = {.column = std::clamp(column, 1, kScreenColumns),
                           .row = std::clamp(row, 1, kScreenRows)};
  present();
}

void show_cursor(bool visible) {
  const ScreenLock guard;
  state.cursor.visible = visible;
  present();
}

void send_vt100(std::string_view bytes) {
  line_note_sent(bytes.size());
  static_cast<void>(stream_write(Stream::kOutput, bytes));
}

bool take_keyboard() {
  // Without a keyboard the first wait for a key ends the program.
  if (!tty_has_keyboard()) return false;
  start();
  if (state.used != ConsoleHold::kVt100) keyboard_start(KeyCharacters::kBytes);
  return attend(ConsoleHold::kVt100);
}

// Returns true if there is a key; false only without waiting.
bool wait_for_key(bool waiting) {
  for (;;) {
    if (attend(ConsoleHold::kKeyboard) && state.used == ConsoleHold::kVt100)
      state.repaint_key_due = true;
    if (state.repaint_key_due) return true;
    if (waiting) screen_catch_up();
    switch (keyboard_wait(signals_wake_descriptor(), waiting)) {
      case KeyWait::kKey:
        return true;
      case KeyWait::kNone:
        return false;
      case KeyWait::kWoken:
        signals_empty_wake_descriptor();
        break;
      case KeyWait::kGone:
        tty_gone();
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

constexpr Console kPosixConsole{.size = size,
                                .clear = clear,
                                .write = write,
                                .place_cursor = place_cursor,
                                .show_cursor = show_cursor,
                                .read_key = read_key,
                                .key_waiting = key_waiting,
                                .leave = leave,
                                .take_keyboard = take_keyboard,
                                .send = send_vt100,
                                .line = &kLine,
                                .repaint = repaint};

}  // namespace

const Console& system_console() {
  return kPosixConsole;
}

}  // namespace marigold::inner
