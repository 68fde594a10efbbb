// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/data_target.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "runtime/core/new_files.h"
#include "runtime/core/settings.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/access/random_file.h"
#include "runtime/data/access/restore_journal.h"
#include "runtime/data/access/version.h"
#include "runtime/data/definition/version_table.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/process.h"
#include "runtime/platform/system_error.h"
#include "tools/records/lock_holders.h"

namespace marigold::inner {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSetPrefix = "FILE";
constexpr std::string_view kSetSuffix = ".DES";
constexpr std::string_view kVersionTable = "FILEVER.DES";

struct Search {
  std::vector<std::string> sets;  // sets that define the file
  std::unique_ptr<FileDefinition> definition;
  std::string first_fault;  // of a set with errors, which may define the file
};

// FILEDATA_3.DES has older definitions, which only conversions use.
bool may_define_files(std::string_view name) {
  if (!name.starts_with(kSetPrefix) || !name.ends_with(kSetSuffix) || name == kVersionTable)
    return false;
  name.remove_suffix(kSetSuffix.size());
  const std::size_t before_number = name.find_last_not_of("0123456789");
  return before_number + 1 == name.size() || name[before_number] != '_';
}

bool search_set(const std::string& path, const std::string& name, Search& search,
                Problems& problems) {
  std::string text;
  if (const int error = file_read(path.c_str(), text)) {
    problems.push_back(file_error(path, error));
    return false;
  }
  DefinitionScan scan = scan_definitions(text, AfterScanError::kNextDefinition);
  if (!scan.errors.empty() && search.first_fault.empty())
    search.first_fault =
        at_line(path, scan.errors.front().line) + "has errors, see marigold data scan";
  for (ScannedFile& file : scan.files) {
    if (file.definition->name.view() != name) continue;
    search.sets.push_back(path);
    search.definition = std::move(file.definition);
  }
  return true;
}

bool search_sets(const DataFileOptions& options, Search& search, Problems& problems) {
  std::vector<std::string> sets;
  if (!options.set.empty()) {
    sets.push_back(definition_path_of(options.set));
  } else if (!find_definition_sets(sets, problems)) {
    return false;
  }
  return std::ranges::all_of(
      sets, [&](const auto& path) { return search_set(path, options.file, search, problems); });
}

bool complain(Problems& problems, const std::string& name, const std::string& reason) {
  problems.push_back(name + ": " + reason);
  return false;
}

std::string searched(const DataFileOptions& options) {
  if (!options.set.empty()) return definition_path_of(options.set) + " does not define it";
  return "no set in " + path_of_library(library_path(definition_set_path("")).parent_path()) +
         " defines it";
}

bool check_found(const DataFileOptions& options, const Search& search, Problems& problems) {
  const std::string& name = options.file;
  if (search.sets.empty()) {
    if (!search.first_fault.empty()) problems.push_back(search.first_fault);
    return complain(problems, name, searched(options));
  }
  if (search.sets.size() > 1)
    return complain(problems, name,
                    "defined by " + search.sets[0] + " and " + search.sets[1] +
                        ", name one of them with --set");
  const FileDefinition& definition = *search.definition;
  if (definition.type == FileType::kChained)
    return complain(problems, name, "chained files cannot be opened");
  if (definition.record_length <= definition.used_length)
    return complain(problems, name,
                    "LEN must be at least " + std::to_string(definition.used_length + 1) +
                        ": the fields and a byte for deletion marks");
  return true;
}

// A user who names one of the two files means the pair.
std::string without_suffix(const std::string& path, FileType type) {
  if (is_cluster_address(path)) return path;
  const fs::path whole = library_path(path);
  const bool of_pair = whole.extension() == ".dat" || whole.extension() == ".idx";
  return type == FileType::kIsam && of_pair ? path_of_library(fs::path(whole).replace_extension())
                                            : path;
}

}  // namespace

std::string definition_path_of(const std::string& set) {
  const bool path = path_has_directory(set) || set.ends_with(kSetSuffix);
  return path ? set : definition_set_path(set);
}

