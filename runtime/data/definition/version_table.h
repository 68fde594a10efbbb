// SPDX-License-Identifier: GPL-3.0-or-later
// The version tables of the definitions directory: FILEVER.DES gives the order of a file's
// versions, PATHVER.DES the version of a whole data directory. docs/formats/versions.md describes
// the language.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/data/definition/definition_set.h"

namespace marigold::inner {

struct FileVersionEntry {
  DefinitionName file;
  double old_version = 0;
  double new_version = 0;
  bool flag = false;
};

struct PathVersionEntry {
  int path_class = 0;
  double version = 0;
};

// A damaged table has the entries before its first error, in their order. Programs use it as a
// shorter table, because a look-up has no way to fail; the conversion refuses it.
template <typename Entry>
struct VersionTable {
  std::vector<Entry> entries;
  std::optional<ScanError> error;
};

using FileVersionTable = VersionTable<FileVersionEntry>;
using PathVersionTable = VersionTable<PathVersionEntry>;

// Parse the text of a table. They raise and print nothing.
FileVersionTable scan_file_versions(std::string_view text);
PathVersionTable scan_path_versions(std::string_view text);

// Return the paths of the tables, from the settings.
std::string file_version_table_path();
std::string path_version_table_path();

// Read a table; a missing one is empty. Return 0, or the system's error number for a table that
// cannot be read; the table is empty then.
int read_file_versions(FileVersionTable& table);
int read_path_versions(PathVersionTable& table);

// Returns the first entry with this file (its name cut as a dictionary cuts it) and old version, or
// null.
const FileVersionEntry* find_file_version(const FileVersionTable& table, std::string_view file_name,
                                          double old_version);

// Returns the version of the first entry of a class; -1 without an entry.
double find_path_version(const PathVersionTable& table, int path_class);

// Returns the number that is the first word of a version record's text. Returns none if that word
// is not a version. Versions are not negative.
std::optional<double> scan_version_record(std::string_view text);

}  // namespace marigold::inner
