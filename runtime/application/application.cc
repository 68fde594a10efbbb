// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/application.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

#include "marigold/code_sets.h"
#include "marigold/windows.h"
#include "runtime/application/key_statistics.h"
#include "runtime/core/program_end.h"
#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "runtime/core/terminal_text.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/platform/stream.h"
#include "runtime/platform/system_error.h"
#include "runtime/texte/syserr.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/dialog/window_interface.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"

namespace marigold {

using namespace inner;

namespace {

struct State {
  std::terminate_handler terminate_before = nullptr;
  const char* advice = nullptr;  // id of the text before the report of a system error
};
State state;

// Ends the process for an exception that nobody catches, with the report below the screen's output.
[[noreturn]] void terminate_below_the_screen() {
  user_interface().hand_terminal_back();
  state.terminate_before();
  std::abort();
}

std::string reason_of(int number) {
  if (number >= kSystemErrorOffset) return system_error_text(number);
  SystemText text;
  syserr_text(text, number);
  return text.c_str();
}

[[noreturn]] void advise_and_report(int number) {
  const char* advice = std::exchange(state.advice, nullptr);
  if (advice != nullptr) runtime_tell(textdb_filled(advice, {reason_of(number)}));
  syserr_fatal(number);
}

}  // namespace

void runtime_start(const char* program) {
  if (state.terminate_before == nullptr)
    state.terminate_before = std::set_terminate(terminate_below_the_screen);
  stream_start();
  user_interface_start();
  syserr_start();
  state.advice = nullptr;
  settings_read();
  sysmsg_init();
  terminal_start();
  wi_start();
  window_interface_start();
  key_hooks().statistics = key_statistics;
  status_open(program);
}

void runtime_end() {
  const OpenSubsystems open = open_subsystems();
  program_end_run();
  if (open.data_files) data_close_all();
  if (open.path_locks) path_lock_release_all();
  if (open.window_system) {
    window_interface_end();
    terminal_end();
    open_subsystems().window_system = false;
  }
  if (open.status_file) status_close();
}

void runtime_tell(const std::string& sentence) {
  user_interface().hand_terminal_back();
  const bool is_utf8 = terminal_charset() == TerminalCharset::kUtf8;
  const std::string shown = is_utf8 ? latin1_as_utf8(sentence) : sentence;
  std::fprintf(stderr, "%s\n", error_text(shown, LineEnds::kKept).c_str());
}

void runtime_explain_faults(const char* id) {
  state.advice = id;
  user_interface().fatal = advise_and_report;
}

}  // namespace marigold
