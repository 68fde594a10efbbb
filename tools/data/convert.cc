// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>

#include "runtime/core/new_files.h"
#include "runtime/core/settings.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/conversion.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/stream.h"
#include "runtime/texte/syserr.h"
#include "runtime/texte/sysmsg.h"
#include "tools/common/report.h"
#include "tools/data/commands.h"
#include "tools/records/data_target.h"

namespace marigold::inner {
namespace {

using Clock = std::chrono::steady_clock;

// ---- The files

// Loads the definitions of a set into the list. Reports only the first fault of a set; "marigold
// data scan" reports all.
void load_set(const std::string& set, Problems& problems) {
  const bool is_path = path_has_directory(set) || set.ends_with(".DES");
  const std::string path = is_path ? set : definition_set_path(set);
  std::string text;
  if (const int error = file_read(path.c_str(), text)) {
    problems.push_back(file_error(path, error));
    return;
  }
  DefinitionScan scan = scan_definitions(text, AfterScanError::kStop);
  for (const ScanError& error : scan.errors) {
    SystemText reason;
    syserr_text(reason, error.number);
    problems.push_back(at_line(path, error.line) + std::string(reason.view()) +
                       "; \"marigold data scan\" reports all errors");
  }
  for (ScannedFile& file : scan.files) {
    const std::string name(file.definition->name.view());
    if (!definition_add(std::move(*file.definition)))
      problems.push_back(at_line(path, file.line) + name + " is defined by two sets");
  }
}

// The definitions of sets that the user has not named; they keep a class from getting its version.
class OtherFiles {
 public:
  // A set with errors is a problem, because its files are not known.
  void load(Problems& problems) {
    std::vector<std::string> paths;
    if (!find_definition_sets(paths, problems)) return;
    for (const std::string& path : paths) {
      std::string text;
      if (const int error = file_read(path.c_str(), text)) {
        problems.push_back(file_error(path, error));
        continue;
      }
      DefinitionScan scan = scan_definitions(text, AfterScanError::kStop);
      if (!scan.errors.empty())
        problems.push_back(at_line(path, scan.errors.front().line) +
                           "has errors, see marigold data scan");
      for (ScannedFile& file : scan.files) {
        if (definition_find(file.definition->name.view()) == nullptr)
          files_.push_back(std::move(file.definition));
      }
    }
    std::ranges::transform(files_, std::back_inserter(pointers_),
                           [](const auto& file) { return file.get(); });
  }
  [[nodiscard]] std::span<const FileDefinition* const> files() const { return pointers_; }

