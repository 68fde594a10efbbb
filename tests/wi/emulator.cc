#include "tests/wi/emulator.h"

#include "runtime/wi/code_page_437.h"

namespace marigold::test {
namespace {

struct Seen {
  char32_t character = ' ';
  bool bold = false;
  bool reverse = false;
  bool operator==(const Seen&) const = default;
};

// Boldness of a blank cannot be seen.
Seen seen(char32_t character, bool bold, bool reverse) {
  if (character == 0) character = ' ';
  return {character, bold && (reverse || character != ' '), reverse};
}

Seen expected_of(const ConsoleCell& cell) {
  return seen(code_page_437_character(cell.character),
              cell.colour == kColourBright || cell.colour == kColourReverseBright,
              cell.colour == kColourReverse || cell.colour == kColourReverseBright);
}

}  // namespace

Emulator::Emulator(int columns, int rows, bool utf8)
    : terminal_(vterm_new(rows, columns)), screen_(vterm_obtain_screen(terminal_)) {
  static constexpr auto kNoteProperty = [](VTermProp property, VTermValue* value, void* user) {
    auto* self = static_cast<Emulator*>(user);
    if (property == VTERM_PROP_CURSORVISIBLE) self->cursor_visible_ = value->boolean != 0;
    if (property == VTERM_PROP_ALTSCREEN) self->alternate_screen_ = value->boolean != 0;
    return 1;
  };
  static const VTermScreenCallbacks callbacks = [] {
    VTermScreenCallbacks all{};
    all.settermprop = kNoteProperty;
    return all;
  }();
  vterm_set_utf8(terminal_, utf8 ? 1 : 0);
  vterm_screen_set_callbacks(screen_, &callbacks, this);
  vterm_screen_enable_altscreen(screen_, 1);
  vterm_screen_reset(screen_, 1);
}

Emulator::~Emulator() {
  vterm_free(terminal_);
}

void Emulator::feed(std::string_view bytes) {
  vterm_input_write(terminal_, bytes.data(), bytes.size());
  vterm_screen_flush_damage(screen_);
}

void Emulator::resize(int columns, int rows) {
  vterm_set_size(terminal_, rows, columns);
}

VTermScreenCell Emulator::cell(int row, int column) const {
  VTermScreenCell cell{};
  vterm_screen_get_cell(screen_, VTermPos{row - 1, column - 1}, &cell);
  return cell;
}

std::string Emulator::row_text(int row) const {
  int rows = 0;
  int columns = 0;
  vterm_get_size(terminal_, &rows, &columns);
  std::string text;
  for (int column = 1; column <= columns; ++column) {
    const auto character = cell(row, column).chars[0];
    text += character == 0 ? ' ' : character < 127 ? static_cast<char>(character) : '?';
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

CursorPosition Emulator::cursor() const {
  VTermPos position{};
  vterm_state_get_cursorpos(vterm_obtain_state(terminal_), &position);
  return {position.col + 1, position.row + 1};
}

std::string Emulator::difference(const ConsoleBuffer& expected) const {
  for (int row = 1; row <= kScreenRows; ++row) {
    for (int column = 1; column <= kScreenColumns; ++column) {
      const VTermScreenCell there = cell(row, column);
      const auto index = static_cast<std::size_t>((row - 1) * kScreenColumns + column - 1);
      if (seen(there.chars[0], there.attrs.bold != 0, there.attrs.reverse != 0) ==
          expected_of(expected[index]))
        continue;
      return "row " + std::to_string(row) + ", column " + std::to_string(column) + ": character " +
             std::to_string(there.chars[0]) + " for byte " +
             std::to_string(expected[index].character) + ", colour " +
             std::to_string(expected[index].colour);
    }
  }
  return "";
}

}  // namespace marigold::test
