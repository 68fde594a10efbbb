// SPDX-License-Identifier: GPL-3.0-or-later
// The journal of a restore: lists the files that an unfinished restore replaces. A restore that was
// killed leaves its journal, and the next restore puts the old files back. Changes that a program
// made to half restored files meanwhile would be lost. docs/formats/backup.md describes the
// journal.
#pragma once

#include <string>
#include <vector>

namespace marigold::inner {

// Name of the journal; each directory of the files has one.
inline constexpr const char* kRestoreJournal = "RESTORE.journal";

struct RestoreJournal {
  std::string run;       // the same in all journals of one restore, and in no other
  std::string counting;  // the path of the journal that counts
  std::vector<std::string> directories;
  std::vector<std::string> old_files;  // paths of files that existed before the restore
  std::vector<std::string> new_files;
  bool done = false;  // by the journal that counts: all new files are in place
};

// End of the journal that counts, once the restore is done.
inline constexpr const char* kRestoreDone = "done\n";

// Returns the text of the journal in one of the directories. It lists only the files of that
// directory.
std::string restore_journal_text(const RestoreJournal& journal, const std::string& directory);

// Reads a journal. Returns false if it is missing or not whole: the restore has replaced nothing
// yet then. The names in a journal are names of files beside it, so that a user who may write in
// one directory has no power over another.
bool read_restore_journal(const std::string& path, RestoreJournal& journal);

inline constexpr const char* kHalfRestored =
    "a restore or a copy of it was interrupted; run that command again";

// Whether a restore of the file with this path (without a suffix such as ".dat") is unfinished. Ask
// while the file is open: no restore of the file begins then. False for an address: a cluster's own
// tools restore its files.
bool is_half_restored(const std::string& base);

}  // namespace marigold::inner
