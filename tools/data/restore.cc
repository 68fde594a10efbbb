// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <set>

#include "runtime/core/new_files.h"
#include "runtime/core/settings.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/file_swap.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/process.h"
#include "runtime/platform/stop_signals.h"
#include "tools/backup/restore_swap.h"
#include "tools/backup/source.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/lock_holders.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

bool fail(Problems& problems, const std::string& problem) {
  problems.push_back(problem);
  return false;
}

// A file to restore; an existing file in its place is held exclusively.
struct Restored {
  const BackupFile* entry = nullptr;
  DataTarget target;
  OpenKeyedFile keyed;
  OpenNumberedFile numbered;
};

// Verifies all bytes of a backup, and shows the progress.
class CheckingSink : public PartSink {
 public:
  CheckingSink(const std::string& what, const BackupManifest& manifest) : progress_(what) {
    for (const BackupPart* part : manifest.parts())
      all_ += part->size;
  }
  bool begin(const BackupPart&, const std::string&, std::string&) override { return true; }
  bool write(std::string_view bytes, std::string&) override {
    done_ += bytes.size();
    progress_.at(done_, all_);
    return true;
  }
  bool finish(std::string&) override { return true; }

 private:
  Progress progress_;
  std::uint64_t done_ = 0;
  std::uint64_t all_ = 0;
};

// Writes the wanted files beside their final places.
class StagingSink : public CheckingSink {
 public:
  // `places`: the destination of each file of the backup.
  StagingSink(const std::string& what, const BackupManifest& manifest,
              const std::map<std::string, std::string>& places, RestoreSwap& swap)
      : CheckingSink(what, manifest), places_(places), swap_(swap) {}
  ~StagingSink() override { forget(); }

  bool begin(const BackupPart& part, const std::string& path, std::string& reason) override {
    forget();
    const auto place = places_.find(part.name);
    if (place == places_.end()) return true;
    place_ = place->second;
    like_ = file_exists(place_.c_str()) ? place_ : path;
    staged_ = new_file_name(place_);
    const int failed = file_.make(staged_.c_str(), NewFileAccess::kOwnerOnly);
    if (failed != 0) staged_.clear();
    return failed == 0 || refuse(failed, reason);
  }
  bool write(std::string_view bytes, std::string& reason) override {
    if (stop_signals_pending()) return refuse(EINTR, reason);
    const int failed = file_.is_open() ? file_.write(bytes) : 0;
    if (failed != 0) return refuse(failed, reason);
    return CheckingSink::write(bytes, reason);
  }
  bool finish(std::string& reason) override {
    if (!file_.is_open()) return true;
    int failed = file_.take_access(like_.empty() ? place_.c_str() : like_.c_str());
    if (failed == 0) failed = file_.sync();
    if (failed == 0) failed = file_.close();
    if (failed != 0) return refuse(failed, reason);
    swap_.add(place_, staged_);
    staged_.clear();
    return true;
  }

 private:
  bool refuse(int failed, std::string& reason) const {
    reason = file_error(place_, failed);
    return false;
  }
  void forget() {
    file_.close();
    if (!staged_.empty()) file_remove(staged_.c_str());
    staged_.clear();
  }

  const std::map<std::string, std::string>& places_;
  RestoreSwap& swap_;
  FileWriter file_;
  std::string place_;
  std::string like_;
  std::string staged_;
};

class Restore {
 public:
  Restore(const DataRestore& options, BackupSource& source) : options_(options), source_(source) {}

  // Restores the files and returns the exit status.
  int run();

 private:
  bool select(Problems& problems);
  bool select_file(const BackupFile& entry, Problems& problems);
  bool check_definition(const Restored& file, Problems& problems) const;
  bool check_use(const Restored& file, Problems& problems) const;
  static bool take_classes(const std::set<int>& classes, Problems& problems);
  static bool hold(Restored& file, Problems& problems);
  bool take_all(Problems& problems);
  void find_places();
  bool replace(Problems& problems);
  [[nodiscard]] std::string summary() const;

