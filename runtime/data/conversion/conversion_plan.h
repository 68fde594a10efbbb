// SPDX-License-Identifier: GPL-3.0-or-later
// The plan of a conversion: the version of each data file, and the way from that version to the
// version of its definition.
//
// FILEVER.DES gives the way, from entry to entry. The plan needs the definition of each version on
// the way but the last: the set KUNDEN_N (FILEKUNDEN_N.DES in the definitions directory) defines
// version N of KUNDEN. The set may define other files as well. docs/formats/versions.md.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/data/conversion/record_mapping.h"
#include "runtime/data/definition/definition.h"
#include "runtime/data/definition/version_table.h"

namespace marigold::inner {

struct FileConversion {
  const FileDefinition* file = nullptr;
  std::string base;  // the path without ".dat" and the like
  // The versions from the records' to the definition's. A single one if the two are equal, or if
  // the file has no version record.
  std::vector<double> versions;
  std::vector<std::unique_ptr<FileDefinition>> older;  // definitions of all versions but the last
  std::vector<RecordMapping> steps;                    // one less than versions
  // The file has no version record. The run writes one for a file without records that matches its
  // definition, and refuses any other.
  bool unrecorded = false;
  bool leftovers = false;  // an earlier run was interrupted or stopped

  [[nodiscard]] bool must_convert() const { return !steps.empty(); }
  [[nodiscard]] bool needs_work() const { return must_convert() || unrecorded || leftovers; }
  // Returns the definition under which the file's records were written.
  [[nodiscard]] const FileDefinition& old_definition() const {
    return older.empty() ? *file : *older.front();
  }
};

struct ClassConversion {
  int path_class = 0;
  double version = 0;                 // in PATHCONV.ver, 0 without one
  double wanted = -1;                 // in PATHVER.DES, -1 without an entry
  std::vector<FileConversion> files;  // existing files, in the caller's order

  [[nodiscard]] bool needs_record() const { return wanted >= 0 && wanted != version; }
  [[nodiscard]] bool needs_work() const;
};

struct VersionTables {
  FileVersionTable files;
  PathVersionTable paths;
};

// Reads both tables. Adds a problem for each table that cannot be read or is damaged.
VersionTables read_version_tables(std::vector<std::string>& problems);

// Plans the files of one class, which are all of `files` that lie in the class. Adds a problem for
// a file that cannot be converted, and leaves its plan incomplete: for a version that is newer than
// the definition's (system error 40, for the class 39), a version from which the table leads
// nowhere or in a circle, a definition that is missing or wrong, or a field that cannot become its
// new type. Reads only version records, tables and definitions; opens and changes no data file.
ClassConversion plan_class(int path_class, std::span<const FileDefinition* const> files,
                           const VersionTables& tables, std::vector<std::string>& problems);

// Plans each class that has one of the files.
std::vector<ClassConversion> plan_classes(std::span<const FileDefinition* const> files,
                                          const VersionTables& tables,
                                          std::vector<std::string>& problems);

// "1 -> 2 -> 5".
std::string versions_text(const std::vector<double>& versions);

// Returns the name of the set that defines an older version.
std::string older_set_name(const FileDefinition& file, double version);

}  // namespace marigold::inner
