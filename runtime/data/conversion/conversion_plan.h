// What there is to convert: the version of each data file, and the way from it to the version of
// its definition.
//
// The way is that of FILEVER.DES, followed from entry to entry. Of each version on it but the last
// the definition is needed: version N of KUNDEN is defined in the set KUNDEN_N (FILEKUNDEN_N.DES in
// the definitions directory), which may define other files as well. docs/formats/versions.md.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/data/conversion/record_mapping.h"
#include "runtime/data/definition/definition.h"
#include "runtime/data/definition/version_table.h"

namespace marigold {

struct FileConversion {
  const FileDefinition* file = nullptr;
  std::string base;  // the path without ".dat" and the like
  // The versions from that of the records to that of the definition. A single one when they are the
  // same, or when the file has no version record.
  std::vector<double> versions;
  std::vector<std::unique_ptr<FileDefinition>> older;  // definitions of all versions but the last
  std::vector<RecordMapping> steps;                    // one less than versions
  // The records have no version. An empty file that is as it is defined gets one, any other is
  // refused.
  bool unrecorded = false;
  bool leftovers = false;  // an earlier run was interrupted or stopped

  [[nodiscard]] bool must_convert() const { return !steps.empty(); }
  [[nodiscard]] bool needs_work() const { return must_convert() || unrecorded || leftovers; }
  // As what its records were written.
  [[nodiscard]] const FileDefinition& old_definition() const {
    return older.empty() ? *file : *older.front();
  }
};

struct ClassConversion {
  int path_class = 0;
  double version = 0;                 // what PATHCONV.ver says, 0 without one
  double wanted = -1;                 // what PATHVER.DES says, -1 without an entry
  std::vector<FileConversion> files;  // that exist, in the order of their names

  [[nodiscard]] bool needs_record() const { return wanted >= 0 && wanted != version; }
  [[nodiscard]] bool needs_work() const;
};

struct VersionTables {
  FileVersionTable files;
  PathVersionTable paths;
};

// Reads both tables. A complaint for each that cannot be read or is not whole.
VersionTables read_version_tables(std::vector<std::string>& problems);

// Plans for the files of one class, which are all of `files` that lie in it. What stands in the way
// of a file is a complaint, and its plan is not complete: a version that is newer than the
// definition's (system error 40, for the class 39), one from which the table leads nowhere or round
// in a circle, a definition that is missing or wrong, a field that cannot become what it is to be.
// Looks only at version records, tables and definitions; nothing is opened or changed.
ClassConversion plan_class(int path_class, std::span<const FileDefinition* const> files,
                           const VersionTables& tables, std::vector<std::string>& problems);

// The same for each class that has one of the files.
std::vector<ClassConversion> plan_classes(std::span<const FileDefinition* const> files,
                                          const VersionTables& tables,
                                          std::vector<std::string>& problems);

// "1 -> 2 -> 5".
std::string versions_text(const std::vector<double>& versions);

// The name of the set in which an older version is defined.
std::string older_set_name(const FileDefinition& file, double version);

}  // namespace marigold
