// The version tables of the definitions directory: which versions of a file follow each other
// (FILEVER.DES), and which version the whole of a data directory has (PATHVER.DES). The language:
// docs/formats/versions.md.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/data/definition/definition_set.h"

namespace marigold {

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

// A table that is not whole has the entries before its first error, in their order. Programs take
// it for a shorter table, because a look-up has no way to fail; who changes data by it refuses it.
template <typename Entry>
struct VersionTable {
  std::vector<Entry> entries;
  std::optional<ScanError> error;
};

using FileVersionTable = VersionTable<FileVersionEntry>;
using PathVersionTable = VersionTable<PathVersionEntry>;

// Take apart the text of a table. Nothing is raised or printed.
FileVersionTable scan_file_versions(std::string_view text);
PathVersionTable scan_path_versions(std::string_view text);

// The paths of the tables, from the settings.
std::string file_version_table_path();
std::string path_version_table_path();

// Read a table; a missing one is an empty one. 0, or the system's error number for one that cannot
// be read; then it is empty.
int read_file_versions(FileVersionTable& table);
int read_path_versions(PathVersionTable& table);

// The first entry of a file (its name cut as a dictionary cuts it) and old version, or null.
const FileVersionEntry* find_file_version(const FileVersionTable& table, std::string_view file_name,
                                          double old_version);

// The version of the first entry of a class; -1 when there is none.
double find_path_version(const PathVersionTable& table, int path_class);

// The number in the text of a version record, which is its first word; none for anything that is no
// version. Versions are not negative.
std::optional<double> scan_version_record(std::string_view text);

}  // namespace marigold
