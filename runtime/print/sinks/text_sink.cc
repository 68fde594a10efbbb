// SPDX-License-Identifier: GPL-3.0-or-later
// Printing into a text file.

#include <utility>

#include "marigold/code_sets.h"
#include "marigold/output.h"

namespace marigold {
namespace {

constexpr char kBackspace = 8;

struct State {
  std::string line;
  std::size_t column = 0;
  std::size_t empty_lines = 0;  // not written yet
};
State state;

// Puts a character into the line. A blank does not overwrite the character in its place.
void put(char character) {
  if (character == kBackspace) {
    if (state.column > 0) --state.column;
    return;
  }
  if (state.column >= state.line.size()) state.line.resize(state.column + 1, ' ');
  if (character != ' ') state.line[state.column] = character;
  ++state.column;
}

void end_line() {
  state.line.erase(state.line.find_last_not_of(' ') + 1);
  state.column = 0;
  if (state.line.empty()) {
    ++state.empty_lines;
    return;
  }
  std::string text(std::exchange(state.empty_lines, 0), '\n');
  text.append(latin1_as_utf8(state.line)).append("\n");
  state.line.clear();
  print_file_write(text);
}

constexpr OutputDevice kTextSink{
    .text =
        [](std::string_view text) {
          for (const char character : text)
            put(character);
        },
    .control = [](Marker) {},
    .end_line = end_line,
    .end_page =
        [] {
          state.empty_lines = 0;
          print_file_write("\f");
        },
    .close = print_file_close,
};

}  // namespace

const OutputDevice* text_sink_open(const std::string& path, std::string& reason) {
  state = {};
  return print_file_open(path, reason) ? &kTextSink : nullptr;
}

}  // namespace marigold