 private:
  std::vector<std::unique_ptr<FileDefinition>> files_;
  std::vector<const FileDefinition*> pointers_;
};

std::vector<const FileDefinition*> wanted_files(const DataConvert& options) {
  std::vector<const FileDefinition*> files = definitions_by_name();
  std::erase_if(files, [&options](const FileDefinition* file) {
    return options.path_class >= 0 && file->path_class != options.path_class;
  });
  return files;
}

// ---- The plan

std::string step_text(const RecordMapping& step) {
  constexpr std::pair<FieldFate, const char*> kFates[] = {{FieldFate::kKept, "kept"},
                                                          {FieldFate::kChanged, "changed"},
                                                          {FieldFate::kNew, "new"},
                                                          {FieldFate::kDropped, "dropped"}};
  std::string text = "  " + versions_text({static_cast<double>(step.from().version),
                                           static_cast<double>(step.to().version)});
  const char* separator = ": ";
  for (const auto& [fate, word] : kFates) {
    std::string names;
    for (const FieldNote& note : step.notes()) {
      if (note.fate != fate) continue;
      names.append(names.empty() ? " " : ", ").append(note.name);
      if (!note.change.empty()) names.append(" (").append(note.change).append(")");
    }
    if (names.empty()) continue;
    text.append(separator).append(word).append(names);
    separator = "; ";
  }
  text += '\n';
  return text;
}

std::string file_text(const FileConversion& conversion) {
  std::string text = conversion.base + ": " + versions_text(conversion.versions) + "\n";
  if (conversion.unrecorded) text += "  no version record\n";
  if (conversion.leftovers) text += "  left by an interrupted run: to be finished\n";
  for (const RecordMapping& step : conversion.steps)
    text += step_text(step);
  return text;
}

std::string class_text(const ClassConversion& plan) {
  std::string_view needed = systxt_convneeded.view();
  needed.remove_prefix(std::min(needed.find_first_not_of(' '), needed.size()));
  needed = needed.substr(0, needed.find_last_not_of(' ') + 1);
  std::string text = data_directory(plan.path_class) + ": " + std::string(needed);
  if (plan.needs_record()) text += ", " + versions_text({plan.version, plan.wanted});
  text += '\n';
  for (const FileConversion& conversion : plan.files) {
    if (conversion.needs_work()) text += file_text(conversion);
  }
  return text;
}

// Exit status 1 means that there is work to do.
int show_plan(const std::vector<const FileDefinition*>& files) {
  Problems problems;
  const VersionTables tables = read_version_tables(problems);
  std::string text;
  for (const ClassConversion& plan : plan_classes(files, tables, problems)) {
    if (plan.needs_work()) text += class_text(plan);
  }
  for (const std::string& problem : problems)
    report(problem);
  return write_output(text, text.empty() && problems.empty() ? kExitClean : kExitFindings);
}

// ---- The run

// A progress line for a user at a terminal, which overwrites itself, once the work has taken a
// second.
class Progress {
 public:
  void show(const FileConversion& file, std::uint64_t done, std::uint64_t all) {
    const Clock::time_point now = Clock::now();
    constexpr std::chrono::milliseconds kPause(200);
    if (!terminal_ || now - start_ < std::chrono::seconds(1)) return;
    if (now - last_ < kPause && done != all) return;
    last_ = now;
    if (!titled_) report(std::string(systxt_conv.view()));
    titled_ = true;
    const std::uint64_t percent = all == 0 ? 100 : done * 100 / all;
    std::string line = "\r";
    line.append(conversion_heading(file)).append("  ").append(std::to_string(percent));
    line += " % ";
    if (done == all) line += '\n';
    stream_write(Stream::kError, line);
  }

 private:
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_;
  bool terminal_ = stream_is_terminal(Stream::kError);
  bool titled_ = false;
};

std::string summary(const ConversionReport& done) {
  std::string text;
  for (const ConvertedFile& file : done.files) {
    text += file.base + ": " + versions_text({file.from, file.to}) + ", " +
            counted(file.records, "record");
    if (file.cut > 0) text += ", texts cut in " + counted(file.cut, "record");
    text += '\n';
  }
  return text;
}

int convert(const std::vector<const FileDefinition*>& files, const OtherFiles& others,
            bool keep_backup) {
  Progress progress;
  ConversionReport done;
  const ConversionOptions options{
      .keep_old = keep_backup,
      .others = others.files(),
      .progress = [&progress](const FileConversion& file, std::uint64_t passed, std::uint64_t all) {
        progress.show(file, passed, all);
      }};
  const int result = conversion_run(files, options, done);
  for (const std::string& problem : done.problems)
    report(problem);
  for (const std::string& record : done.waiting)
    report(record);
  const bool unusable = result == kConversionFailed;
  const int status = result == kConversionDone ? kExitClean
                     : unusable                ? kExitUnusable
                                               : kExitFindings;
  return write_output(summary(done), status);
}

}  // namespace

int data_convert(const DataConvert& options) {
  settings_read();
  definition_start();
  std::string reason;
  if (!check_data_directory(data_directory(0), reason)) return report_unusable({reason});
  Problems problems;
  for (const std::string& set : options.sets)
    load_set(set, problems);
  OtherFiles others;
  others.load(problems);
  if (!problems.empty()) return report_unusable(problems);
  const std::vector<const FileDefinition*> files = wanted_files(options);
  return options.dry_run ? show_plan(files) : convert(files, others, options.keep_backup);
}

}  // namespace marigold::inner
