// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/cursor_movement.h"

#include <charconv>

namespace marigold::inner {
namespace {

constexpr int kSequenceFrame = 3;  // escape, bracket, final character

constexpr int digits(int number) {
  return number < 10 ? 1 : number < 100 ? 2 : 3;
}

// A sequence leaves out a parameter of 1.
constexpr int sequence_cost(int parameter) {
  return kSequenceFrame + (parameter == 1 ? 0 : digits(parameter));
}

AxisMotion by_sequence(char letter, int count) {
  return {.letter = letter, .count = count, .cost = sequence_cost(count)};
}

AxisMotion by_control(char control, int count) {
  return {.control = control, .count = count, .cost = count};
}

AxisMotion from_first_column(int to) {
  AxisMotion motion{.carriage_return = true, .cost = 1};
  if (to > 1) {
    motion.letter = 'C';
    motion.count = to - 1;
    motion.cost += sequence_cost(to - 1);
  }
  return motion;
}

void take_cheaper(AxisMotion& best, const AxisMotion& other) {
  if (other.cost < best.cost) best = other;
}

AxisMotion vertical_motion(int from, int to, bool has_axis_positions) {
  if (from == to) return {};
  AxisMotion best = to > from ? by_control('\n', to - from) : by_sequence('A', from - to);
  if (to > from) take_cheaper(best, by_sequence('B', to - from));
  if (has_axis_positions) take_cheaper(best, by_sequence('d', to));
  return best;
}

AxisMotion horizontal_motion(int from, int to, bool has_axis_positions) {
  if (from == to) return {};
  AxisMotion best = from_first_column(to);
  if (from != 0 && to > from) {
    take_cheaper(best, by_sequence('C', to - from));
  } else if (from != 0) {
    take_cheaper(best, by_control('\b', from - to));
    take_cheaper(best, by_sequence('D', from - to));
  }
  if (has_axis_positions) take_cheaper(best, by_sequence('G', to));
  return best;
}

int absolute_cost(CursorPosition to) {
  if (to.column == 1) return sequence_cost(to.row);
  return kSequenceFrame + digits(to.row) + 1 + digits(to.column);
}

void append_number(std::string& out, int number) {
  char text[12];
  const auto end = std::to_chars(text, text + sizeof text, number).ptr;
  out.append(text, end);
}

void append_sequence(std::string& out, char letter, int parameter) {
  out += "\x1b[";
  if (parameter != 1) append_number(out, parameter);
  out += letter;
}

void append_axis(std::string& out, const AxisMotion& motion) {
  if (motion.carriage_return) out += '\r';
  if (motion.control != 0) out.append(static_cast<std::size_t>(motion.count), motion.control);
  if (motion.letter != 0) append_sequence(out, motion.letter, motion.count);
}

void append_absolute(std::string& out, CursorPosition to) {
  if (to.column == 1) return append_sequence(out, 'H', to.row);
  out += "\x1b[";
  append_number(out, to.row);
  out += ';';
  append_number(out, to.column);
  out += 'H';
}

}  // namespace

CursorMotion plan_motion(CursorPosition from, CursorPosition to, bool has_axis_positions) {
  CursorMotion motion{.to = to,
                      .vertical = vertical_motion(from.row, to.row, has_axis_positions),
                      .horizontal = horizontal_motion(from.column, to.column, has_axis_positions)};
  motion.cost = motion.vertical.cost + motion.horizontal.cost;
  if (absolute_cost(to) < motion.cost) {
    motion.absolute = true;
    motion.cost = absolute_cost(to);
  }
  return motion;
}

void append_motion(std::string& out, const CursorMotion& motion) {
  if (motion.absolute) return append_absolute(out, motion.to);
  append_axis(out, motion.vertical);
  append_axis(out, motion.horizontal);
}

}  // namespace marigold::inner
