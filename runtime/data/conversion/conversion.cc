// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/conversion.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "runtime/data/access/change_turns.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/cluster_swap.h"
#include "runtime/data/conversion/conversion_copy.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/data/conversion/directory_swap.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/stop_signals.h"
#include "runtime/texte/sysmsg.h"

namespace marigold::inner {
namespace {

// Number of files that a run converts before it puts the first of them in place. Each old file
// stays open until then, and the engine opens 30 files.
constexpr std::size_t kFilesAtOnce = 24;

using Conversions = std::span<const FileConversion* const>;

// A file in conversion. The old file is open, so that no other process changes records that have
// been copied.
struct Job {
  explicit Job(const FileConversion& wanted)
      : conversion(&wanted), swap(FileSwap::of(wanted.base, wanted.file->type)) {}

  const FileConversion* conversion;
  std::unique_ptr<FileSwap> swap;
  OldFile old_file;
  CopyResult result;
};

class ClassRun {
 public:
  ClassRun(const ConversionOptions& options, ConversionReport& report)
      : options_(options), report_(report) {}

  int run(int path_class, std::span<const FileDefinition* const> files,
          const VersionTables& tables);

 private:
  int recover(int path_class, std::span<const FileDefinition* const> files);
  int take_turns(int path_class);
  int work(const ClassConversion& plan);
  int convert(Conversions conversions);
  int convert_in_cluster(const ClassConversion& plan, Conversions conversions);
  int build_all(Conversions conversions);
  int build(Job& job);
  int open_old(Job& job);
  int record_version(const FileConversion& conversion);
  int put_in_place(Job& job);
  void report_converted(Job& job);
  void discard_from(std::size_t first);
  bool must_wait(const ClassConversion& plan);
  int write_path_record(const ClassConversion& plan);
  int finish(const ClassConversion& plan);

  int problem(int result, const std::string& about, const std::string& reason) {
    report_.problems.push_back(data_path_shown(about) + ": " + reason);
    return result;
  }
  int failed(const std::string& about, int number) {
    return problem(number == kIsFileLocked ? kConversionLocked : kConversionFailed, about,
                   error_number_text(number));
  }

