// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <utility>

#include "runtime/core/settings.h"
#include "runtime/texte/char_table.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/terminal/terminal_console.h"

namespace marigold {

using namespace inner;

namespace {

// Escapes that a program gets once its keyboard is lost: enough to leave all nested work.
constexpr int kMostEscapes = 100;

struct State {
  KeyHooks hooks;
  int escapes = 0;                       // given since the keyboard was lost
  std::uint8_t plain_terminal_byte = 0;  // after the prefix of the key read last
};

constinit State state;

struct Key {
  char byte;
  int code;
};

constexpr Key kSingleKeys[] = {
    {0x01, kKeyHelp},       {0x04, kKeyDebugFields}, {0x08, kKeyBackspace}, {0x09, kKeyTab},
    {0x0A, kKeyEnter},      {0x0C, kKeyDebugList},   {0x0D, kKeyEnter},     {0x12, kKeyIgnored},
    {0x19, kKeyStatistics}, {0x1B, kKeyEscape},
};

// Bytes after kKeyPrefixFunction, without F10: the runtime has no code for F10.
constexpr Key kFunctionKeys[] = {
    {';', kKeyF1}, {'<', kKeyF2}, {'=', kKeyF3}, {'>', kKeyF4}, {'?', kKeyF5},
    {'@', kKeyF6}, {'A', kKeyF7}, {'B', kKeyF8}, {'C', kKeyF9},
};

// Bytes after kKeyPrefixCursor.
constexpr Key kCursorKeys[] = {
    {'G', kKeyHome}, {'H', kKeyUp},   {'I', kKeyPageUp},   {'K', kKeyLeft},   {'M', kKeyRight},
    {'O', kKeyEnd},  {'P', kKeyDown}, {'Q', kKeyPageDown}, {'R', kKeyInsert}, {'S', kKeyDelete},
};

// Bytes after Ctrl-F, for terminals without function and cursor keys: digits are function keys,
// letters act as in vi (h j k l move, x deletes, i inserts, b and f turn pages).
constexpr Key kPlainTerminalKeys[] = {
    {'0', kKeyEnter}, {'1', kKeyF1},     {'2', kKeyF2},       {'3', kKeyF3},     {'4', kKeyF4},
    {'5', kKeyF5},    {'6', kKeyF6},     {'7', kKeyF7},       {'8', kKeyF8},     {'9', kKeyF9},
    {'?', kKeyHelp},  {'b', kKeyPageUp}, {'f', kKeyPageDown}, {'h', kKeyLeft},   {'i', kKeyInsert},
    {'j', kKeyDown},  {'k', kKeyUp},     {'l', kKeyRight},    {'x', kKeyDelete},
};

constexpr std::uint8_t kPlainTerminalPrefix = 0x06;  // Ctrl-F
constexpr std::uint8_t kRepaint = 0x12;              // Ctrl-R

const Key* find_key(std::span<const Key> keys, std::uint8_t byte) {
  for (const Key& key : keys) {
    if (static_cast<std::uint8_t>(key.byte) == byte) return &key;
  }
  return nullptr;
}

// Reads the next byte and returns the code of its key in the table.
int read_second(std::span<const Key> keys, int otherwise, std::uint8_t& byte) {
  const Key* key = find_key(keys, key_raw(byte));
  return key != nullptr ? key->code : otherwise;
}

int character_or_escape(std::uint8_t byte, std::uint8_t& character) {
  character = char_map_input(byte);
  return character != 0 ? kKeyCharacter : kKeyEscape;
}

// Reads a cursor key, or the second byte of a doubled prefix: a character of a terminal whose bytes
// come unchanged.
int read_cursor_key(std::uint8_t& character) {
  const int code = read_second(kCursorKeys, kKeyIgnored, character);
  const bool doubled = code == kKeyIgnored && character == kKeyPrefixCursor;
  if (!doubled || char_map_input(kKeyPrefixCursor) == 0) return code;
  return character_or_escape(kKeyPrefixCursor, character);
}

[[noreturn]] void end_without_keyboard() {
  terminal_end();
  terminal_console().leave();
  std::fputs("the keyboard input has ended\n", stderr);
  std::exit(EXIT_FAILURE);
}

// Removes the hook while it runs, because the hook may wait for keys itself.
bool run_hook(void (*&hook)()) {
  if (hook == nullptr) return false;
  void (*const taken)() = std::exchange(hook, nullptr);
  taken();
  hook = taken;
  return true;
}

}  // namespace

void inner::keys_reset() {
  state = State{};
}

KeyHooks& inner::key_hooks() {
  return state.hooks;
}

bool inner::key_hooks_run(int code) {
  const bool function_keys = settings().debug && settings().debug_function_keys;
  if (code == kKeyIgnored) return run_hook(state.hooks.restore_cursor);
  if (code == kKeyDebugFields && settings().debug) return run_hook(state.hooks.debug_fields);
  if (code == kKeyDebugList && settings().debug) return run_hook(state.hooks.debug_list);
  if (code == kKeyStatistics && function_keys) return run_hook(state.hooks.statistics);
  return false;
}

std::uint8_t inner::key_plain_terminal_byte() {
  return state.plain_terminal_byte;
}

std::uint8_t inner::key_raw(std::uint8_t& byte) {
  byte = terminal_console().read_key();
  state.escapes = key_is_lost() ? state.escapes + 1 : 0;
  if (state.escapes > kMostEscapes) end_without_keyboard();
  return byte;
}

bool key_is_lost() {
  const Console& console = terminal_console();
  return console.keyboard_lost != nullptr && console.keyboard_lost();
}

bool key_is_waiting() {
  return !key_is_lost() && terminal_console().key_waiting();
}

int key_read(std::uint8_t& character) {
  character = 0;
  state.plain_terminal_byte = 0;
  std::uint8_t byte = 0;
  switch (key_raw(byte)) {
    case kKeyPrefixFunction:
      return read_second(kFunctionKeys, kKeyIgnored, character);
    case kKeyPrefixCursor:
      return read_cursor_key(character);
    case kPlainTerminalPrefix:
      return read_second(kPlainTerminalKeys, kKeyEscape, state.plain_terminal_byte);
    case kRepaint:
      terminal_repaint();
      break;
    default:
      break;
  }
  if (const Key* key = find_key(kSingleKeys, byte)) return key->code;
  return character_or_escape(byte, character);
}

int key_poll(std::uint8_t& character) {
  character = 0;
  return key_is_waiting() ? key_read(character) : kKeyEscape;
}

void key_wait(std::uint8_t& character, int& code) {
  do {
    code = key_read(character);
    key_hooks_run(code);
  } while (code == kKeyIgnored || code == kKeyEscape);
}

}  // namespace marigold
