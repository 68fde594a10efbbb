#include <algorithm>
#include <fstream>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/file.h"
#include "runtime/platform/stream.h"
#include "runtime/print/list.h"
#include "runtime/print/list_files.h"
#include "runtime/print/print_command.h"
#include "runtime/print/print_defaults.h"
#include "runtime/wi/runtime.h"
#include "tools/csv_record.h"
#include "tools/input_file.h"
#include "tools/lists_commands.h"
#include "tools/new_files.h"
#include "tools/print_file.h"
#include "tools/print_target.h"
#include "tools/progress.h"
#include "tools/report.h"

namespace marigold {
namespace {

// A column of the records that names the block to print a record with.
constexpr std::string_view kBlockColumn = "BLOCK";

// ---- Targets

struct Target {
  std::string kind;  // "printer", "screen", "file", "pdf"
  std::string name;
};

// What the words of --to mean; false with the problem.
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

bool open_target(const Target& target, std::string& problem) {
  if (target.kind == "screen") {
    if (!stream_is_terminal(Stream::kOutput)) {
      problem = "--to screen: standard output is not a terminal";
      return false;
    }
    runtime_start("marigold");
    list_to_screen(true);
    return true;
  }
  if (target.kind == "printer") {
    const int failed = open_printer(target.name);
    if (failed != 0) problem = file_error(printer_command(target.name), failed);
    return failed == 0;
  }
  const OutputDevice* device = target.kind == "pdf" ? pdf_target_open(target.name, problem)
                                                    : text_target_open(target.name, problem);
  list_to_device(device);
  return device != nullptr;
}

// What a list that was aborted would leave of a file is not worth the one that is there.
void give_up(const Target& target) {
  const bool is_file = target.kind == "file" || target.kind == "pdf";
  if (is_file && !target.name.empty()) print_file_fail(target.name + ": not written");
}

// The exit status, with everything said.
int close_target(const Target& target, bool complete) {
  list_to_device(nullptr);
  if (target.kind == "screen") {
    runtime_end();
    return kExitClean;
  }
  if (target.kind == "printer") {
    const int status = close_printer();
    if (status == 0) return kExitClean;
    return report_unusable({printer_command(target.name) +
                            ": the print command ended with status " + std::to_string(status)});
  }
  return complete ? kExitClean : report_unusable({print_target_problem()});
}

// ---- What is printed

// NAME=VALUE; false when it is not.
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
    else if (!as_text && is_number_of_variable(text, number))
      list_set(name, number);
    else if (latin1.to_bytes(text, value) == std::string::npos)
      list_set(name, value);
    else
      problems.push_back(option + setting + ": has characters that lists do not know");
  };
  for (const std::string& setting : options.variables)
    set(setting, false);
  for (const std::string& setting : options.texts)
    set(setting, true);
  return problems.empty();
}

bool has_something_to_print(const ListsPrint& options) {
  return !options.records.empty() || list_has_block(options.start) ||
         list_has_block(options.line) || list_has_block(options.end);
}

void print_if_there(const std::string& block) {
  if (list_has_block(block)) list_print(block);
}

// False when rows had faults, which have been told.
bool print_records(const ListsPrint& options, std::istream& input) {
  CsvRecord record(input);
  std::string reason;
  Progress progress(options.records);
  bool clean = true;
  const auto fault = [&] {
    progress.hide();
    report(at_line(options.records, record.line()) + reason);
    clean = false;
  };
  if (!record.begin(reason)) {
    fault();
    return false;
  }
  list_set_record(&record);
  for (;; progress.step()) {
    const CsvRecord::Outcome outcome = record.next(reason);
    if (outcome == CsvRecord::Outcome::kEnd || list_check_abort()) break;
    if (outcome == CsvRecord::Outcome::kFault) {
      fault();
      continue;
    }
    record.set_variables();
    ListFieldValue block;
    const bool named = record.get(kBlockColumn, 1, block) && !block.text.empty();
    list_print(named ? block.text : options.line);
  }
  list_set_record(nullptr);
  return clean;
}

// The exit status.
int print_list(const ListsPrint& options, std::istream& input) {
  const ListOptions page = {.show_progress = false,
                            .first_line = options.first_line,
                            .last_line = options.last_line,
                            .page_length = options.page_length};
  if (list_open(options.list, page) != kListDone) return kExitUnusable;
  Problems problems;
  if (!set_variables(options, problems)) return report_unusable(problems);
  if (!has_something_to_print(options))
    return report_unusable({options.list + ": nothing to print: no records, and no block " +
                            options.start + ", " + options.line + " or " + options.end});
  if (list_has_block(options.header)) list_set_header(options.header);
  if (list_has_block(options.footer)) list_set_footer(options.footer);
  print_if_there(options.start);
  const bool clean = options.records.empty() || print_records(options, input);
  if (options.records.empty()) print_if_there(options.line);
  print_if_there(options.end);
  if (list_check_abort()) return kExitUnusable;  // it has been told why
  return clean ? kExitClean : kExitFindings;
}

// The printer's control strings, when the directory has them.
void load_defaults() {
  const std::string path = list_directory() + "/DEFAULT.DAT";
  std::string text;
  if (file_read(path.c_str(), text) != 0) return;
  PrintDefaults defaults;
  for (const auto& [line, reason] : print_defaults_scan(text, defaults))
    report(at_line(path, line) + reason);
  print_defaults_set(defaults);
}

}  // namespace

int lists_print(const ListsPrint& options) {
  std::string problem;
  Target target;
  std::ifstream records;
  if (!parse_target(options.to, target, problem) ||
      (!options.records.empty() && !open_input(options.records, records, problem)))
    return report_unusable({problem});
  settings_read();
  list_files_use(options.directory);
  load_defaults();
  if (!open_target(target, problem)) return report_unusable({problem});
  const int status = print_list(options, records);
  if (status == kExitUnusable) give_up(target);
  bool complete = false;
  list_close(&complete);
  return std::max(status, close_target(target, complete));
}

}  // namespace marigold