bool find_definition_sets(std::vector<std::string>& paths, Problems& problems) {
  const std::string any = definition_set_path("");
  const fs::path directory = library_path(any).parent_path();
  std::error_code error;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    const std::string path = path_of_library(at->path());
    if (may_define_files(std::string(path_name(path)))) paths.push_back(path);
  }
  if (error) problems.push_back(path_of_library(directory) + ": " + error.message());
  std::ranges::sort(paths);
  return !error;
}

bool scan_set(const std::string& path, DefinitionScan& scan, Problems& problems) {
  std::string text;
  if (const int error = file_read(path.c_str(), text)) {
    problems.push_back(file_error(path, error));
    return false;
  }
  scan = scan_definitions(text, AfterScanError::kNextDefinition);
  if (scan.errors.empty()) return true;
  problems.push_back(at_line(path, scan.errors.front().line) +
                     "has errors, see marigold data scan");
  return false;
}

bool check_data_directory(const std::string& directory, std::string& reason) {
  if (!is_cluster_address(directory)) return true;
  ClusterAddress parsed;
  reason = cluster_parse(cluster_join(directory, "*"), parsed);
  if (!reason.empty()) reason.insert(0, cluster_shown(directory) + ": ");
  return reason.empty();
}

bool DataTarget::in_cluster() const {
  return is_cluster_address(base);
}

std::string DataTarget::table() const {
  return in_cluster() && !is_keyed() ? random_table(base) : base;
}

DataFile DataTarget::handle() const {
  DataFile file(*definition);
  if (!in_class) file.explicit_path = base;
  return file;
}

bool find_data_file(const DataFileOptions& options, DataTarget& target, Problems& problems) {
  settings_read();
  Search search;
  if (!search_sets(options, search, problems) || !check_found(options, search, problems))
    return false;
  target.set_path = search.sets.front();
  target.definition = std::move(search.definition);
  target.in_class = options.path.empty();
  target.base = target.in_class ? data_path(*target.definition)
                                : without_suffix(options.path, target.definition->type);
  std::string reason;
  if (!check_data_directory(data_path_directory(target.base), reason)) {
    problems.push_back(reason);
    return false;
  }
  working_on(target.base);
  return true;
}

std::string only_in_directories(const DataTarget& target, const std::string& instead) {
  return target.base + ": lies in a database cluster; " + instead;
}

std::string half_pair_text(const DataTarget& target) {
  const std::string data = target.base + ".dat";
  const std::string index = target.base + ".idx";
  if (file_exists(data.c_str()))
    return index + ": is missing; \"marigold data rebuild " +
           std::string(target.definition->name.view()) + "\" rebuilds it from " + data;
  return data + ": is missing, and " + index + " holds no records; restore both from a backup";
}

bool read_version(const std::string& record, std::optional<double>& version, std::string& reason) {
  // The access layer would take a record of a directory that cannot be read for a missing one, and
  // end the process for one of a cluster.
  std::string text;
  int failed = 0;
  if (!is_cluster_address(record))
    failed = file_read(record.c_str(), text);
  else if (istext_read(record, text) != 0)
    failed = iserrno;
  if (failed == 0) version = scan_version_record(text);
  if (failed != 0 && failed != ENOENT) reason = data_error(failed);
  return reason.empty();
}

bool check_version(const DataTarget& target, std::string& reason) {
  if (is_half_restored(target.base)) {
    reason = kHalfRestored;
    return false;
  }
  const FileDefinition& definition = *target.definition;
  std::optional<double> found;
  if (!read_version(version_file_record(target.base), found, reason)) {
    reason.insert(0, "its version record cannot be read: ");
    return false;
  }
  const auto wanted = static_cast<double>(definition.version);
  if (!found || *found == wanted) return true;
  reason = "its records have version " + version_text(*found) + ", " + target.set_path +
           " defines version " + version_text(wanted) + "; ";
  reason += *found < wanted ? "\"marigold data convert\" converts them"
                            : "use the definition of that version";
  return false;
}

