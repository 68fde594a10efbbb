// The journal of a restore: which files it replaces, as long as it is not done. A restore that was
// killed leaves it, and the next one puts the old files back; what a program wrote into half
// restored files meanwhile would be lost. docs/formats/backup.md describes it.
#pragma once

#include <string>
#include <vector>

namespace marigold {

// One stands in each directory of the files.
inline constexpr const char* kRestoreJournal = "RESTORE.journal";

struct RestoreJournal {
  std::string run;       // the same in all journals of one restore, and in no other
  std::string counting;  // the path of the journal that counts
  std::vector<std::string> directories;
  std::vector<std::string> old_files;  // paths; they were there before
  std::vector<std::string> new_files;
  bool done = false;  // says the journal that counts: all new files are in their places
};

// What the journal that counts gets at its end when the restore is done.
inline constexpr const char* kRestoreDone = "done\n";

// What the journal in one of the directories says: its own files alone.
std::string restore_journal_text(const RestoreJournal& journal, const std::string& directory);

// False when there is none, or it is not whole: then nothing was replaced yet. Its names are those
// of files beside it, so that whoever may write in one directory has no say about another.
bool read_restore_journal(const std::string& path, RestoreJournal& journal);

inline constexpr const char* kHalfRestored =
    "a restore of it was interrupted; run marigold data restore again";

// Whether a restore of the file of this path, which is one without ".dat" and the like, is not
// done. Ask when the file is open: nobody begins to restore it then.
bool is_half_restored(const std::string& base);

}  // namespace marigold
