// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/output_choice.h"

#include "marigold/windows.h"

namespace marigold::inner {
namespace {

constexpr SelectionEntry kEntries[] = {
    {"Ausgabe auf:", false},
    {"------------", false},
    {"Drucker"},
    {"Bildschirm"},
};
constexpr int kScreenEntry = 4;

}  // namespace

bool output_choose_screen() {
  return selection_field({.row = 8,
                          .column = 33,
                          .title = "Ausgabe w{hlen",
                          .entries = kEntries,
                          .layout = "100000000",
                          .help_key = "VIDEO01"}) == kScreenEntry;
}

}  // namespace marigold::inner
