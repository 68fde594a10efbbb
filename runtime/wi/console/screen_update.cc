// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/screen_update.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace marigold::inner {
namespace {

using RowOfCells = std::span<const ConsoleCell, kScreenColumns>;

constexpr int kLongestGap = 6;  // unchanged cells that may be sent again if that is shorter
constexpr std::string_view kEraseLine = "\x1b[K";
constexpr char kGraphicSetOn = '\x0e';
constexpr char kGraphicSetOff = '\x0f';
// Up to this byte the graphic set has the characters of ASCII.
constexpr unsigned char kLastSharedByte = 0x5E;

// Sequences from one look to another. They do not change the graphic set.
constexpr std::string_view kLookChanges[4][4] = {
    {"", "\x1b[1m", "\x1b[7m", "\x1b[1;7m"},
    {"\x1b[m", "", "\x1b[0;7m", "\x1b[7m"},
    {"\x1b[m", "\x1b[0;1m", "", "\x1b[1m"},
    {"\x1b[m", "\x1b[27m", "\x1b[0;7m", ""},
};

// Called several times for each cell; in this form the compiler expands the call inline.
constexpr CellLook cell_look(std::uint16_t colour) {
  constexpr unsigned kBackground = 0x70;
  constexpr unsigned kBackgroundIntensity = 0x80;
  constexpr unsigned kForegroundIntensity = 0x08;
  if ((colour & kBackground) != 0)
    return (colour & kBackgroundIntensity) != 0 ? CellLook::kReverseBright : CellLook::kReverse;
  return (colour & kForegroundIntensity) != 0 ? CellLook::kBright : CellLook::kPlain;
}

bool is_blank(const ConsoleCell& cell) {
  return cell.character == ' ' || cell.character == 0;
}

bool is_reverse(CellLook look) {
  return look == CellLook::kReverse || look == CellLook::kReverseBright;
}

bool is_plain_blank(const ConsoleCell& cell) {
  return is_blank(cell) && !is_reverse(cell_look(cell.colour));
}

bool look_the_same(const ConsoleCell& one, const ConsoleCell& other) {
  if (one == other) return true;
  if (is_plain_blank(one) || is_plain_blank(other))
    return is_plain_blank(one) && is_plain_blank(other);
  return cell_look(one.colour) == cell_look(other.colour) &&
         (one.character == other.character || (is_blank(one) && is_blank(other)));
}

// Returns a cell as one number, without the byte of padding, whose value is undefined.
std::uint32_t cell_bits(const ConsoleCell& cell) {
  constexpr std::size_t kPadding = 1;
  static_assert(sizeof(ConsoleCell) == 4 && offsetof(ConsoleCell, colour) == kPadding + 1);
  constexpr auto kMask =
      std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{255, 0, 255, 255});
  std::uint32_t bits = 0;
  std::memcpy(&bits, &cell, sizeof bits);
  return bits & kMask;
}

// Most rows have not changed. Without an early exit the compiler turns the loop into vector
// instructions.
bool rows_differ(RowOfCells one, RowOfCells other) {
  std::uint32_t difference = 0;
  for (std::size_t column = 0; column < one.size(); ++column)
    difference |= cell_bits(one[column]) ^ cell_bits(other[column]);
  return difference != 0;
}

RowOfCells row_of(const ConsoleBuffer& cells, int row) {
  return RowOfCells(cells.data() + std::ptrdiff_t{row - 1} * kScreenColumns, kScreenColumns);
}

// State of one update.
class Update {
 public:
  Update(ShownScreen& shown, const ConsoleBuffer& wanted, const TerminalKind& kind,
         std::string& out)
      : shown_(shown), wanted_(wanted), kind_(kind), out_(out) {}

  void update_row(int row);
  void place_cursor(const WantedCursor& cursor);

 private:
  const ConsoleCell& wanted_at(int row, int column) const {
    return row_of(wanted_, row)[static_cast<std::size_t>(column) - 1];
  }
  const TerminalGlyph& glyph_of(const ConsoleCell& cell) const {
    return kind_.glyphs[cell.character];
  }
  bool fits_look(const ConsoleCell& cell) const;
  bool fits_set(const TerminalGlyph& glyph) const;
  int cost_of_resending(CursorPosition to) const;
  void move_to(CursorPosition to) {
    if (shown_.cursor != to) move_elsewhere(to);
  }
  void move_elsewhere(CursorPosition to);
  void take_look(CellLook look);
  void put(const ConsoleCell& cell);
  void erase_rest(int row, int column);

  ShownScreen& shown_;
  const ConsoleBuffer& wanted_;
  const TerminalKind& kind_;
  std::string& out_;
};

bool Update::fits_look(const ConsoleCell& cell) const {
  if (is_plain_blank(cell)) return !is_reverse(shown_.look);
  return cell_look(cell.colour) == shown_.look;
}

bool Update::fits_set(const TerminalGlyph& glyph) const {
  if (glyph.graphic == shown_.graphic_set) return true;
  return !glyph.graphic && static_cast<unsigned char>(glyph.bytes[0]) <= kLastSharedByte;
}