  const ConversionOptions& options_;
  ConversionReport& report_;
  ChangeTurns turns_;  // of the class, until the run ends
  std::vector<std::unique_ptr<Job>> jobs_;
};

std::string holders_text(int path_class) {
  std::vector<LockHolder> holders;
  if (lock_file_holders(path_class, holders) != 0 || holders.empty()) return "";
  std::string text;
  for (const LockHolder& holder : holders) {
    if (holder.process == 0) continue;
    text += (text.empty() ? " (process " : ", ") + std::to_string(holder.process) + " on " +
            holder.host;
  }
  return text.empty() ? "" : text + ")";
}

std::string trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

int ClassRun::run(int path_class, std::span<const FileDefinition* const> files,
                  const VersionTables& tables) {
  if (path_lock_exclusive(path_class) != kDataDone)
    return problem(kConversionLocked, data_directory(path_class),
                   trimmed(systxt_convlock.view()) + holders_text(path_class));
  int result = recover(path_class, files);
  if (result == kConversionDone) result = take_turns(path_class);
  if (result == kConversionDone) {
    // Plan again: other processes may have changed something before this one took the class.
    const ClassConversion plan = plan_class(path_class, files, tables, report_.problems);
    result = report_.problems.empty() ? work(plan) : kConversionRefused;
  }
  path_lock_release(path_class);
  return result;
}

int ClassRun::recover(int path_class, std::span<const FileDefinition* const> files) {
  for (const FileDefinition* file : files) {
    if (file->path_class != path_class) continue;
    const auto swap = FileSwap::of(data_path(*file), file->type);
    if (!swap->has_leftovers()) continue;
    if (const int error = swap->recover()) return failed(swap->failed_path(), error);
  }
  return kConversionDone;
}

// A set of changes that a killed program has left is for records of the old version.
int ClassRun::take_turns(int path_class) {
  std::string reason;
  const int failed =
      turns_.take({data_directory(path_class)}, ChangeTurns::Missing::kLeave, "", reason);
  if (failed == 0) return kConversionDone;
  report_.problems.push_back("a set of changes cannot be finished: " + reason);
  return failed == kIsLocked ? kConversionLocked : kConversionFailed;
}

int ClassRun::work(const ClassConversion& plan) {
  std::vector<const FileConversion*> conversions;
  for (const FileConversion& conversion : plan.files) {
    if (conversion.must_convert()) conversions.push_back(&conversion);
    const int result = conversion.unrecorded ? record_version(conversion) : kConversionDone;
    if (result != kConversionDone) return result;
  }
  if (is_cluster_address(data_directory(plan.path_class)))
    return convert_in_cluster(plan, conversions);
  for (std::size_t first = 0; first < conversions.size(); first += kFilesAtOnce) {
    const std::size_t count = std::min(kFilesAtOnce, conversions.size() - first);
    if (const int result = convert(std::span(conversions).subspan(first, count))) return result;
  }
  if (const int result = write_path_record(plan)) return result;
  return finish(plan);
}

// A file without records and without a version record is one whose maker died before it wrote the
// version; it gets the definition's version. A file with records is refused.
int ClassRun::record_version(const FileConversion& conversion) {
  const FileDefinition& file = *conversion.file;
  OldFile old_file;
  std::string reason;
  const int error = old_file.open(file, conversion.base, reason);
  if (error != 0 && reason.empty()) return failed(conversion.base, error);
  if (error != 0 || old_file.count() > 0)
    return problem(kConversionRefused, conversion.base,
                   "no version record; write the version of its records into " +
                       data_path_shown(version_file_record(data_path(file))));
  const int unwritten = version_write_record(version_file_record(data_path(file)), file.version);
  return unwritten == 0 ? kConversionDone : failed(version_file_record(data_path(file)), unwritten);
}

// Builds the new files.
int ClassRun::build_all(Conversions conversions) {
  int result = kConversionDone;
  jobs_.clear();
  for (const FileConversion* conversion : conversions) {
    jobs_.push_back(std::make_unique<Job>(*conversion));
    const int built = build(*jobs_.back());
    result = std::max(result, built);
    // The user wants a report of all misfits at once, so the run builds the other files as well.
    if (built != kConversionDone && built != kConversionRefused) break;
  }
  return result;
}

void ClassRun::discard_from(std::size_t first) {
  for (std::size_t i = first; i < jobs_.size(); ++i)
    jobs_[i]->swap->discard();
}

// Builds all new files and then puts them in place; if building one fails, puts none in place.
int ClassRun::convert(Conversions conversions) {
  int result = build_all(conversions);
  std::size_t placed = 0;
  for (; result == kConversionDone && placed < jobs_.size(); ++placed)
    result = put_in_place(*jobs_[placed]);
  discard_from(placed);
  return result;
}

// Puts all files of the class in place at once, with the version of the class. An open file of a
// cluster takes nothing of the system, so there is no limit for their number.
int ClassRun::convert_in_cluster(const ClassConversion& plan, Conversions conversions) {
  if (isopenlimit(kIsMostOpen + static_cast<int>(conversions.size())) != 0)
    return failed(data_directory(plan.path_class), iserrno);
  int result = build_all(conversions);
  const bool recorded = result == kConversionDone && plan.needs_record() && !must_wait(plan);
  std::vector<ClusterReplacement> files;
  for (const auto& job : jobs_) {
    const FileConversion& conversion = *job->conversion;
    files.push_back({.swap = job->swap.get(),
                     .type = conversion.file->type,
                     .from = conversion.versions.front(),
                     .to = conversion.versions.back()});
  }
  const std::string record = recorded ? version_path_record(plan.path_class) : "";
  const int error = result == kConversionDone
                        ? cluster_replace(files, options_.keep_old, record, plan.wanted)
                        : 0;
  if (error != 0) result = failed(data_directory(plan.path_class), error);
  if (result != kConversionDone) {
    discard_from(0);
    return result;
  }
  for (const auto& job : jobs_)
    report_converted(*job);
  return kConversionDone;
}

int ClassRun::open_old(Job& job) {
  std::string reason;
  const FileConversion& conversion = *job.conversion;
  const int error = job.old_file.open(conversion.old_definition(), conversion.base, reason);
  if (error == 0 && !turns_.kept_all_away())
    return problem(kConversionLocked, conversion.base,
                   "a program has begun to change it in sets; run the conversion again");
  if (error == 0) return kConversionDone;
  if (error == ENOENT)
    return problem(kConversionFailed, conversion.base, "one of its two files is missing");
  if (reason.empty()) return failed(conversion.base, error);
  return problem(kConversionRefused, conversion.base,
                 "not as version " + version_text(conversion.versions.front()) + ": " + reason);
}

int ClassRun::build(Job& job) {
  const FileConversion& conversion = *job.conversion;
  if (const int result = open_old(job)) return result;
  const std::uint64_t all = job.old_file.count();
  const auto tell = [&](std::uint64_t done) {
    if (options_.progress) options_.progress(conversion, done, all);
  };
  const CopyWatch watch = [&](std::uint64_t passed) {
    if (passed < all) tell(passed);
    return !stop_signals_pending();
  };
  const std::string new_base = job.swap->new_base();
  const auto new_file = NewDataFile::of(*conversion.file, new_base);
  int error = new_file->create(new_base, conversion.base);
  if (error == 0)
    error = copy_records(job.old_file, *new_file, conversion.steps, watch, job.result);
  if (error == 0 && job.result.misfits == 0) error = new_file->close();
  if (error != 0) return failed(error == kIsBadFile ? conversion.base : new_base, error);
  for (const std::string& text : job.result.misfit_texts)
    problem(kConversionRefused, conversion.base, text);
  const std::uint64_t more = job.result.misfits - job.result.misfit_texts.size();
  if (more > 0)
    problem(kConversionRefused, conversion.base,
            "and " + std::to_string(more) + " more record" + (more == 1 ? "" : "s"));
  tell(all);
  job.old_file.retire();
  return job.result.misfits == 0 ? kConversionDone : kConversionRefused;
}

int ClassRun::put_in_place(Job& job) {
  const FileConversion& conversion = *job.conversion;
  DirectorySwap swap(conversion.base, conversion.file->type);
  if (const int error =
          swap.put_in_place(conversion.versions.front(), conversion.versions.back())) {
    const bool half = swap.is_half_in_place();
    return problem(
        kConversionFailed, swap.failed_path(),
        error_number_text(error) + (half ? "; run the conversion again to finish it" : ""));
  }
  report_converted(job);
  return kConversionDone;
}

void ClassRun::report_converted(Job& job) {
  job.old_file.close();
  report_.files.push_back({.base = job.conversion->base,
                           .from = job.conversion->versions.front(),
                           .to = job.conversion->versions.back(),
                           .records = job.result.records,
                           .cut = job.result.cut});
}

// Whether the file exists and its version is not its definition's, or is not known.
bool is_behind(const FileDefinition& file) {
  const auto swap = FileSwap::of(data_path(file), file.type);
  return swap->file_is_there() &&
         version_read_record(swap->record_in_force()) != static_cast<double>(file.version);
}

// The class gets its version once all of its files have theirs.
bool ClassRun::must_wait(const ClassConversion& plan) {
  bool waits = false;
  for (const FileDefinition* file : options_.others) {
    if (file->path_class != plan.path_class || !is_behind(*file)) continue;
    const double version = version_read_file(DataFile(*file));
    report_.waiting.push_back(
        data_path_shown(version_path_record(plan.path_class)) + ": not written, as " +
        data_path_shown(data_path(*file)) + " has " +
        (version < 0 ? "no version record" : "version " + version_text(version)) +
        " and not version " + version_text(file->version));
    waits = true;
  }
  return waits;
}

int ClassRun::write_path_record(const ClassConversion& plan) {
  if (!plan.needs_record() || must_wait(plan)) return kConversionDone;
  const std::string path = version_path_record(plan.path_class);
  int error = data_make_directory(plan.path_class);
  if (error == 0) error = conversion_step("record of the class");
  if (error == 0) error = version_write_record(path, plan.wanted);
  return error == 0 ? kConversionDone : failed(path, error);
}

int ClassRun::finish(const ClassConversion& plan) {
  for (const FileConversion& conversion : plan.files) {
    DirectorySwap swap(conversion.base, conversion.file->type);
    if (!swap.has_leftovers()) continue;
    if (const int error = swap.finish(options_.keep_old)) return failed(swap.failed_path(), error);
  }
  return kConversionDone;
}

int run_classes(std::span<const FileDefinition* const> files, const ConversionOptions& options,
                ConversionReport& report) {
  const VersionTables tables = read_version_tables(report.problems);
  const std::vector<ClassConversion> plans = plan_classes(files, tables, report.problems);
  if (!report.problems.empty()) return kConversionRefused;
  for (const ClassConversion& plan : plans) {
    if (!plan.needs_work()) continue;
    ClassRun run(options, report);
    if (const int result = run.run(plan.path_class, files, tables)) return result;
  }
  return report.waiting.empty() ? kConversionDone : kConversionRefused;
}

}  // namespace

int conversion_run(std::span<const FileDefinition* const> files, const ConversionOptions& options,
                   ConversionReport& report) {
  report = ConversionReport{};
  stop_signals_hold();
  const int result = run_classes(files, options, report);
  stop_signals_release();
  return result;
}

std::string conversion_heading(const FileConversion& conversion) {
  const std::string values[] = {
      std::string(conversion.file->name.view()), std::to_string(conversion.file->path_class),
      version_text(conversion.versions.front()), version_text(conversion.versions.back())};
  std::string line(systxt_convhead.view());
  std::size_t at = 0;
  for (const std::string& value : values) {
    at = std::min(line.find(':', at), line.size()) + 1;
    if (line.size() < at + value.size()) line.resize(at + value.size(), ' ');
    line.replace(at, value.size(), value);
    at += value.size();
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace marigold::inner
