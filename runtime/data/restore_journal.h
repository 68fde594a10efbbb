// Files that a restore has left half restored: it was killed, and the next one puts the old files
// back. What a program wrote meanwhile would be lost.
#pragma once

#include <string>

namespace marigold {

// In the directory of the files that a restore is about; docs/formats/backup.md describes it.
inline constexpr const char* kRestoreJournal = "RESTORE.journal";

inline constexpr const char* kHalfRestored =
    "a restore of it was interrupted; run marigold data restore again";

// Whether that holds for the file of this path, which is one without ".dat" and the like. Ask when
// the file is open: nobody begins to restore it then.
bool is_half_restored(const std::string& base);

}  // namespace marigold
