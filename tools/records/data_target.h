// SPDX-License-Identifier: GPL-3.0-or-later
// The data file of a command: its definition and its place.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/data/access/change_turns.h"
#include "runtime/data/access/data_handle.h"
#include "runtime/data/definition/definition.h"
#include "runtime/data/definition/definition_set.h"
#include "tools/common/report.h"

namespace marigold::inner {

// Options of the command line.
struct DataFileOptions {
  std::string file;  // its name in the definition set
  std::string set;   // name or path of the definition set; empty: the set that defines the file
  std::string path;  // without ".dat" and the like; empty: the file's place by its path class
};

struct DataTarget {
  std::string set_path;
  std::shared_ptr<const FileDefinition> definition;
  std::string base;       // its path without ".dat" and the like, or its address in a cluster
  bool in_class = false;  // in the data directory of its path class

  [[nodiscard]] bool is_keyed() const { return definition->type == FileType::kIsam; }
  [[nodiscard]] bool in_cluster() const;
  // Returns the base name for the engine. In a cluster random files are keyed files, too.
  [[nodiscard]] std::string table() const;
  // Returns a handle for the file.
  [[nodiscard]] DataFile handle() const;
};

// Returns the path of a set: of "DATA", or the given path if it has a "/" in it or ends in ".DES".
std::string definition_path_of(const std::string& set);

// Gives the paths of all definition sets in the definitions directory, sorted, without the version
// table and older definitions (FILEDATA_3.DES). Returns false and the problem on a failure.
bool find_definition_sets(std::vector<std::string>& paths, Problems& problems);

// Scans the file of a set. Returns false and the problem if the file cannot be read or has errors.
bool scan_set(const std::string& path, DefinitionScan& scan, Problems& problems);

// Whether a data directory can be one: refuses an address that is none, or has a password in it.
bool check_data_directory(const std::string& directory, std::string& reason);

// Finds the definition. Without a set, searches all sets of find_definition_sets. Returns false and
// the problems: no set defines the file, or several do, or a set cannot be read, or the file is of
// a kind that cannot be opened. The list of definitions stays as it is.
bool find_data_file(const DataFileOptions& options, DataTarget& target, Problems& problems);

// Takes the path class of the file as programs that write into it do, in multi-user operation, for
// the rest of the process. Returns false and the problem, which names the process that has the
// class exclusively.
bool take_class(const DataTarget& target, Problems& problems);

// Finishes the sets of changes that killed programs have left in these files' directories, and takes
// their turns. Returns false and the problem if a set cannot be finished.
bool take_change_turns(const std::vector<const DataTarget*>& targets, ChangeTurns& turns,
                       std::string& problem);
// Does the same without keeping the turns, for a keyed file; does nothing for a random file.
bool finish_changes(const DataTarget& target, std::string& problem);

inline constexpr const char* kChangesBegan =
    ": a program has begun to change it in sets meanwhile; try again";

inline constexpr const char* kLeftByConversion =
    "left by an interrupted conversion; run it again to finish it";

// Ends the name of a file of a cluster until the file is whole.
inline constexpr const char* kIncoming = ".incoming";

// Returns the problem of a command that is of no use for files of a cluster, and says what to use.
std::string only_in_directories(const DataTarget& target, const std::string& instead);

// Returns the meaning of a result of the engine or the system for the owner of a file.
std::string data_error(int number);

// Returns advice for a pair of which one file is missing.
std::string half_pair_text(const DataTarget& target);

// Gives the version in the version record of a file or a class, none without a record. Returns false
// and the reason if the record cannot be read.
bool read_version(const std::string& record, std::optional<double>& version, std::string& reason);

// Whether the records were written under the version of the definition, and no restore of the file
// was interrupted. True for a file without a version record. Otherwise gives the reason: both
// versions, or why the record cannot be read.
bool check_version(const DataTarget& target, std::string& reason);

// Returns "PATH: " and the text of data_error(number).
std::string data_error(const std::string& path, int number);

}  // namespace marigold::inner
