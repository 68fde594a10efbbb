// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <fstream>
#include <utility>

#include "marigold/application.h"
#include "marigold/lists.h"
#include "marigold/output.h"
#include "marigold/pdf.h"
#include "runtime/core/new_files.h"
#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/stream.h"
#include "runtime/print/files/list_files.h"
#include "runtime/print/output/print_defaults.h"
#include "tools/common/input_file.h"
#include "tools/common/progress.h"
#include "tools/common/report.h"
#include "tools/lists/commands.h"
#include "tools/lists/csv_record.h"

namespace marigold::inner {
namespace {

// Column of the records that names the block for a record.
constexpr std::string_view kBlockColumn = "BLOCK";

// ---- Messages. The functions that the engine and the targets call have no object, hence the
// state.

struct State {
  bool holding = false;  // the list is on the screen: messages wait for its end
  Problems held;
  bool warned = false;
  std::string list;
  std::string records;  // the path
  const CsvRecord* record = nullptr;
  Progress* progress = nullptr;
};
State state;

void say(const std::string& message) {
  if (state.progress != nullptr) state.progress->hide();
  if (state.holding)
    state.held.push_back(message);
  else
    report(message);
}

void say_held() {
  state.holding = false;
  for (const std::string& message : std::exchange(state.held, {}))
    report(message);
}

void say_at_record(const std::string& message) {
  say((state.record == nullptr ? "" : at_line(state.records, state.record->line())) + message);
}

void warn_of_overflow(const ListOverflow& overflow) {
  state.warned = true;
  say_at_record("warning: list " + state.list + ", " + list_overflow_text(overflow));
}

// The record is not known: a line is printed only when the next one begins.
void warn_of_width(const BeyondPage& place) {
  state.warned = true;
  say("warning: list " + state.list + ", page " + std::to_string(place.page) + ", line " +
      std::to_string(place.line) + ", column " + std::to_string(place.column) + ": " +
      counted(place.characters, "character") + " beyond the right edge of the page");
}

// ---- Targets

struct Target {
  std::string kind;  // "printer", "screen", "file", "pdf"
  std::string name;
};

// Parses the words of --to; returns false and the problem on a failure.
bool parse_target(const std::vector<std::string>& words, Target& target, std::string& problem) {
  target = {words.empty() ? "file" : words[0], words.size() > 1 ? words[1] : ""};
  const bool known = target.kind == "printer" || target.kind == "screen" || target.kind == "file" ||
                     target.kind == "pdf";
  if (!known)
    problem = "--to " + target.kind + ": neither printer, screen, file nor pdf";
  else if (target.kind == "printer" && target.name.empty())
    problem = "--to printer: the printer's name is missing";
  else if (target.kind == "screen" && !target.name.empty())
    problem = "--to screen: takes no name";
  return problem.empty();
}

bool check_printer(const ListsPrint& options, const Target& target, std::string& problem) {
  if (options.printer.empty() || target.kind == "screen") return true;
  problem = "--printer " + options.printer + ": goes with --to screen";
  return false;
}

bool open_target(const Target& target, std::string& problem) {
  if (target.kind == "screen") {
    if (!stream_is_terminal(Stream::kOutput)) {
      problem = "--to screen: standard output is not a terminal";
      return false;
    }
    runtime_start("marigold");
    list_to_screen(true);
    state.holding = true;
    return true;
  }
  if (target.kind == "printer") {
    const int failed = open_printer(target.name);
    if (failed != 0) problem = file_error(printer_command(target.name), failed);
    return failed == 0;
  }
  const OutputDevice* device = target.kind == "pdf"
                                   ? pdf_sink_open(target.name, warn_of_width, problem)
                                   : text_sink_open(target.name, problem);
  list_to_device(device);
  return device != nullptr;
}

// An aborted list must not replace an existing file.
void give_up(const Target& target) {
  const bool is_file = target.kind == "file" || target.kind == "pdf";
  if (is_file && !target.name.empty()) print_file_fail(target.name + ": not written");
}

int close_printer_target(const Target& target, bool complete) {
  const int status = close_printer();
  const std::string command = printer_command(target.name);
  if (status != 0)
    return report_unusable(
        {command + ": the print command ended with status " + std::to_string(status)});
  if (!complete) return report_unusable({command + ": the print command did not take everything"});
  return kExitClean;
}

// Reports everything and returns the exit status.
int close_target(const Target& target, bool complete) {
  list_to_device(nullptr);
  if (target.kind == "screen") {
    runtime_end();
    say_held();
    return complete ? kExitClean : kExitUnusable;  // the viewer has shown why
  }
  if (target.kind == "printer") return close_printer_target(target, complete);
  if (complete) return kExitClean;
  return print_file_problem().empty() ? kExitUnusable : report_unusable({print_file_problem()});
}

// ---- Printed values and blocks

// Splits NAME=VALUE; returns false for another form.
bool split(const std::string& setting, std::string& name, std::string& value) {
  const std::size_t equals = setting.find('=');
  if (equals == 0 || equals == std::string::npos) return false;
  name = setting.substr(0, equals);
  value = setting.substr(equals + 1);
  return true;
}

bool set_variables(const ListsPrint& options, Problems& problems) {
  CodeSet latin1;
  std::string reason;
  if (!latin1.open("8859", reason)) problems.push_back(reason);
  const auto set = [&](const std::string& setting, bool as_text) {
    const std::string option = as_text ? "--text " : "--set ";
    std::string name;
    std::string text;
    std::string value;
    double number = 0;
    if (!split(setting, name, text))
      problems.push_back(option + setting + ": is not NAME=VALUE");
    else if (!as_text && decimal_number(text, number))
      list_set(name, number, text);
    else if (latin1.to_bytes(text, value) == std::string::npos)
      list_set(name, value);
    else
      problems.push_back(option + setting + ": has characters that ISO 8859-1 lacks");
  };
  for (const std::string& setting : options.variables)
    set(setting, false);
  for (const std::string& setting : options.texts)
    set(setting, true);
  return problems.empty();
}

// The blocks of the list; "" for none.
struct Blocks {
  std::string header;
  std::string footer;
  std::string start;
  std::string line;
  std::string end;
};

// A requested block must exist.
std::string choose(const char* option, const std::optional<std::string>& asked, const char* usual,
                   Problems& problems) {
  std::string block = asked.value_or(usual);
  if (block.empty() || list_has_block(block)) return block;
  if (asked)
    problems.push_back("list " + state.list + ": " + option + " " + block +
                       ": the list has no such block");
  return {};
}

Blocks choose_blocks(const ListsPrint& options, Problems& problems) {
  Blocks blocks = {.header = choose("--header", options.header, "HEADER", problems),
                   .footer = choose("--footer", options.footer, "FOOTER", problems),
                   .start = choose("--start", options.start, "START", problems),
                   .line = choose("--line", options.line, "LINE", problems),
                   .end = choose("--end", options.end, "END", problems)};
  const bool nothing = blocks.start.empty() && blocks.line.empty() && blocks.end.empty();
  if (problems.empty() && nothing && options.records.empty())
    problems.push_back("list " + state.list +
                       ": nothing to print: no records, and no block START, LINE or END");
  return blocks;
}

void print_if_there(const std::string& block) {
  if (!block.empty()) list_print(block);
}

void print_record(const CsvRecord& record, const std::string& line) {
  record.set_variables();
  ListFieldValue block;
  const bool named = record.get(kBlockColumn, 1, block) && !block.text.empty();
  if (!named && line.empty())
    say_at_record("the record names no block, and the list has no block LINE");
  list_print(named ? block.text : line);
  if (list_check_abort()) say_at_record("list " + state.list + " ends with this record");
}

// Returns the exit status. Rows with faults are reported and left out.
int print_each_record(CsvRecord& record, const std::string& line, Progress& progress) {
  std::string reason;
  if (!record.begin(reason)) {
    say_at_record(reason);
    return kExitFindings;
  }
  int status = kExitClean;
  for (;; progress.step()) {
    const CsvRecord::Outcome outcome = record.next(reason);
    if (outcome == CsvRecord::Outcome::kEnd || list_check_abort()) return status;
    if (outcome == CsvRecord::Outcome::kRecord) {
      print_record(record, line);
      continue;
    }
    say_at_record(reason);
    if (outcome == CsvRecord::Outcome::kUnusable) return kExitUnusable;
    status = kExitFindings;
  }
}

int print_records(const ListsPrint& options, const std::string& line, std::istream& input) {
  CsvRecord record(input);
  Progress progress(options.records);
  working_on(options.records);
  state.records = options.records;
  state.record = &record;
  state.progress = &progress;
  list_set_record(&record);
  const int status = print_each_record(record, line, progress);
  list_set_record(nullptr);
  state.record = nullptr;
  state.progress = nullptr;
  return status;
}

int unusable(const Problems& problems) {
  for (const std::string& problem : problems)
    say(problem);
  return kExitUnusable;
}

// Returns the exit status.
int print_list(const ListsPrint& options, std::istream& input) {
  const ListOptions page = {.show_progress = false,
                            .first_line = options.first_line,
                            .last_line = options.last_line,
                            .page_length = options.page_length};
  if (list_open(options.list, page) != kListDone) return kExitUnusable;
  Problems problems;
  if (!set_variables(options, problems)) return unusable(problems);
  const Blocks blocks = choose_blocks(options, problems);
  if (!problems.empty()) return unusable(problems);
  if (!blocks.header.empty()) list_set_header(blocks.header);
  if (!blocks.footer.empty()) list_set_footer(blocks.footer);
  print_if_there(blocks.start);
  int status = kExitClean;
  if (options.records.empty())
    print_if_there(blocks.line);
  else
    status = print_records(options, blocks.line, input);
  if (status == kExitUnusable) return status;
  print_if_there(blocks.end);
  return list_check_abort() ? kExitUnusable : status;  // the user has seen the reason
}

// Loads the printer's control strings, if the directory has them.
bool load_defaults(std::string& problem) {
  const std::string path = print_defaults_path(list_directory());
  PrintDefaults defaults;
  std::vector<PrintDefaultsError> errors;
  const int failed = print_defaults_read(path, defaults, errors);
  if (failed != 0 && failed != ENOENT) problem = file_error(path, failed);
  for (const auto& [line, reason] : errors)
    report(at_line(path, line) + reason);
  print_defaults_set(defaults);
  return problem.empty();
}

}  // namespace

int lists_print(const ListsPrint& options) {
  std::string problem;
  Target target;
  std::ifstream records;
  if (!parse_target(options.to, target, problem) || !check_printer(options, target, problem) ||
      (!options.records.empty() && !open_input(options.records, records, problem)))
    return report_unusable({problem});
  settings_read();
  list_files_use(options.directory);
  state.list = options.list;
  working_on(list_directory());
  list_on_overflow(warn_of_overflow);
  list_to_viewer_printer(options.printer);
  if (!load_defaults(problem) || !open_target(target, problem)) return report_unusable({problem});
  int status = print_list(options, records);
  if (status == kExitUnusable) give_up(target);
  bool complete = false;
  list_close(&complete);
  const int closed = close_target(target, complete);
  if (state.warned) status = std::max<int>(status, kExitFindings);
  return std::max(status, closed);
}

}  // namespace marigold::inner
