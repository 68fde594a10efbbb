// SPDX-License-Identifier: GPL-3.0-or-later
// How much of its console, or of its terminal, a process holds, and how it gives that back.
#pragma once

namespace marigold::inner {

// Each is stronger than those before it.
enum class ConsoleHold : int {
  kNone,
  kKeyboard,  // keys one by one, without echo, Ctrl-C among them
  kVt100,     // the same, while the program itself writes a VT100's screen to standard output
  kScreen,    // the same, on a screen of its own
};

enum class ConsoleEnd {
  kOrderly,  // the program has ended a VT100's screen itself
  kSudden,   // it could not: set normal video and go to the line below the screen
};

}  // namespace marigold::inner
