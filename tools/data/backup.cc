// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "runtime/core/new_files.h"
#include "runtime/data/access/backup_record.h"
#include "runtime/data/access/version.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "tools/backup/archive.h"
#include "tools/backup/tree.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/snapshot_copy.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kLongestRecord = 4096;  // of a version

class Backup {
 public:
  Backup(const DataBackup& options, std::vector<BackupGroup>& groups)
      : options_(options), groups_(groups), tree_(place()) {}

  // Makes the backup and returns the exit status.
  int run();

 private:
  [[nodiscard]] const std::string& place() const {
    return options_.archive.empty() ? options_.to : options_.archive;
  }
  int copy_group(BackupGroup& group);
  bool copy_files(std::vector<std::unique_ptr<SnapshotFile>>& files, std::string& problem);
  bool copy_file(SnapshotFile& file, std::string& problem);
  bool copy_class_record(std::string& problem);
  bool add_record(const std::string& path, const std::string& name, std::vector<BackupPart>& parts,
                  std::string& problem);
  bool put_in_place(std::string& problem);
  int note_last_backups();
  [[nodiscard]] std::string summary() const;

  const DataBackup& options_;
  std::vector<BackupGroup>& groups_;
  BackupTree tree_;
  BackupManifest manifest_;
};

bool Backup::add_record(const std::string& path, const std::string& name,
                        std::vector<BackupPart>& parts, std::string& problem) {
  std::string bytes;
  const int failed = file_read(path.c_str(), bytes, kLongestRecord);
  if (failed == ENOENT) return true;
  if (failed != 0) {
    problem = file_error(path, failed);
    return false;
  }
  return tree_.add_bytes(name, bytes, path, parts.emplace_back(), problem);
}

bool Backup::copy_file(SnapshotFile& file, std::string& problem) {
  const FileDefinition& definition = *file.target().definition;
  BackupFile entry{.name = std::string(definition.name.view()),
                   .path_class = definition.path_class,
                   .type = definition.type,
                   .version = "-",
                   .layout = layout_of(definition),
                   .records = 0,
                   .parts = {}};
  const std::string stem = entry.stem();
  if (file.is_keyed()) {
    Progress progress(file.target().base);
    const auto watch = [&](std::uint64_t done, std::uint64_t all) {
      progress.at(done, all);
      tree_.end_if_stopped();
    };
    if (!file.write_keyed(tree_.path_of(stem), watch, problem)) return false;
  }
  entry.records = file.records();
  for (const char* suffix : {".dat", ".idx"}) {
    if (file.is_keyed() && !tree_.describe(stem + suffix, entry.parts.emplace_back(), problem))
      return false;
  }
  if (!file.is_keyed() && !tree_.describe(stem, entry.parts.emplace_back(), problem)) return false;
  const std::string record = version_file_record(file.target().base);
  if (const auto version = version_read_record(record)) {
    const std::size_t parts = entry.parts.size();
    if (!add_record(record, stem + ".ver", entry.parts, problem)) return false;
    if (entry.parts.size() > parts) entry.version = version_text(*version);
  }
  manifest_.files.push_back(std::move(entry));
  return true;
}

bool Backup::copy_class_record(std::string& problem) {
  BackupClass& one = manifest_.classes.back();
  const std::string name = std::to_string(one.number) + "/PATHCONV.ver";
  return add_record(version_path_record(one.number), name, one.parts, problem);
}

bool Backup::copy_files(std::vector<std::unique_ptr<SnapshotFile>>& files, std::string& problem) {
  return copy_class_record(problem) &&
         std::ranges::all_of(files, [&](const auto& file) { return copy_file(*file, problem); });
}

int Backup::copy_group(BackupGroup& group) {
  Problems problems;
  std::string problem;
  if (!take_class(group.targets.front(), problems)) return report_unusable(problems);
  if (!tree_.make_class(group.path_class, problem)) return report_unusable({problem});
  std::vector<std::unique_ptr<SnapshotFile>> files;
  for (DataTarget& target : group.targets) {
    files.push_back(std::make_unique<SnapshotFile>(target));
    if (!files.back()->open(problem)) return report_unusable({problem});
  }
  const auto copy = [this](const DataTarget& target) {
    return tree_.path_of(
        path_join(std::to_string(target.definition->path_class), target.definition->name.view()));
  };
  Progress progress("class " + std::to_string(group.path_class));
  BackupClass one{.number = group.path_class, .moment = "", .parts = {}};
  const MomentOutcome outcome = take_moment(files, copy, progress, one.moment, problem);
  progress.hide();
  if (outcome == MomentOutcome::kNotQuiet) {
    report(problem);
    return kExitFindings;
  }
  manifest_.classes.push_back(std::move(one));
  if (outcome == MomentOutcome::kFailed || !copy_files(files, problem))
    return report_unusable({problem});
  return kExitClean;
}

bool Backup::put_in_place(std::string& problem) {
  if (!tree_.finish(manifest_, problem)) return false;
  return options_.archive.empty() ? tree_.put_in_place(problem)
                                  : write_archive(tree_, manifest_, options_.archive, problem);
}

// Notes the backup in the files' records. The backup is whole by then, also when a note fails.
int Backup::note_last_backups() {
  std::error_code unknown;
  const std::string target =
      path_of_library(std::filesystem::absolute(library_path(place()), unknown));
  int status = kExitClean;
  for (std::size_t i = 0; i < groups_.size(); ++i) {
    for (const DataTarget& one : groups_[i].targets) {
      const BackupRecord record{.time = manifest_.classes[i].moment, .place = target};
      const int failed = backup_record_write(one.handle(), record);
      if (failed == 0) continue;
      report(file_error(one.base + ".backup", failed));
      status = kExitFindings;
    }
  }
  return status;
}

std::string Backup::summary() const {
  std::string text;
  for (std::size_t i = 0, file = 0; i < groups_.size(); ++i) {
    for (const DataTarget& target : groups_[i].targets) {
      const BackupFile& entry = manifest_.files[file++];
      const auto count = static_cast<std::size_t>(entry.records);
      text += target.base + ": " +
              counted(count, entry.type == FileType::kIsam ? "record" : "place") + " of " +
              manifest_.classes[i].moment + "\n";
    }
  }
  return text;
}

int Backup::run() {
  std::string problem;
  if (!tree_.make(problem)) return report_unusable({problem});
  for (BackupGroup& group : groups_) {
    if (const int status = copy_group(group)) return status;
  }
  if (!put_in_place(problem)) return report_unusable({problem});
  const int status = note_last_backups();
  return write_output(summary(), status);
}

}  // namespace

int data_backup(const DataBackup& options) {
  std::vector<BackupGroup> groups;
  std::vector<std::string> absent;
  Problems problems;
  if (!find_backup_groups(options.selection, groups, absent, problems))
    return report_unusable(problems);
  if (groups.empty()) return report_unusable({"marigold: none of these files has any data"});
  const int status = Backup(options, groups).run();
  if (status == kExitUnusable) return status;
  for (const std::string& name : absent)
    report(name + ": has no data yet");
  return status;
}

}  // namespace marigold::inner
