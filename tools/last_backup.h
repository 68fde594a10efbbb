// When a data file was backed up last, and where to: a text file BASE.backup beside it with one
// line, the moment as ISO 8601 in UTC, a blank, and the path of the backup.
#pragma once

#include <optional>
#include <string>

#include "runtime/data/definition.h"

namespace marigold {

struct LastBackup {
  std::string moment;  // "2026-11-22T09:52:33Z"
  std::string target;
};

// Replaces the file in one step. It has the owner and permissions of the data file. 0, or the
// system's error number.
int write_last_backup(const std::string& base, FileType type, const LastBackup& backup);

// None when the file is missing or cannot be read as such.
std::optional<LastBackup> read_last_backup(const std::string& base);

// This moment, to the second.
std::string moment_now();

}  // namespace marigold
