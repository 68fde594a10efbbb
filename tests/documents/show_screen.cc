// SPDX-License-Identifier: GPL-3.0-or-later
// Runs a program on a terminal of 80 by 24 cells and prints the cells that its user sees at last.
//
//   show_screen PROGRAM [ARGUMENT...] < STEPS
//
// A step is a line: "wait TEXT" until the text is on the screen (ASCII), or "type KEYS", where \e is
// Escape and \t is Tab. After the steps the screen is settled once nothing has changed on it for a
// while. For each row there are two lines: its characters in UTF-8, and a digit for each of them, 1
// for bright, 2 for reverse, 3 for both, 0 for neither. Exit status 1 when a text does not come.

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>

#include "runtime/wi/console/console.h"
#include "tests/support/terminal_session.h"

namespace marigold::inner::test {
namespace {

char** command_line = nullptr;

void run_program() {
  execvp(command_line[0], command_line);
  std::perror(command_line[0]);
  std::_Exit(127);
}

bool shows(const Emulator& emulator, const std::string& text) {
  for (int row = 1; row <= kScreenRows; ++row) {
    if (emulator.row_text(row).find(text) != std::string::npos) return true;
  }
  return false;
}

std::string with_controls(std::string keys) {
  for (const auto& [name, byte] : {std::pair{"\\e", "\x1B"}, {"\\t", "\t"}}) {
    for (std::size_t at = 0; (at = keys.find(name, at)) != std::string::npos; ++at)
      keys.replace(at, 2, byte);
  }
  return keys;
}

void append_utf8(std::uint32_t character, std::string& text) {
  const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) return put(character);
  if (character < 0x800) {
    put(0xC0U | character >> 6U);
  } else {
    put(0xE0U | character >> 12U);
    put(0x80U | (character >> 6U & 0x3FU));
  }
  put(0x80U | (character & 0x3FU));
}

std::string cells(const Emulator& emulator) {
  std::string lines;
  for (int row = 1; row <= kScreenRows; ++row) {
    std::string attributes;
    for (int column = 1; column <= kScreenColumns; ++column) {
      const VTermScreenCell cell = emulator.cell(row, column);
      append_utf8(cell.chars[0] == 0 ? ' ' : cell.chars[0], lines);
      attributes += static_cast<char>('0' + cell.attrs.bold + 2 * cell.attrs.reverse);
    }
    lines.append("\n").append(attributes).append("\n");
  }
  return lines;
}

std::string settled_cells(TerminalSession& session) {
  using Clock = std::chrono::steady_clock;
  std::string seen = cells(session.emulator);
  Clock::time_point since = Clock::now();
  session.wait_until([&] {
    std::string now = cells(session.emulator);
    if (now != seen) since = Clock::now();
    seen = std::move(now);
    return Clock::now() - since > std::chrono::milliseconds(400);
  });
  return seen;
}

int run() {
  TerminalSession session(run_program, kScreenColumns, kScreenRows);
  for (std::string step; std::getline(std::cin, step);) {
    const std::string operand = with_controls(step.substr(5));
    if (step.starts_with("type ")) {
      session.type(operand);
    } else if (!session.wait_until([&] { return shows(session.emulator, operand); })) {
      std::cerr << operand << ": did not come\n" << cells(session.emulator);
      return 1;
    }
  }
  std::cout << settled_cells(session);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::test

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  marigold::inner::test::command_line = argv + 1;
  return marigold::inner::test::run();
}
