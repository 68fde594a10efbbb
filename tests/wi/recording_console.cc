#include "tests/wi/recording_console.h"

#include <algorithm>

namespace marigold::test {
namespace {

Recording state;

void note(char call) {
  state.calls += call;
}

std::uint8_t next_key() {
  state.keyboard_lost = state.keys.empty();
  if (state.keyboard_lost) return 27;
  const std::uint8_t key = state.keys.front();
  state.keys.pop_front();
  return key;
}

constexpr Console kRecordingConsole{
    .size = [] { note('S'); },
    .clear = [] { note('C'); },
    .write =
        [](const ConsoleBuffer& cells) {
          note('W');
          ++state.writes;
          state.cells = cells;
        },
    .place_cursor =
        [](int column, int row) {
          note('P');
          state.column = column;
          state.row = row;
        },
    .show_cursor =
        [](bool visible) {
          note(visible ? 'V' : 'H');
          state.cursor_visible = visible;
        },
    .read_key = next_key,
    .key_waiting = [] { return !state.keys.empty(); },
    .keyboard_lost = [] { return state.keyboard_lost; },
    .leave = [] { note('L'); },
};

}  // namespace

void Recording::type(std::string_view bytes) {
  keys.insert(keys.end(), bytes.begin(), bytes.end());
}

std::string Recording::text(int row, int column, int count) const {
  std::string characters;
  for (int place = column; place < column + count; ++place)
    characters += static_cast<char>(cell(row, place).character);
  return characters;
}

const ConsoleCell& Recording::cell(int row, int column) const {
  return cells.at(static_cast<std::size_t>((row - 1) * kScreenColumns + column - 1));
}

int Recording::count(char call) const {
  return static_cast<int>(std::ranges::count(calls, call));
}

Recording& recording() {
  return state;
}

void recording_reset() {
  state = Recording{};
}

const Console& recording_console() {
  return kRecordingConsole;
}

}  // namespace marigold::test
