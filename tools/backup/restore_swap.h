// SPDX-License-Identifier: GPL-3.0-or-later
// Installs new files, those of a backup or copies, in place of the existing ones: all of them, or
// none.
//
// Before the first file is replaced, each old file gets a second name, PATH.unrestored, and keeps
// it until all are replaced. A journal in each of their directories, RESTORE.journal, names the
// files of the run. The journal in the first file's directory decides: until it says that the
// restore is done, a run that finds it puts the old files back; afterwards the second names are to
// be removed. docs/formats/backup.md describes the journals.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/access/restore_journal.h"
#include "runtime/platform/new_file.h"
#include "tools/common/report.h"

namespace marigold::inner {

// Called with a step's name before each step; null except in tests that make a step fail.
extern int (*restore_step_hook)(const char* step);

class RestoreSwap {
 public:
  // `work`, "restore" or "copy", is what the user is to run again after a failure.
  explicit RestoreSwap(const char* work) : work_(work) {}
  RestoreSwap(const RestoreSwap&) = delete;
  RestoreSwap& operator=(const RestoreSwap&) = delete;
  // Removes the new files that were not installed.
  ~RestoreSwap();

  // `staged` is the new file, in the same directory and durable; "": the path shall have no file.
  void add(const std::string& path, const std::string& staged);

  // Returns false and the problems on a failure. Then all files are as before, unless the problems
  // say otherwise.
  bool run(Problems& problems);

 private:
  struct Replacement {
    std::string path;
    std::string staged;
    bool had_old = false;
    bool linked = false;  // has its second name
  };

  int check_names();
  int write_journals();
  int link_old();
  int bring_in();
  int commit();
  int forget_old();
  int undo();

  const char* work_;
  std::vector<Replacement> replacements_;
  std::vector<std::string> journals_;  // the decisive one first
  FileWriter counting_;                // open, so that others notice this run
  std::string failed_path_;
  bool done_ = false;
};

// Puts back the files that a killed run has replaced in this directory and those of the same run,
// or, if the run was done, removes its leftovers. Returns false and the problem: another run is
// working, or files that would be put back are in use.
bool recover_restore(const std::string& directory, Problems& problems);

}  // namespace marigold::inner
