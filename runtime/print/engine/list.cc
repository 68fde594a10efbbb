// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/lists.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "marigold/output.h"
#include "runtime/core/program_end.h"
#include "runtime/core/settings.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/print/engine/block_run.h"
#include "runtime/print/engine/list_fault.h"
#include "runtime/print/engine/page.h"
#include "runtime/print/engine/print_abort.h"
#include "runtime/print/engine/variables.h"
#include "runtime/print/files/block_store.h"
#include "runtime/print/files/list_install.h"
#include "runtime/print/output/number_text.h"
#include "runtime/print/output/output_device.h"
#include "runtime/print/output/print_defaults.h"
#include "runtime/print/output/screen_output.h"
#include "runtime/print/viewer/viewer.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::string_view kChannelName = "***********";

// State that outlives a list.
struct Choice {
  bool to_screen = false;
  const OutputDevice* device = nullptr;
  std::string viewer_printer;
};

// A printer that is open for the viewer alone.
struct ViewerPrinter {
  bool open = false;
  bool failed = false;  // since the viewer began
};

struct State {
  Choice choice;
  ViewerPrinter viewer_printer;
};
State state;

ListState& list() {
  return list_state();
}

void refuse(std::string_view reason, const char* help_key) {
  list_fail(std::string("LP1:").append(list().name).append(":").append(reason), help_key);
}

// ---- Opening

// Without the files of the screen there is nothing to show; the user has seen a message.
int start_screen() {
  if (screen_output_start() == 0) return kListDone;
  list().to_screen = false;
  list().aborted = true;
  return kListBad;
}

// Refuses to print without a device: the program would otherwise end as if all were well.
int start_device() {
  if (list().to_screen) return start_screen();
  if (state.choice.device != nullptr || printer_is_open()) return kListDone;
  refuse("Drucker nicht bereit !", "");
  return kListNoPrinter;
}

// Finds the list in one pair of definition files, which then stay open.
bool found_in(const ListFiles& files) {
  if (!list_records_open(files)) return false;
  if (!list_record_read(files, list().name, list().properties)) {
    list_records_close(files);
    return false;
  }
  list().files = &files;
  return true;
}

int read_definitions() {
  list_files_define();
  ListFilesHold own;
  ListFilesHold plain;
  std::string problem;
  if (!own.begin(list_directory(), kOwnListFiles, problem) ||
      !plain.begin(list_directory(), kPlainListFiles, problem)) {
    refuse(problem, "_BLONF_");
    return kListBad;
  }
  if (!found_in(kOwnListFiles) && !found_in(kPlainListFiles)) {
    refuse("Liste nicht gefunden!", "_LISNF_");
    return kListNotFound;
  }
  const std::string path = list_store_path(*list().files);
  std::string reason;
  if (block_store_read(path.c_str(), list().store, reason)) return kListDone;
  refuse(path + ": " + reason, "_BLONF_");
  return kListBad;
}

void override_with(const ListOptions& options) {
  ListProperties& page = list().properties;
  if (options.page_length != -1) page.page_length = options.page_length;
  if (options.first_line != -1) page.first_line = options.first_line;
  if (options.last_line != -1) page.last_line = options.last_line;
}

void cut_to_limit() {
  const PrintDefaults& defaults = print_defaults();
  ListProperties& page = list().properties;
  if (defaults.page_limit > 0) {
    int limit = defaults.page_limit;
    if (defaults.page_limit_first_line > 0) limit -= defaults.page_limit_first_line - 1;
    page.page_length = std::min(page.page_length, limit);
  }
  page.last_line = std::min(page.last_line, page.page_length);
}

int check_page() {
  const ListProperties& page = list().properties;
  const char* fault = nullptr;
  if (page.page_length < 1)
    fault = "the page has no lines";
  else if (page.first_line < 1 || page.first_line > page.last_line)
    fault = "the page's first line is beyond its last one";
  if (fault == nullptr) return kListDone;
  refuse(fault, "_BLONF_");
  return kListBad;
}

const OutputDevice& device() {
  if (state.choice.device != nullptr) return *state.choice.device;
  return list().to_screen ? kScreenDevice : kPrinterDevice;
}

// Sends the printer its first pitch before any text.
void set_printer() {
  list().shown.pitch = 0;
  page_flush_attributes();
}

// ---- Closing

int begin_viewer_print() {
  if (printer_is_open()) return 0;
  const int failed =
      state.choice.viewer_printer.empty() ? ENOENT : open_printer(state.choice.viewer_printer);
  state.viewer_printer.open = failed == 0;
  state.viewer_printer.failed = state.viewer_printer.failed || failed != 0;
  return failed;
}

void end_viewer_print() {
  if (!std::exchange(state.viewer_printer.open, false)) return;
  const int status = close_printer();
  if (status == 0) return;
  state.viewer_printer.failed = true;
  const std::string message = printer_command(state.choice.viewer_printer) +
                              ": the print command ended with status " + std::to_string(status);
  user_interface().message(message.c_str(), "");
}

// Returns false if the user wanted to print and could not.
bool show_viewer(const std::string& name) {
  state.viewer_printer = {};
  viewer_run({.name = name,
              .page_length = channel_page_length(),
              .begin_print = begin_viewer_print,
              .end_print = end_viewer_print,
              .print =
                  [](std::span<const char> bytes) {
                    int error_flag = 0;
                    write_printer({bytes.data(), bytes.size()}, error_flag);
                    return error_flag;
                  },
              .aborted = abort_was_chosen});
  return !state.viewer_printer.failed;
}

// An aborted list still ends its page: the next list must not begin on half a page.
void end_last_page() {
  if (!list().printed) return;
  channel_stop(false);
  page_eject(false);
}

