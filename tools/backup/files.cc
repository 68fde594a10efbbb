// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/backup/files.h"

#include <algorithm>
#include <map>

#include "runtime/core/settings.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/named_file.h"
#include "tools/backup/manifest.h"

namespace marigold::inner {
namespace {

// Gives the names of all files of a set, or of one class, that can have data.
bool names_in_set(const std::string& path, int path_class, std::vector<std::string>& names,
                  Problems& problems) {
  DefinitionScan scan;
  if (!scan_set(path, scan, problems)) return false;
  for (const ScannedFile& file : scan.files) {
    const FileDefinition& definition = *file.definition;
    if (definition.type == FileType::kChained) continue;  // no program can open one
    if (path_class < 0 || definition.path_class == path_class)
      names.emplace_back(definition.name.view());
  }
  return true;
}

bool has_data(const DataTarget& target) {
  if (target.definition->type != FileType::kIsam) return file_exists(target.base.c_str());
  return file_exists((target.base + ".dat").c_str()) || file_exists((target.base + ".idx").c_str());
}

}  // namespace

bool find_file_names(const std::string& set, int path_class, std::vector<std::string>& names,
                     Problems& problems) {
  settings_read();
  std::vector<std::string> sets;
  if (!set.empty()) {
    sets.push_back(definition_path_of(set));
  } else if (!find_definition_sets(sets, problems)) {
    return false;
  }
  return std::ranges::all_of(sets, [&](const std::string& path) {
    return names_in_set(path, path_class, names, problems);
  });
}

bool find_backup_groups(const BackupSelection& selection, std::vector<BackupGroup>& groups,
                        std::vector<std::string>& absent, Problems& problems) {
  std::vector<std::string> names = selection.names;
  const bool named = !names.empty();
  if (!named && !find_file_names(selection.set, selection.path_class, names, problems))
    return false;
  std::ranges::sort(names);
  names.erase(std::unique(names.begin(), names.end()), names.end());
  std::map<int, BackupGroup> by_class;
  for (const std::string& name : names) {
    DataTarget target;
    if (!find_data_file({.file = name, .set = selection.set, .path = ""}, target, problems))
      return false;
    if (target.in_cluster()) {
      problems.push_back(only_in_directories(
          target, "pg_dump makes a backup of all files of a schema, of one moment"));
      return false;
    }
    if (!fits_in_backup(target.definition->name.view())) {
      problems.push_back(name + ": a file of this name cannot be in a backup");
      return false;
    }
    if (!named && !has_data(target)) {
      absent.push_back(name);
      continue;
    }
    const int path_class = static_cast<unsigned char>(target.definition->path_class);
    BackupGroup& group = by_class[path_class];
    group.path_class = path_class;
    group.targets.push_back(std::move(target));
  }
  std::size_t most = 0;  // open at once
  for (auto& [number, group] : by_class) {
    most = std::max(most, group.targets.size());
    groups.push_back(std::move(group));
  }
  if (isopenlimit(static_cast<int>(most)) == 0) return true;
  problems.push_back("marigold: " + data_error(iserrno));
  return false;
}

}  // namespace marigold::inner
