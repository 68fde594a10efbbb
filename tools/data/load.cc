// SPDX-License-Identifier: GPL-3.0-or-later
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <utility>

#include "runtime/core/new_files.h"
#include "runtime/platform/library_path.h"
#include "tools/common/input_file.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/data/load_sink.h"
#include "tools/records/record_lines.h"

namespace marigold::inner {
namespace {

// The lines of a file, or of standard input.
class Input {
 public:
  // A line of standard input has at most so many bytes.
  bool open(const std::string& path, std::size_t longest_line, std::string& problem);
  [[nodiscard]] std::istream& stream() {
    if (file_.is_open()) return file_;
    return all_;
  }
  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  std::string name_ = "standard input";
  std::ifstream file_;
  bool read_all(std::size_t longest_line, std::string& problem);

  // Standard input, read whole first, so that Ctrl-C while typing loads nothing.
  std::istringstream all_;
};

bool Input::read_all(std::size_t longest_line, std::string& problem) {
  working_on(name_);
  std::string all;
  std::string line;
  for (int number = 1;; ++number) {
    const LineRead read = read_line(std::cin, longest_line, line);
    if (read == LineRead::kEnd) break;
    if (read == LineRead::kTooLong) {
      problem = at_line(name_, number) + too_long(longest_line);
      return false;
    }
    all.append(line).append("\n");
  }
  if (std::cin.bad()) problem = file_error(name_, EIO);
  all_.str(std::move(all));
  return problem.empty();
}

bool Input::open(const std::string& path, std::size_t longest_line, std::string& problem) {
  if (path.empty()) return read_all(longest_line, problem);
  name_ = path;
  working_on(name_);
  return open_input(path, file_, problem);
}

bool is_json(const DataLoad& options) {
  if (options.format != LinesFormat::kBySuffix) return options.format == LinesFormat::kJson;
  const std::string suffix = path_of_library(library_path(options.input).extension());
  return suffix == ".json" || suffix == ".jsonl" || suffix == ".ndjson";
}

class Load {
 public:
  Load(const DataLoad& options, DataTarget& target, RecordText& text, Input& input)
      : options_(options),
        target_(target),
        text_(text),
        input_(input),
        lines_(is_json(options) ? json_lines(text, input.stream())
                                : csv_lines(text, input.stream())),
        key_(text.file().type == FileType::kIsam
                 ? key_columns(text.file(), text.file().keys.keys.front())
                 : std::vector<Column>{text.columns().front()}),
        progress_(input.name()) {}

  int run();

 private:
  // Returns false and the problem if no record can be loaded.
  bool take_lines(LoadSink& file, std::string& problem);
  bool take_record(LoadSink& file, char* record, std::string& problem);
  void reject(const std::string& reason) {
    ++rejected_;
    progress_.hide();
    report(at_line(input_.name(), lines_->line()) + reason);
  }
  int finish(LoadSink& file);

  const DataLoad& options_;
  DataTarget& target_;
  RecordText& text_;
  Input& input_;
  std::unique_ptr<RecordLines> lines_;
  std::vector<Column> key_;
  Progress progress_;
  std::size_t rejected_ = 0;
};

bool Load::take_record(LoadSink& file, char* record, std::string& problem) {
  switch (file.add(record, problem)) {
    case LoadSink::Added::kTaken:
      return true;
    case LoadSink::Added::kComesTwice:
      reject("an earlier line has " + text_.describe(key_, record));
      return true;
    case LoadSink::Added::kExists:
      reject("the file has " + text_.describe(key_, record));
      return true;
    case LoadSink::Added::kTooFar:
      reject(text_.describe(key_, record) +
             " lies far beyond the end of the file, which would become as long; --force takes it");
      return true;
    default:
      return false;
  }
}

bool Load::take_lines(LoadSink& file, std::string& problem) {
  std::string record(static_cast<std::size_t>(text_.file().record_length), '\0');
  std::string reason;
  for (;; progress_.step()) {
    switch (lines_->next(record.data(), reason)) {
      case RecordLines::Outcome::kEnd:
        if (!input_.stream().bad()) return true;
        problem = file_error(input_.name(), EIO);
        return false;
      case RecordLines::Outcome::kRejected:
        reject(reason);
        break;
      case RecordLines::Outcome::kUnusable:
        problem = at_line(input_.name(), lines_->line()) + reason;
        return false;
      case RecordLines::Outcome::kRecord:
        if (!take_record(file, record.data(), problem)) return false;
    }
  }
}

int Load::finish(LoadSink& file) {
  const std::string lines = counted(rejected_, "line") + " rejected";
  if (rejected_ > 0 && !options_.keep_going) {
    report("marigold: " + lines + ", nothing loaded");
    return kExitFindings;
  }
  std::string problem;
  if (!file.commit(problem)) return report_unusable({problem});
  if (rejected_ > 0) report("marigold: " + lines);
  std::string summary =
      target_.base + ": " + counted(static_cast<std::size_t>(file.loaded), "record") + " loaded";
  if (file.replaced > 0) summary += ", " + std::to_string(file.replaced) + " of them replaced";
  return write_output(summary + "\n", rejected_ > 0 ? kExitFindings : kExitClean);
}

int Load::run() {
  std::string problem;
  const std::unique_ptr<LoadSink> file =
      open_load_sink(target_, {.replace = options_.replace, .far_beyond = options_.force}, problem);
  if (file == nullptr) return report_unusable({problem});
  const bool taken = take_lines(*file, problem);
  progress_.hide();
  return taken ? finish(*file) : report_unusable({problem});
}

}  // namespace

int data_load(const DataLoad& options) {
  CodeSet code_set;
  std::string problem;
  if (!code_set.open(options.code_set, problem)) return report_unusable({"marigold: " + problem});
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  if (!take_class(target, problems)) return report_unusable(problems);
  Input input;
  if (!input.open(options.input, longest_line_of(target.definition->record_length), problem))
    return report_unusable({problem});
  RecordText text(*target.definition, code_set);
  return Load(options, target, text, input).run();
}

}  // namespace marigold::inner
