// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/key_expression.h"

namespace marigold::inner::isam {
namespace {

std::string piece(int start, int length) {
  return "substring(record from " + std::to_string(start + 1) + " for " + std::to_string(length) +
         ")";
}

// Integers are big-endian in the record; with the sign bit inverted, negative ones come first.
std::string integer_expression(const KeyPart& part) {
  const std::string bytes = piece(part.start, part.length);
  return "set_byte(" + bytes + ", 0, get_byte(" + bytes + ", 0) # 128)";
}

// Doubles are little-endian in the record. Negative ones get all bits inverted, others the sign
// bit; -0.0 becomes 0.0, and a NaN the greatest value of all.
std::string double_expression(const KeyPart& part) {
  std::string reversed;
  for (int i = part.length - 1; i >= 0; --i)
    reversed += (reversed.empty() ? "" : " || ") + piece(part.start + i, 1);
  const std::string bits = "('x' || encode(" + reversed + ", 'hex'))::bit(64)::bigint";
  const std::string size = "(" + bits + " & 9223372036854775807)";
  return "int8send(CASE WHEN " + size + " > 9218868437227405312 THEN -1 WHEN " + size +
         " = 0 THEN (-9223372036854775808)::bigint WHEN " + bits + " < 0 THEN ~" + bits + " ELSE " +
         bits + " # (-9223372036854775808)::bigint END)";
}

}  // namespace

std::string key_expression(const KeyDescription& key) {
  std::string expression;
  for (int i = 0; i < key.part_count; ++i) {
    const KeyPart& part = key.parts[static_cast<std::size_t>(i)];
    if (i > 0) expression += " || ";
    if (part.type == kIsCharacters) {
      expression += piece(part.start, part.length);
    } else {
      expression += part.type == kIsDouble ? double_expression(part) : integer_expression(part);
    }
  }
  return "(" + expression + ")";
}

std::string bytes_literal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string literal = "'\\x";
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    literal += kDigits[byte / 16U];
    literal += kDigits[byte % 16U];
  }
  return literal + "'::bytea";
}

}  // namespace marigold::inner::isam