  const DataRestore& options_;
  BackupSource& source_;
  std::vector<std::unique_ptr<Restored>> files_;
  std::set<int> classes_;
  ChangeTurns turns_;  // a set must not come back over restored records
  std::map<std::string, std::string> places_;
};

bool Restore::check_definition(const Restored& file, Problems& problems) const {
  const FileDefinition& definition = *file.target.definition;
  const BackupFile& entry = *file.entry;
  const auto differ = [&](const std::string& what, const std::string& in_backup,
                          const std::string& defined) {
    return fail(problems, options_.from + ": " + entry.name + " has " + what + " " + in_backup +
                              " there, " + file.target.set_path + " defines " + defined);
  };
  const auto type_name = [](FileType type) { return type == FileType::kIsam ? "ISAM" : "RANDOM"; };
  if (entry.type != definition.type)
    return differ("type", type_name(entry.type), type_name(definition.type));
  if (entry.path_class != definition.path_class)
    return differ("path class", std::to_string(entry.path_class),
                  std::to_string(definition.path_class));
  if (entry.layout != layout_of(definition))
    return differ("record length and keys", entry.layout, layout_of(definition));
  const std::string version = version_text(static_cast<double>(definition.version));
  if (entry.version != "-" && entry.version != version)
    return differ("version", entry.version, version);
  return true;
}

bool Restore::select_file(const BackupFile& entry, Problems& problems) {
  auto file = std::make_unique<Restored>();
  file->entry = &entry;
  if (!find_data_file({.file = entry.name, .set = options_.set, .path = ""}, file->target,
                      problems) ||
      !check_definition(*file, problems))
    return false;
  if (file->target.in_cluster())
    return fail(problems, only_in_directories(file->target,
                                              "restore it into a directory, and copy it from there "
                                              "(marigold data copy)"));
  if (FileSwap::of(file->target.base, entry.type)->has_leftovers())
    return fail(problems, file->target.base + ": " + kLeftByConversion);
  classes_.insert(entry.path_class);
  files_.push_back(std::move(file));
  return true;
}

bool Restore::select(Problems& problems) {
  const std::vector<BackupFile>& all = source_.manifest().files;
  for (const std::string& name : options_.names) {
    const auto named = [&name](const BackupFile& file) { return file.name == name; };
    if (std::ranges::none_of(all, named))
      return fail(problems, options_.from + ": has no file " + name);
  }
  for (const BackupFile& entry : all) {
    const bool wanted = options_.names.empty()
                            ? options_.path_class < 0 || options_.path_class == entry.path_class
                            : std::ranges::find(options_.names, entry.name) != options_.names.end();
    if (!wanted) continue;
    if (!select_file(entry, problems)) return false;
  }
  if (files_.empty())
    return fail(problems,
                options_.from + ": has no file of class " + std::to_string(options_.path_class));
  return isopenlimit(static_cast<int>(files_.size())) == 0 ||
         fail(problems, data_error(options_.from, iserrno));
}

// Finds users of a file as far as that is possible without holding the file.
bool Restore::check_use(const Restored& file, Problems& problems) const {
  const std::string text = data_error(file.target.base, kIsFileLocked);
  for (const char* suffix : {"", ".dat", ".idx"}) {
    if (is_file_in_use((file.target.base + suffix).c_str())) return fail(problems, text);
  }
  return true;
}

bool Restore::take_classes(const std::set<int>& classes, Problems& problems) {
  if (!settings().multi_user) return true;
  for (const int path_class : classes) {
    if (path_lock_exclusive(path_class) == kDataDone) continue;
    return fail(problems, locked_class_text(path_class));
  }
  return true;
}

