// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/windows/keyboard_windows.h"

#include <algorithm>
#include <array>
#include <span>

#include "runtime/wi/console/key_events.h"

namespace marigold::inner {
namespace {

static_assert(kEventAlt == (LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED));
static_assert(kEventControl == (LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED));
static_assert(kEventShift == SHIFT_PRESSED && kEventEnhanced == ENHANCED_KEY);

constexpr DWORD kMostEvents = 64;  // read in one call

KeyEventDecoder decoder;

void feed(const KEY_EVENT_RECORD& event) {
  decoder.feed({.is_down = event.bKeyDown != 0,
                .repeats = event.wRepeatCount,
                .key = event.wVirtualKeyCode,
                .character = static_cast<char16_t>(event.uChar.UnicodeChar),
                .modifiers = event.dwControlKeyState});
}

// Reads the events that are there.
KeyWait read_events(HANDLE input) {
  DWORD count = 0;
  if (GetNumberOfConsoleInputEvents(input, &count) == 0) return KeyWait::kGone;
  if (count == 0) return KeyWait::kNone;
  std::array<INPUT_RECORD, kMostEvents> events;
  if (ReadConsoleInputW(input, events.data(), std::min(count, kMostEvents), &count) == 0)
    return KeyWait::kGone;
  bool is_resized = false;
  for (const INPUT_RECORD& event : std::span(events).first(count)) {
    if (event.EventType == KEY_EVENT) feed(event.Event.KeyEvent);
    is_resized = is_resized || event.EventType == WINDOW_BUFFER_SIZE_EVENT;
  }
  return is_resized ? KeyWait::kResized : KeyWait::kKey;
}

}  // namespace

KeyWait keyboard_wait(HANDLE input, HANDLE wake, bool waiting) {
  const std::array<HANDLE, 2> sources = {wake, input};
  for (;;) {
    if (decoder.has_key()) return KeyWait::kKey;
    if (waiting) {
      const DWORD source = WaitForMultipleObjects(2, sources.data(), FALSE, INFINITE);
      if (source == WAIT_OBJECT_0) return KeyWait::kWoken;
      if (source == WAIT_FAILED) return KeyWait::kGone;
    }
    const KeyWait outcome = read_events(input);
    if (outcome == KeyWait::kResized || outcome == KeyWait::kGone) return outcome;
    if (outcome == KeyWait::kNone && !waiting) return outcome;
  }
}

bool keyboard_has_byte() {
  return decoder.has_key();
}

// Releases of keys, the mouse and the focus make events as well.
bool keyboard_has_input(HANDLE input) {
  if (keyboard_has_byte()) return true;
  std::array<INPUT_RECORD, kMostEvents> events;
  DWORD count = 0;
  if (PeekConsoleInputW(input, events.data(), kMostEvents, &count) == 0) return false;
  return std::ranges::any_of(std::span(events).first(count), [](const INPUT_RECORD& event) {
    return event.EventType == KEY_EVENT && event.Event.KeyEvent.bKeyDown != 0;
  });
}

std::uint8_t keyboard_take() {
  return decoder.take();
}

}  // namespace marigold::inner
