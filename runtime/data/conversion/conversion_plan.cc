// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/conversion_plan.h"

#include <algorithm>
#include <utility>

#include "runtime/core/status_file.h"
#include "runtime/core/system_errors.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/conversion_copy.h"
#include "runtime/data/conversion/file_swap.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/system_error.h"
#include "runtime/texte/syserr.h"

namespace marigold::inner {
namespace {

using Problems = std::vector<std::string>;

std::string error_text(int number) {
  SystemText text;
  syserr_text(text, number);
  return std::string(text.view());
}

// Returns a token in quotes on one line, cut to 40 characters.
std::string shown(std::string_view token) {
  constexpr std::size_t kShown = 40;
  if (token.empty()) return "the end of the text";
  std::string text = "\"";
  text += token.substr(0, kShown);
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return text.append(token.size() > kShown ? "...\"" : "\"");
}

std::string scan_error_text(const std::string& path, const ScanError& error) {
  return path + ":" + std::to_string(error.line) + ": " + error_text(error.number) + ": expected " +
         error.expected + ", found " + shown(error.found);
}

template <typename Table>
void read_table(const std::string& path, int (*read)(Table&), Table& table, Problems& problems) {
  if (const int failed = read(table)) {
    problems.push_back(path + ": " + system_error_text(failed));
  } else if (table.error) {
    problems.push_back(scan_error_text(path, *table.error));
  }
}

// ---- The way from version to version

std::string dead_end(const FileDefinition& file, const std::vector<double>& way) {
  if (way.front() > file.version)
    return error_text(kErrorFileVersionNewer) + " (version " + version_text(way.front()) +
           ", the definition has " + version_text(file.version) + ")";
  return file_version_table_path() + " leads from version " + versions_text(way) +
         " no further, the definition has " + version_text(file.version);
}

// Adds the versions after the first one.
bool find_way(const FileDefinition& file, const FileVersionTable& table, std::vector<double>& way,
              Problems& problems) {
  const std::string name = std::string(file.name.view()) + ": ";
  while (way.back() != file.version) {
    const FileVersionEntry* entry = find_file_version(table, file.name.view(), way.back());
    if (entry == nullptr || entry->new_version == way.back()) {
      problems.push_back(name + dead_end(file, way));
      return false;
    }
    const bool circle = std::ranges::find(way, entry->new_version) != way.end();
    way.push_back(entry->new_version);
    if (!circle) continue;
    problems.push_back(name + file_version_table_path() +
                       " leads in a circle: " + versions_text(way));
    return false;
  }
  return true;
}

// ---- Definitions

// Returns the reason why a definition cannot be converted from or to; empty if it can.
std::string unfit(const FileDefinition& older, const FileDefinition& file) {
  if (file.type == FileType::kChained) return "chained files cannot be converted";
  if (older.type != file.type) return "it is of another TYPE than the file is defined now";
  if (older.record_length <= older.used_length) return "LEN has no room for the deletion marker";
  return "";
}

std::unique_ptr<FileDefinition> older_definition(const FileDefinition& file, double version,
                                                 Problems& problems) {
  const std::string path = definition_set_path(older_set_name(file, version));
  const std::string what = path + ": the definition of " + std::string(file.name.view()) +
                           " version " + version_text(version);
  std::string text;
  if (const int failed = file_read(path.c_str(), text)) {
    problems.push_back(what + ": " + system_error_text(failed));
    return nullptr;
  }
  DefinitionScan scan = scan_definitions(text, AfterScanError::kStop);
  if (!scan.errors.empty()) {
    problems.push_back(scan_error_text(path, scan.errors[0]));
    return nullptr;
  }
  for (ScannedFile& scanned : scan.files) {
    if (scanned.definition->name.view() != file.name.view()) continue;
    if (scanned.definition->version == version) return std::move(scanned.definition);
    problems.push_back(what + ": the set has VERSION " + version_text(scanned.definition->version));
    return nullptr;
  }
  problems.push_back(what + ": the set does not define the file");
  return nullptr;
}

bool find_definitions(FileConversion& conversion, Problems& problems) {
  const FileDefinition& file = *conversion.file;
  for (std::size_t i = 0; i + 1 < conversion.versions.size(); ++i) {
    std::unique_ptr<FileDefinition> older =
        older_definition(file, conversion.versions[i], problems);
    if (older == nullptr) return false;
    conversion.older.push_back(std::move(older));
  }
  return true;
}

bool fit_each_other(const FileConversion& conversion, Problems& problems) {
  const FileDefinition& file = *conversion.file;
  for (std::size_t i = 0; i < conversion.versions.size(); ++i) {
    const bool last = i == conversion.older.size();
    const std::string reason = unfit(last ? file : *conversion.older[i], file);
    if (reason.empty()) continue;
    problems.push_back(std::string(file.name.view()) + " version " +
                       version_text(conversion.versions[i]) + ": " + reason);
    return false;
  }
  return true;
}

void map_steps(FileConversion& conversion, Problems& problems) {
  for (std::size_t i = 0; i < conversion.older.size(); ++i) {
    const bool last = i + 1 == conversion.older.size();
    RecordMapping mapping;
    std::string reason;
    if (!mapping.prepare(*conversion.older[i], last ? *conversion.file : *conversion.older[i + 1],
                         reason)) {
      problems.push_back(std::string(conversion.file->name.view()) + " version " +
                         version_text(conversion.versions[i]) + " to " +
                         version_text(conversion.versions[i + 1]) + ": " + reason);
      return;
    }
    conversion.steps.push_back(std::move(mapping));
  }
}

FileConversion plan_file(const FileDefinition& file, const FileVersionTable& table,
                         Problems& problems) {
  FileConversion conversion;
  conversion.file = &file;
  conversion.base = data_path(file);
  const auto swap = FileSwap::of(conversion.base, file.type);
  conversion.leftovers = swap->has_leftovers();
  const std::optional<double> version = version_read_record(swap->record_in_force());
  conversion.unrecorded = !version;
  conversion.versions.push_back(version.value_or(file.version));
  if (find_way(file, table, conversion.versions, problems) &&
      find_definitions(conversion, problems) &&
      (conversion.older.empty() || fit_each_other(conversion, problems)))
    map_steps(conversion, problems);
  return conversion;
}

// Whether the server of a class in a cluster answers.
bool can_be_read(const std::string& directory, Problems& problems) {
  std::vector<std::string> files;
  if (!is_cluster_address(directory) || islist(directory, files) == 0) return true;
  problems.push_back(data_path_shown(directory) + ": " + error_number_text(iserrno));
  return false;
}

}  // namespace

bool ClassConversion::needs_work() const {
  return needs_record() || std::ranges::any_of(files, &FileConversion::needs_work);
}

std::string versions_text(const std::vector<double>& versions) {
  std::string text;
  for (const double version : versions)
    text.append(text.empty() ? "" : " -> ").append(version_text(version));
  return text;
}

std::string older_set_name(const FileDefinition& file, double version) {
  return std::string(file.name.view()) + "_" + version_text(version);
}

VersionTables read_version_tables(Problems& problems) {
  VersionTables tables;
  read_table(file_version_table_path(), read_file_versions, tables.files, problems);
  read_table(path_version_table_path(), read_path_versions, tables.paths, problems);
  return tables;
}

ClassConversion plan_class(int path_class, std::span<const FileDefinition* const> files,
                           const VersionTables& tables, Problems& problems) {
  ClassConversion plan;
  plan.path_class = path_class;
  if (!can_be_read(data_directory(path_class), problems)) return plan;
  plan.version = version_read_path(path_class);
  plan.wanted = find_path_version(tables.paths, path_class);
  if (plan.wanted >= 0 && plan.version > plan.wanted)
    problems.push_back(data_path_shown(version_path_record(path_class)) + ": " +
                       error_text(kErrorPathVersionNewer) + " (version " +
                       version_text(plan.version) + ", required is " + version_text(plan.wanted) +
                       ")");
  for (const FileDefinition* file : files) {
    if (file->path_class != path_class) continue;
    // The form of a chained file is not known here: only its version record shows that it exists.
    const bool chained = file->type == FileType::kChained;
    const bool there = chained
                           ? version_read_record(version_file_record(data_path(*file))).has_value()
                           : FileSwap::of(data_path(*file), file->type)->file_is_there();
    if (there) plan.files.push_back(plan_file(*file, tables.files, problems));
  }
  return plan;
}

std::vector<ClassConversion> plan_classes(std::span<const FileDefinition* const> files,
                                          const VersionTables& tables, Problems& problems) {
  std::vector<ClassConversion> plans;
  for (int path_class = 0; path_class < kPathClasses; ++path_class) {
    const auto in_class = [path_class](const FileDefinition* file) {
      return file->path_class == path_class;
    };
    if (std::ranges::any_of(files, in_class))
      plans.push_back(plan_class(path_class, files, tables, problems));
  }
  return plans;
}

}  // namespace marigold::inner
