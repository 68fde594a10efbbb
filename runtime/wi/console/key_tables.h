// SPDX-License-Identifier: GPL-3.0-or-later
// The keys for which terminals have sequences, with the bytes that terminals send and the key bytes
// for them. Only key_sequences.cc uses this header.
#pragma once

#include <cstdint>
#include <iterator>
#include <string_view>

namespace marigold::inner {

enum Key : int {
  kNoKey = -1,
  kUp,
  kDown,
  kRight,
  kLeft,
  kHome,
  kEnd,
  kPageUp,
  kPageDown,
  kInsert,
  kDelete,
  kTab,
  kF1,
  kF2,
  kF3,
  kF4,
  kF5,
  kF6,
  kF7,
  kF8,
  kF9,
  kF10,
  kF11,
  kF12,
};

// The bytes of a key in the Windows console, in the order of Key.
struct KeyBytes {
  std::uint8_t prefix;  // kNoPrefix: the plain key is one byte, the others have prefix 0
  std::uint8_t plain;
  std::uint8_t shift;
  std::uint8_t control;
};
inline constexpr std::uint8_t kNoPrefix = 1;
// clang-format off
inline constexpr KeyBytes kKeyBytes[] = {
    {224, 'H', 'H', 141}, {224, 'P', 'P', 145}, {224, 'M', 'M', 't'}, {224, 'K', 'K', 's'},
    {224, 'G', 'G', 'w'}, {224, 'O', 'O', 'u'}, {224, 'I', 'I', 134}, {224, 'Q', 'Q', 'v'},
    {224, 'R', 'R', 146}, {224, 'S', 'S', 147}, {kNoPrefix, 9, 15, 148},
    {0, ';', 'T', '^'}, {0, '<', 'U', '_'}, {0, '=', 'V', '`'}, {0, '>', 'W', 'a'}, {0, '?', 'X', 'b'},
    {0, '@', 'Y', 'c'}, {0, 'A', 'Z', 'd'}, {0, 'B', '[', 'e'}, {0, 'C', '\\', 'f'}, {0, 'D', ']', 'g'},
    {224, 133, 135, 137}, {224, 134, 136, 138},
};
// clang-format on
static_assert(std::size(kKeyBytes) == kF12 + 1);

// Final characters after Escape "[" and, except for 'Z', after Escape "O".
inline constexpr struct {
  char letter;
  Key key;
} kLetters[] = {{'A', kUp}, {'B', kDown}, {'C', kRight}, {'D', kLeft}, {'H', kHome}, {'F', kEnd},
                {'P', kF1}, {'Q', kF2},   {'R', kF3},    {'S', kF4},   {'Z', kTab}};

// Number before the final "~".
inline constexpr struct {
  int number;
  Key key;
} kNumbers[] = {{1, kHome},     {2, kInsert}, {3, kDelete}, {4, kEnd},  {5, kPageUp},
                {6, kPageDown}, {7, kHome},   {8, kEnd},    {11, kF1},  {12, kF2},
                {13, kF3},      {14, kF4},    {15, kF5},    {17, kF6},  {18, kF7},
                {19, kF8},      {20, kF9},    {21, kF10},   {23, kF11}, {24, kF12}};

// Reports of terminals: the character after the Escape, and the characters that may follow it.
struct TerminalReport {
  char introducer;
  std::string_view first_characters;
};
inline constexpr TerminalReport kReports[] = {
    {']', "0123456789lL"}, {'P', "0123456789>!+$|"}, {'_', "G"}};

// The keypad in application mode, after Escape "O".
inline constexpr struct {
  char letter;
  char character;
} kKeypad[] = {{'M', '\r'}, {'I', '\t'}, {' ', ' '}, {'X', '='}, {'j', '*'}, {'k', '+'}, {'l', ','},
               {'m', '-'},  {'n', '.'},  {'o', '/'}, {'p', '0'}, {'q', '1'}, {'r', '2'}, {'s', '3'},
               {'t', '4'},  {'u', '5'},  {'v', '6'}, {'w', '7'}, {'x', '8'}, {'y', '9'}};

}  // namespace marigold::inner