namespace {

// A copy of the file elsewhere needs no lock of the class.
bool lies_in_its_class(const DataTarget& target) {
  if (target.in_class) return true;
  const std::string of_class = data_directory(target.definition->path_class);
  if (target.in_cluster()) return cluster_directory(target.base) == of_class;
  std::error_code unknown;
  const fs::path directory = library_path(target.base).parent_path();
  return fs::equivalent(directory.empty() ? "." : directory, library_path(of_class), unknown);
}

}  // namespace

bool take_class(const DataTarget& target, Problems& problems) {
  const FileDefinition& definition = *target.definition;
  if (!settings().multi_user || !lies_in_its_class(target)) return true;
  if (path_lock_try_shared(definition.path_class) == kDataDone) return true;
  problems.push_back(locked_class_text(definition.path_class));
  return false;
}

bool take_change_turns(const std::vector<const DataTarget*>& targets, ChangeTurns& turns,
                       std::string& problem) {
  std::vector<std::string> directories;
  directories.reserve(targets.size());
  for (const DataTarget* target : targets)
    directories.push_back(data_path_directory(target->base));
  std::string reason;
  if (turns.take(std::move(directories), ChangeTurns::Missing::kLeave, "", reason) == 0)
    return true;
  problem = "a set of changes cannot be finished: " + reason;
  return false;
}

bool finish_changes(const DataTarget& target, std::string& problem) {
  if (!target.is_keyed() || !changes_unfinished(data_path_directory(target.base))) return true;
  ChangeTurns turns;
  return take_change_turns({&target}, turns, problem);
}

namespace {

std::string text_of(int number) {
  switch (number) {
    case kIsDuplicate:
      return "a key without duplicates has this value already";
    case kIsTooMany:
      return "too many files are open";
    case kIsBadFile:
      return "is damaged, or no keyed file";
    case kIsLocked:
      return "another process has locked a record";
    case kIsFileLocked:
      return "another process is using the file";
    case kIsNameTooLong:
      return "the name is too long";
    case kIsNoLock:
      return "cannot be locked";
    case kIsNoMemory:
      return "not enough memory";
    case kIsServer:
      return "the server cannot be reached, or refuses";
    case system_result(ELOOP):
      return "is a link; name the file that it leads to with --path";
    default:
      break;
  }
  const std::string name = iserror_name(number);
  return name.empty() ? system_error_text(number) : "unexpected error " + name;
}

}  // namespace

std::string data_error(int number) {
  const std::string reason = number == iserrno ? isreason() : "";
  if (reason.empty()) return text_of(number);
  const bool says_all = number == kIsBadFile || (number >= kIsServer && number <= kIsChangesLost);
  return says_all ? reason : text_of(number) + ": " + reason;
}

namespace {

// Returns " (process 4711 on pult3, process 4712 on pult4)" of the users of a file of a cluster.
std::string users_text(const std::string& address) {
  std::string text;
  for (const std::string& table : {address, random_table(address)}) {
    std::vector<IsHolder> holders;
    if (isholders(table, holders) != 0) continue;
    for (const IsHolder& holder : holders)
      text.append(text.empty() ? " (process " : ", process ")
          .append(std::to_string(holder.process))
          .append(" on ")
          .append(holder.host);
  }
  return text.empty() ? text : text + ")";
}

}  // namespace

std::string data_error(const std::string& path, int number) {
  std::string text = data_path_shown(path) + ": " + data_error(number);
  if (number != kIsFileLocked) return text;
  if (is_cluster_address(path)) return text + users_text(path);
  std::string numbers;
  for (const char* suffix : {"", ".idx", ".dat"}) {
    for (const LockingProcess& process : processes_locking((path + suffix).c_str()))
      numbers.append(numbers.empty() ? "" : ", ").append(std::to_string(process.number));
    if (!numbers.empty()) return text.append(" (process ").append(numbers).append(")");
  }
  return text;
}

}  // namespace marigold::inner