// Returns one message for a list, however long it is; "" if all numbers had room.
std::string overflow_message() {
  const std::size_t count = list().overflows_kept;
  if (count == 0) return {};
  std::string message = "LP1:" + list().name + ":" + list().first_overflow;
  if (count > 1) message += " (and " + std::to_string(count - 1) + " more)";
  return message;
}

struct Ending {
  bool complete = false;  // the device has taken everything
  std::string overflows;
};

// Passes the rest of the list to the device and forgets the list.
Ending finish() {
  progress_end();
  end_last_page();
  if (list().files != nullptr) list_records_close(*list().files);
  const bool refused = list().refused;
  Ending ending{.complete = channel_close() == 0 && !refused, .overflows = overflow_message()};
  list() = {};
  open_subsystems().print_engine = false;
  return ending;
}

// Reports a carried total or page number that the channel edits.
void overflow_in_channel(int total, std::string_view mask, double number) {
  const std::string name = total == 0 ? "page" : "total " + std::to_string(total);
  list_overflow({.list = list().name,
                 .field = name,
                 .mask = mask,
                 .number = number,
                 .page = list().page,
                 .line = list().line,
                 .column = list().column});
}

// Called when the program ends without closing its list. Printed output is on its way to paper;
// screen output has lost its user.
void end_with_program() {
  const bool to_screen = list().to_screen;
  finish();
  if (to_screen) screen_output_remove();
}

}  // namespace

void list_to_screen(bool screen) {
  state.choice.to_screen = screen;
}

void list_to_viewer_printer(std::string_view name) {
  state.choice.viewer_printer = name;
}

void list_to_device(const OutputDevice* device) {
  state.choice.device = device;
}

int list_open(std::string_view name, const ListOptions& options) {
  if (list().open) raise_fatal(kErrorIsOpen);
  print_defaults_start();
  list() = {};
  list().open = true;
  list().run_block = block_run;
  list().name = name;
  list().today = print_today();
  variables_clear();
  open_subsystems().print_engine = true;
  program_end_add(end_with_program);  // before the channel's end: it closes the channel
  list().to_screen = state.choice.to_screen && state.choice.device == nullptr;
  int result = start_device();
  if (options.show_progress && !list().to_screen) progress_show();
  if (result == kListDone) result = read_definitions();
  override_with(options);
  cut_to_limit();
  if (result == kListDone) result = check_page();
  list().footer_line = list().properties.last_line;
  channel_open(kChannelName, std::max(list().properties.page_length, 1), device());
  channel_on_overflow(overflow_in_channel);
  if (result == kListDone) set_printer();
  channel_stop(list().aborted);
  list().refused = result != kListDone;
  return result;
}

std::string list_close(bool* complete) {
  if (!list().open) raise_fatal(kErrorIsClosed);
  std::string output = list().properties.output;
  const std::string name = output.empty() ? list().name : output;
  const bool to_screen = list().to_screen;
  program_end_remove(end_with_program);
  const Ending ending = finish();
  if (!ending.overflows.empty()) user_interface().message(ending.overflows.c_str(), "");
  bool printed = true;
  if (to_screen) {
    printed = show_viewer(name);
    screen_output_remove();
  }
  if (complete != nullptr) *complete = ending.complete && printed;
  return output;
}

void list_print(std::string_view block) {
  if (list().aborted) return;
  if (block == kEjectPage)
    page_eject(false);
  else
    block_run(block, BlockKind::kBody);
}

bool list_has_block(std::string_view block) {
  return block_record(block) != nullptr;
}

int list_repeat(std::string_view block) {
  const Block* found = block_record(block);
  return found == nullptr ? 0 : found->properties.repeat;
}

void list_set_header(std::string_view block) {
  list().header = block;
  list().has_header = true;
}

void list_set_footer(std::string_view block) {
  if (list().aborted) return;
  const Block* found = block_find(block);
  if (found == nullptr) return;
  list().footer = block;
  list().has_footer = true;
  list().footer_line = list().properties.last_line - found->properties.footer_lines;
  if (list().footer_line < list().properties.first_line)
    refuse(std::string(block).append(":").append("the footer leaves no line of the page"),
           "_BLONF_");
}

bool list_check_abort() {
  if (list().aborted) return true;
  if (!list().progress_shown || !abort_was_chosen()) return false;
  abort_announce();
  page_print_abort_text(list().properties.abort_text);
  page_eject(false);
  list().aborted = true;
  channel_stop(true);
  return true;
}

int list_lines_left() {
  if (list().waiting.waits) return 0;
  return list().properties.last_line - list().line + 1;
}

int list_page() {
  return list().page;
}

void list_set(std::string_view name, double number, std::int32_t generation) {
  if (!variable_set(name, generation, number)) refuse("more than 120 variables", "_VARNS_");
}

void list_set(std::string_view name, double number, std::string_view as_text,
              std::int32_t generation) {
  if (!variable_set(name, generation, number, as_text))
    refuse("more than 120 variables", "_VARNS_");
}

void list_set_empty(std::string_view name, std::int32_t generation) {
  if (!variable_set_empty(name, generation)) refuse("more than 120 variables", "_VARNS_");
}

void list_set(std::string_view name, std::string_view text, std::int32_t generation) {
  if (!variable_set(name, generation, text)) refuse("more than 120 variables", "_VARNS_");
}

void list_unset(std::string_view name, std::int32_t generation) {
  variable_unset(name, generation);
}

void list_set_register(std::size_t index, double number) {
  register_set(index, number);
}

void list_set_record(const ListRecord* record) {
  list().record = record;
}

}  // namespace marigold
