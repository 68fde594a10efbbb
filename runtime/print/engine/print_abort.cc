// SPDX-License-Identifier: GPL-3.0-or-later
// The user's part in printing: the progress line, the question whether to abort, the end of an
// aborted list.

#include "runtime/print/engine/print_abort.h"

#include <utility>

#include "marigold/windows.h"
#include "runtime/core/settings.h"
#include "runtime/print/engine/list_state.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/terminal/terminal.h"

namespace marigold::inner {
namespace {

constexpr int kProgressRow = 24;
constexpr int kProgressColumns = 40;
constexpr const char* kReverse = "0100";
constexpr int kAbort = 2;

void show_line(int& window, const char* text) {
  create_w(window, kProgressRow, 1, 1, kProgressColumns, true);
  p_active_w(window);
  p_set_atr(window, kReverse);
  p_printstr(window, 1, 1, text);
  wi_refresh_active();
  terminal_refresh();
}

void give_activity_back(int window) {
  if (window != kNoWindow) p_active_w(window);
}

bool user_chooses_abort() {
  constexpr SelectionEntry kAnswers[] = {{"Druck fortsetzen"}, {"Druck abbrechen"}};
  int window = 0;
  show_line(window, systxt_interrupt.c_str());
  const SelectionField question{.row = kProgressRow,
                                .column = kProgressColumns + 1,
                                .title = {},
                                .entries = kAnswers,
                                .layout = "110000000",
                                .help_key = "_DRABE_"};
  const bool abort = selection_field(question) == kAbort;
  p_destroy_w(window);
  terminal_refresh();
  return abort;
}

}  // namespace

void progress_show() {
  ListState& list = list_state();
  if (!open_subsystems().window_system) return;
  list.window_before = wi_active();
  show_line(list.progress_window, systxt_cancel.c_str());
  give_activity_back(list.window_before);
  list.progress_shown = true;
}

void progress_end() {
  ListState& list = list_state();
  if (!std::exchange(list.progress_shown, false)) return;
  p_clear_w(list.progress_window);
  p_refreshany_w(list.progress_window);
  give_activity_back(list.window_before);
  p_destroy_w(list.progress_window);
  terminal_refresh();
}

bool abort_was_chosen() {
  if (!key_is_waiting()) return false;
  std::uint8_t character = 0;
  // The key asked for the question and answers nothing; Ctrl-R only repainted the screen.
  const bool repainted = key_read(character) == kKeyIgnored && character == 0;
  return !repainted && user_chooses_abort();
}

void abort_announce() {
  ListState& list = list_state();
  p_clear_w(list.progress_window);
  p_set_atr(list.progress_window, kReverse);
  p_printstr(list.progress_window, 1, 1, systxt_do_cancel.c_str());
  p_refreshany_w(list.progress_window);
  terminal_refresh();
}

}  // namespace marigold::inner
