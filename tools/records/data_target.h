// SPDX-License-Identifier: GPL-3.0-or-later
// Which data file a command is about: its definition, and where it lies.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/definition/definition.h"
#include "runtime/data/definition/definition_set.h"
#include "tools/common/report.h"

namespace marigold {

// As the command line names it.
struct DataFileOptions {
  std::string file;  // its name in the definition set
  std::string set;   // name or path of the definition set; empty: whichever defines the file
  std::string path;  // without ".dat" and the like; empty: the file's place by its path class
};

struct DataTarget {
  std::string set_path;
  std::unique_ptr<const FileDefinition> definition;
  std::string base;       // where it lies, without ".dat" and the like
  bool in_class = false;  // in the data directory of its path class

  // A handle for it.
  [[nodiscard]] DataFile handle() const;
};

// "DATA", or a path when it has a "/" in it or ends in ".DES".
std::string definition_path_of(const std::string& set);

// The paths of all definition sets of the definitions directory, sorted, without the version table
// and older definitions (FILEDATA_3.DES). False with the problem.
bool find_definition_sets(std::vector<std::string>& paths, Problems& problems);

// Scans the file of a set. False with the problem: it cannot be read, or has errors.
bool scan_set(const std::string& path, DefinitionScan& scan, Problems& problems);

// Finds the definition. Without a set it looks through those of
// find_definition_sets. False with the problems: no set defines the file, or several do, or a set
// cannot be read, or the file is of a kind that cannot be opened. The list of definitions stays as
// it is.
bool find_data_file(const DataFileOptions& options, DataTarget& target, Problems& problems);

// Takes the path class of the file as the programs that write into it do, in multi-user operation,
// for the rest of the process. False with the problem, which says who has it for himself.
bool take_class(const DataTarget& target, Problems& problems);

// What a result of the engine or the system means for the owner of a file.
std::string data_error(int number);

// What to do when one file of a pair is missing.
std::string half_pair_text(const DataTarget& target);

// Whether the records were written under the version of the definition, and no restore of the file
// was interrupted. A file without a version record counts so. False with the reason, which names
// both versions.
bool check_version(const DataTarget& target, std::string& reason);

// "PATH: " and that.
std::string data_error(const std::string& path, int number);

}  // namespace marigold
