// SPDX-License-Identifier: GPL-3.0-or-later
// The record of a data file's last backup: PATH.backup beside the data file, with the moment of
// the backup and the place of the backup file. The record is a note for operators; no decision
// depends on it. The maker of a backup writes the record when the backup is whole. A file of a
// cluster has none (ENOTSUP): its server makes the backups. docs/formats/backup-record.md draws
// the format.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

struct BackupRecord {
  std::string time;   // "2026-11-22T09:12:05Z"
  std::string place;  // a path; may be empty
};

std::string backup_record_path(const DataFile& file);

// Returns the record of the data file; none if the record is missing or malformed.
std::optional<BackupRecord> backup_record_read(const DataFile& file);

// Writes the record in one step, with the owner and permissions of the data file. Cuts the place
// at a line end. Returns 0, or the system's error number; the old record then stays as it was.
int backup_record_write(const DataFile& file, const BackupRecord& record);

// Returns a moment in the form that records use.
std::string backup_time(std::chrono::sys_seconds moment);

}  // namespace marigold::inner
