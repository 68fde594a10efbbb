// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data: works on the data files of an application and their definitions.
//
// Each command reports all problems itself and returns an exit status (report.h).
#pragma once

#include <string>
#include <vector>

#include "tools/backup/files.h"
#include "tools/records/data_target.h"

namespace marigold::inner {

struct DataScan {
  std::vector<std::string> sets;  // names, or paths of definition sets
  bool json = false;
};
int data_scan(const DataScan& options);

struct DataInfo {
  DataFileOptions file;
  bool json = false;
};
int data_info(const DataInfo& options);

struct DataCheck {
  std::vector<std::string> files;
  DataFileOptions file;  // without a name
  bool quick = false;    // does not visit records and indexes
  bool json = false;
};
int data_check(const DataCheck& options);

struct DataRebuild {
  DataFileOptions file;
};
int data_rebuild(const DataRebuild& options);

struct DataRecover {
  DataFileOptions file;
};
int data_recover(const DataRecover& options);

struct DataCompact {
  DataFileOptions file;
};
int data_compact(const DataCompact& options);

struct DataDump {
  DataFileOptions file;
  std::string code_set;
  bool json = false;
  int key = 1;
  std::string from;  // see WalkRange
  std::string to;
  std::string output;     // empty: standard output
  bool snapshot = false;  // walks the records of one moment
};
int data_dump(const DataDump& options);

enum class LinesFormat { kBySuffix, kCsv, kJson };

struct DataLoad {
  DataFileOptions file;
  std::string input;  // empty: standard input
  std::string code_set;
  LinesFormat format = LinesFormat::kBySuffix;  // ".json", ".jsonl" and ".ndjson" are JSON
  bool replace = false;
  bool force = false;
  bool keep_going = false;
};
int data_load(const DataLoad& options);

struct DataLocks {
  int path_class = 0;
  bool json = false;
};
int data_locks(const DataLocks& options);

struct DataConvert {
  std::vector<std::string> sets;  // names, or paths of definition sets
  int path_class = -1;            // only files of this class
  bool dry_run = false;           // only show the plan
  bool keep_backup = false;       // keep the old files, as BASE.version-N
};
int data_convert(const DataConvert& options);

struct DataCopy {
  std::string from;  // values of DATA_DIRECTORY
  std::string to;
  std::vector<std::string> files;  // names, all of one path class; none: all files of path_class
  int path_class = -1;
  std::string set;       // as in DataFileOptions
  bool replace = false;  // also files that the destination has already
  bool json = false;
};
int data_copy(const DataCopy& options);

struct DataSql {
  DataFileOptions file;
  std::string code_set;
  int first_year = 1901;  // of the two-digit years
  bool create = false;    // the view; else print it
};
int data_sql(const DataSql& options);

struct DataBackup {
  BackupSelection selection;
  std::string to;       // a new directory, or empty
  std::string archive;  // in its place: a new archive
};
int data_backup(const DataBackup& options);

struct DataRestore {
  std::string from;                // a directory or an archive
  std::vector<std::string> names;  // none: all files of the class, or of the backup
  int path_class = -1;
  std::string set;       // as in DataFileOptions
  bool dry_run = false;  // check only
};
int data_restore(const DataRestore& options);

}  // namespace marigold::inner
