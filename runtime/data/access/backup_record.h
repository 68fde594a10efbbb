// When a data file was last backed up: a record beside it, PATH.backup, with the moment of which
// the backup is and where that lies. It is a note for operators; nothing is decided by it. Whoever
// makes a backup writes it when that is whole. docs/formats/backup-record.md draws it.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "runtime/data/access/data_handle.h"

namespace marigold {

struct BackupRecord {
  std::string time;   // "2026-11-22T09:12:05Z"
  std::string place;  // a path; may be empty
};

std::string backup_record_path(const DataFile& file);

// The record of the data file; none when there is none, or what is there is none.
std::optional<BackupRecord> backup_record_read(const DataFile& file);

// Writes the record in one step, with the owner and permissions of the data file. A line end in the
// place ends it. 0, or the system's error number; then the old one is as it was.
int backup_record_write(const DataFile& file, const BackupRecord& record);

// A moment as a record has it.
std::string backup_time(std::chrono::sys_seconds moment);

}  // namespace marigold