// A damaged or missing file cannot be held, and no process can use it.
bool Restore::hold(Restored& file, Problems& problems) {
  int failed = 0;
  if (file.entry->type == FileType::kIsam) {
    failed = file.keyed.open(file.target.base, kIsInputOutput | kIsExclusive);
    if (failed == kIsBadFile) failed = 0;
  } else {
    failed = file.numbered.open(file.target, true);
  }
  file.keyed.retire();
  return failed == 0 || failed == ENOENT || fail(problems, data_error(file.target.base, failed));
}

bool Restore::take_all(Problems& problems) {
  for (const auto& file : files_) {
    if (const int failed = data_make_directory(file->target.handle()))
      return fail(problems, file_error(data_directory(file->entry->path_class), failed));
  }
  if (!take_classes(classes_, problems)) return false;
  for (const int path_class : classes_) {
    if (!recover_restore(data_directory(path_class), problems)) return false;
  }
  std::vector<const DataTarget*> targets;
  for (const auto& file : files_)
    targets.push_back(&file->target);
  std::string problem;
  if (!take_change_turns(targets, turns_, problem)) return fail(problems, problem);
  if (!std::ranges::all_of(files_, [&](auto& file) { return hold(*file, problems); })) return false;
  return turns_.kept_all_away() || fail(problems, targets.front()->base + kChangesBegan);
}

void Restore::find_places() {
  for (const auto& file : files_) {
    const std::size_t stem = file->entry->stem().size();
    for (const BackupPart& part : file->entry->parts)
      places_[part.name] = file->target.base + part.name.substr(stem);
  }
  if (!options_.names.empty()) return;  // only all files of a class restore its version
  for (const BackupClass& one : source_.manifest().classes) {
    for (const BackupPart& part : one.parts) {
      if (classes_.contains(one.number)) places_[part.name] = version_path_record(one.number);
    }
  }
}

bool Restore::replace(Problems& problems) {
  const StopSignalsHold hold;
  for (const auto& [part, place] : places_) {
    for (const std::string& left : new_files_abandoned(place))
      static_cast<void>(file_remove(left.c_str()));  // may stay: it is in no one's way
  }
  RestoreSwap swap("restore");
  {
    StagingSink sink(options_.from, source_.manifest(), places_, swap);
    if (!source_.read(sink, problems)) return false;
  }
  // The old file's version record would state a wrong version for the restored file.
  for (const auto& file : files_) {
    const std::string record = version_file_record(file->target.base);
    if (file->entry->version == "-" && file_exists(record.c_str())) swap.add(record, "");
  }
  if (stop_signals_pending()) return fail(problems, file_error(files_.front()->target.base, EINTR));
  return swap.run(problems);
}

std::string Restore::summary() const {
  std::string text;
  for (const auto& file : files_) {
    const auto of_class = std::ranges::find_if(source_.manifest().classes, [&](const auto& one) {
      return one.number == file->entry->path_class;
    });
    text += file->target.base + ": " +
            counted(static_cast<std::size_t>(file->entry->records),
                    file->entry->type == FileType::kIsam ? "record" : "place") +
            " of " + of_class->moment + (options_.dry_run ? ", not restored (--dry-run)" : "") +
            "\n";
  }
  return text;
}

int Restore::run() {
  Problems problems;
  if (!select(problems)) return report_unusable(problems);
  {
    CheckingSink sink(options_.from, source_.manifest());
    if (!source_.read(sink, problems)) {
      report_unusable(problems);
      return kExitFindings;
    }
  }
  if (options_.dry_run) {
    const bool free =
        std::ranges::all_of(files_, [&](const auto& file) { return check_use(*file, problems); });
    return free ? write_output(summary(), kExitClean) : report_unusable(problems);
  }
  if (!take_all(problems)) return report_unusable(problems);
  find_places();
  if (!replace(problems)) return report_unusable(problems);
  return write_output(summary(), kExitClean);
}

}  // namespace

int data_restore(const DataRestore& options) {
  settings_read();
  std::string problem;
  const auto source = open_backup(options.from, problem);
  if (source == nullptr) return report_unusable({problem});
  return Restore(options, *source).run();
}

}  // namespace marigold::inner
