// SPDX-License-Identifier: GPL-3.0-or-later
// The data files of a backup, class by class.
#pragma once

#include <string>
#include <vector>

#include "tools/records/data_target.h"

namespace marigold::inner {

// Options of the command line: without names and without a class, all files.
struct BackupSelection {
  std::vector<std::string> names;
  int path_class = -1;
  std::string set;  // as in DataFileOptions
};

// Files of one path class that are backed up together.
struct BackupGroup {
  int path_class = 0;
  std::vector<DataTarget> targets;
};

// Gives the names of all files that can have data: of a set, or of all sets for ""; of a class, or
// of all classes for -1. Returns false and the problems.
bool find_file_names(const std::string& set, int path_class, std::vector<std::string>& names,
                     Problems& problems);

// Finds the definitions and orders them by class and name. For a class, or for all files, takes
// only those with data; `absent` gets the names of the others. Returns false and the problems, also
// for more keyed files of a class than the engine can open at once.
bool find_backup_groups(const BackupSelection& selection, std::vector<BackupGroup>& groups,
                        std::vector<std::string>& absent, Problems& problems);

}  // namespace marigold::inner
