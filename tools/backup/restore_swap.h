// SPDX-License-Identifier: GPL-3.0-or-later
// Puts the files of a backup in the places of those that are there: all of them, or none.
//
// The old files get a second name, PATH.unrestored, before the first is replaced, and keep it until
// all are. A journal in each of their directories, RESTORE.journal, says which files a run is
// about. As long as the one in the first file's directory does not say that the restore is done,
// whoever finds it puts the old files back. Otherwise the second names are worth nothing.
// docs/formats/backup.md describes the journals.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/access/restore_journal.h"
#include "runtime/platform/new_file.h"
#include "tools/common/report.h"

namespace marigold {

// A test may let a step fail: it is called with the step's name before each. Null otherwise.
extern int (*restore_step_hook)(const char* step);

class RestoreSwap {
 public:
  RestoreSwap() = default;
  RestoreSwap(const RestoreSwap&) = delete;
  RestoreSwap& operator=(const RestoreSwap&) = delete;
  // Removes the new files that were not put in place.
  ~RestoreSwap();

  // `staged` is the new file, in the same directory and on the disk; "": there shall be none.
  void add(const std::string& path, const std::string& staged);

  // False with the problems. Then everything is as before, unless they say that it could not be.
  bool run(Problems& problems);

 private:
  struct Replacement {
    std::string path;
    std::string staged;
    bool had_old = false;
    bool linked = false;  // under its second name
  };

  int check_names();
  int write_journals();
  int link_old();
  int bring_in();
  int commit();
  int forget_old();
  int undo();

  std::vector<Replacement> replacements_;
  std::vector<std::string> journals_;  // the one that counts first
  FileWriter counting_;                // open, so that others know of this run
  std::string failed_path_;
  bool done_ = false;
};

// Puts back what a killed run has left half done in this directory and those that belong to it, or
// removes what it has left when it was done. False with the problem: a run is at work, or files
// that would be put back are in use.
bool recover_restore(const std::string& directory, Problems& problems);

}  // namespace marigold