// Returns the cost of sending the wanted cells between the cursor and a place further right; -1 if
// that is too far or would need another look or set.
int Update::cost_of_resending(CursorPosition to) const {
  const CursorPosition& from = shown_.cursor;
  if (from.row != to.row || from.column == 0 || from.column > to.column) return -1;
  if (to.column - from.column > kLongestGap) return -1;
  int cost = 0;
  for (int column = from.column; column < to.column; ++column) {
    const ConsoleCell& cell = wanted_at(to.row, column);
    if (!fits_look(cell) || !fits_set(glyph_of(cell))) return -1;
    cost += glyph_of(cell).size;
  }
  return cost;
}

void Update::move_elsewhere(CursorPosition to) {
  const CursorMotion motion = plan_motion(shown_.cursor, to, kind_.has_axis_positions);
  const int resending = cost_of_resending(to);
  if (resending >= 0 && resending <= motion.cost) {
    while (shown_.cursor.column < to.column)
      put(wanted_at(to.row, shown_.cursor.column));
    return;
  }
  append_motion(out_, motion);
  shown_.cursor = to;
}

void Update::take_look(CellLook look) {
  out_ += kLookChanges[static_cast<int>(shown_.look)][static_cast<int>(look)];
  shown_.look = look;
}

void Update::put(const ConsoleCell& cell) {
  const TerminalGlyph& glyph = glyph_of(cell);
  if (!fits_look(cell)) take_look(is_plain_blank(cell) ? CellLook::kPlain : cell_look(cell.colour));
  if (!fits_set(glyph)) {
    out_ += glyph.graphic ? kGraphicSetOn : kGraphicSetOff;
    shown_.graphic_set = glyph.graphic;
  }
  out_.append(glyph.bytes.data(), glyph.size);
  shown_.cursor.column = shown_.cursor.column < kScreenColumns ? shown_.cursor.column + 1 : 0;
}

// Erasing uses the background of the look in force, so that look must not be reverse.
void Update::erase_rest(int row, int column) {
  move_to({.column = column, .row = row});
  if (is_reverse(shown_.look)) take_look(CellLook::kPlain);
  out_ += kEraseLine;
}

void Update::update_row(int row) {
  const RowOfCells before = row_of(shown_.cells, row);
  const RowOfCells after = row_of(wanted_, row);
  if (!rows_differ(before, after)) return;
  const auto differs = [&](int column) {
    const auto index = static_cast<std::size_t>(column) - 1;
    return !look_the_same(before[index], after[index]);
  };
  int end = kScreenColumns;  // the last column that differs
  while (end > 0 && !differs(end))
    --end;
  // First column of the blanks at the right edge, which can be erased instead of written.
  int tail = kScreenColumns + 1;
  while (tail > 1 && is_plain_blank(wanted_at(row, tail - 1)))
    --tail;
  while (tail <= end && !differs(tail))
    ++tail;
  const bool erasing = end - tail + 1 > static_cast<int>(kEraseLine.size());
  const int stop = erasing ? tail - 1 : end;
  for (int column = 1; column <= stop; ++column) {
    if (!differs(column)) continue;
    move_to({.column = column, .row = row});
    put(wanted_at(row, column));
  }
  if (erasing) erase_rest(row, tail);
  std::ranges::copy(after, shown_.cells.begin() + std::ptrdiff_t{row - 1} * kScreenColumns);
}

void Update::place_cursor(const WantedCursor& cursor) {
  if (cursor.visible) move_to(cursor.position);
  if (cursor.visible == shown_.cursor_visible) return;
  out_ += cursor.visible ? "\x1b[?25h" : "\x1b[?25l";
  shown_.cursor_visible = cursor.visible;
}

}  // namespace

void screen_erase(ShownScreen& shown, std::string& out) {
  // The byte ends a shift to the graphic set; in UTF-8 it has no effect.
  out += kGraphicSetOff;
  out += "\x1b[m\x1b[H\x1b[2J\x1b[?25h";
  shown = {};
}

bool screen_differs(const ShownScreen& shown, const ConsoleBuffer& wanted,
                    const WantedCursor& cursor) {
  if (shown.cursor_visible != cursor.visible) return true;
  if (cursor.visible && shown.cursor != cursor.position) return true;
  for (int row = 1; row <= kScreenRows; ++row) {
    if (rows_differ(row_of(shown.cells, row), row_of(wanted, row))) return true;
  }
  return false;
}

bool screen_update(ShownScreen& shown, const ConsoleBuffer& wanted, const WantedCursor& cursor,
                   const TerminalKind& kind, std::string& out, std::size_t room) {
  Update update(shown, wanted, kind, out);
  for (int count = 0; count < kScreenRows; ++count) {
    update.update_row(shown.next_row);
    shown.next_row = shown.next_row % kScreenRows + 1;
    if (out.size() >= room) return false;
  }
  shown.next_row = 1;
  update.place_cursor(cursor);
  return true;
}

}  // namespace marigold::inner
