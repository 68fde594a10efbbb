// SPDX-License-Identifier: GPL-3.0-or-later
// The sequences that terminals send for keys. Only key_sequences.cc uses this header.
#pragma once

#include <string_view>

#include "runtime/wi/console/decoded_keys.h"

namespace marigold::inner {

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
