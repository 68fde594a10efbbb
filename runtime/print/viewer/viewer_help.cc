// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer_help.h"

#include <cstdint>
#include <iterator>

#include "marigold/windows.h"
#include "runtime/wi/window/window_text.h"

namespace marigold::inner {
namespace {

constexpr int kWidth = 56;
constexpr int kKeyColumn = 2;
constexpr int kTextColumn = 18;

struct Line {
  const char* keys;
  const char* text;
};
// Umlauts as bytes of the national 7-bit set.
constexpr Line kLines[] = {
    {"+  Enter", "einen Schirm vor"},
    {"-", "einen Schirm zur}ck"},
    {"*", "n{chste Druckseite"},
    {"/", "vorige Druckseite"},
    {"Auf  Ab", "eine Zeile zur}ck, vor"},
    {"Links  Rechts", "eine Spalte nach links, rechts"},
    {"Tab", "26 Spalten nach rechts"},
    {"Entf", "zur ersten Spalte"},
    {"Einfg", "zum Ende"},
    {"Strg-Pos1", "zum Anfang"},
    {"g", "zu einer Zeile"},
    {"s", "suchen (gro~ und klein gilt gleich)"},
    {"n", "n{chste Fundstelle"},
    {"F4", "ausdrucken"},
    {"F1", "Anzeige beenden"},
};
constexpr int kCount = static_cast<int>(std::size(kLines));

}  // namespace

void viewer_help() {
  const OwnWindow window((kScreenRows - kCount - 2) / 2 + 1, (kScreenColumns - kWidth) / 2 + 1,
                         kCount + 2, kWidth, false);
  int row = 0;
  for (const Line& line : kLines) {
    print_with(window.number(), kBrightText, ++row, kKeyColumn, line.keys);
    p_printstr(window.number(), row, kTextColumn, line.text);
  }
  wi_set_cursor(window.number(), kCount, kWidth - 2);
  window.show();
  std::uint8_t character = 0;
  field_key(character);
}

}  // namespace marigold::inner
