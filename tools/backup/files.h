// SPDX-License-Identifier: GPL-3.0-or-later
// The data files that a backup is about, class by class.
#pragma once

#include <string>
#include <vector>

#include "tools/records/data_target.h"

namespace marigold {

// As the command line names them: neither names nor a class mean all files.
struct BackupSelection {
  std::vector<std::string> names;
  int path_class = -1;
  std::string set;  // as in DataFileOptions
};

// The files of one path class that are backed up together.
struct BackupGroup {
  int path_class = 0;
  std::vector<DataTarget> targets;
};

// Finds the definitions, and orders them by class and name. A class or all files are those that
// have any data; `absent` gets the names of the others. False with the problems: also when more
// keyed files of a class are wanted than the engine can open at once.
bool find_backup_groups(const BackupSelection& selection, std::vector<BackupGroup>& groups,
                        std::vector<std::string>& absent, Problems& problems);

}  // namespace marigold
