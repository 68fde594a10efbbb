// SPDX-License-Identifier: GPL-3.0-or-later
// Runs a program on a terminal of 80 by 24 cells and prints the cells that its user sees at last.
//
//   show_screen PROGRAM [ARGUMENT...] < STEPS
//
// A step is a line:
//
//   wait TEXT    until the text is on the screen (ASCII)
//   type KEYS    where \e is Escape and \t is Tab. After an Escape alone the terminal rests, so that
//                no program takes the next key for the rest of a key sequence.
//   rows COUNT   until the rows that are not empty are the next COUNT lines of the input, in UTF-8.
//                Dates such as 14.11.26 count as equal. One line may be "...", for rows without
//                letters.
//   exit         until the program has ended by itself with status 0; the last step
//
// Without an exit the screen is settled once nothing has changed on it for a while. For each row
// there are two lines then: its characters in UTF-8, and a digit for each of them, 1 for bright, 2
// for reverse, 3 for both, 0 for neither. Exit status 1 when something does not come; standard error
// has the rows that are there instead.

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <regex>
#include <string>
#include <thread>

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

std::string without_dates(const std::string& text) {
  const std::regex date("[0-9]{2}\\.[0-9]{2}\\.[0-9]{2}");
  return std::regex_replace(text, date, "DD.MM.YY");
}

void append_cell(const VTermScreenCell& cell, std::string& text) {
  append_utf8(cell.chars[0] == 0 ? ' ' : cell.chars[0], text);
}

// Returns the rows that are not empty, in UTF-8, without the blanks at their ends.
std::string rows(const Emulator& emulator) {
  std::string lines;
  for (int row = 1; row <= kScreenRows; ++row) {
    std::string line;
    for (int column = 1; column <= kScreenColumns; ++column)
      append_cell(emulator.cell(row, column), line);
    line.erase(line.find_last_not_of(' ') + 1);
    if (!line.empty()) lines += line + "\n";
  }
  return lines;
}

std::string cells(const Emulator& emulator) {
  std::string lines;
  for (int row = 1; row <= kScreenRows; ++row) {
    std::string attributes;
    for (int column = 1; column <= kScreenColumns; ++column) {
      const VTermScreenCell cell = emulator.cell(row, column);
      append_cell(cell, lines);
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

bool are_rows(const std::string& rows, const std::string& expected) {
  const std::string left_out = "...\n";
  const std::size_t place = expected.find("\n" + left_out);
  if (place == std::string::npos) return rows == expected;
  const std::string head = expected.substr(0, place + 1);
  const std::string tail = expected.substr(place + 1 + left_out.size());
  if (rows.size() < head.size() + tail.size() || !rows.starts_with(head) || !rows.ends_with(tail))
    return false;
  const std::string between = rows.substr(head.size(), rows.size() - head.size() - tail.size());
  return std::none_of(between.begin(), between.end(),
                      [](unsigned char character) { return std::isalpha(character) != 0; });
}

bool rows_come(TerminalSession& session, int count) {
  std::string expected;
  for (std::string line; count > 0 && std::getline(std::cin, line); --count)
    expected += line + "\n";
  expected = without_dates(expected);
  return session.wait_until(
      [&] { return are_rows(without_dates(rows(session.emulator)), expected); });
}

void type(TerminalSession& session, const std::string& keys) {
  session.type(keys);
  if (keys == "\x1B") std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

// Returns false for a step that fails.
bool take_step(TerminalSession& session, const std::string& word, const std::string& operand) {
  if (word == "rows") return rows_come(session, std::stoi(operand));
  if (word == "exit") return session.outcome() == 0;
  if (word == "wait") return session.wait_until([&] { return shows(session.emulator, operand); });
  type(session, operand);
  return word == "type";
}

int run() {
  TerminalSession session(run_program, kScreenColumns, kScreenRows);
  std::string word;
  for (std::string step; word != "exit" && std::getline(std::cin, step);) {
    word = step.substr(0, step.find(' '));
    const std::string operand = with_controls(step.substr(std::min(word.size() + 1, step.size())));
    if (take_step(session, word, operand)) continue;
    std::cerr << step << ": did not come; the rows are\n" << rows(session.emulator);
    return 1;
  }
  if (word != "exit") std::cout << settled_cells(session);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::test

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  marigold::inner::test::command_line = argv + 1;
  return marigold::inner::test::run();
}
