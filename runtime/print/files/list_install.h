// SPDX-License-Identifier: GPL-3.0-or-later
// Replaces list files by new ones, all of them or none: at whatever moment a process is killed, the
// next reader finds every list wholly old or wholly new.
//
// The files of a directory (the keyed files with .dat, .idx and the version record .ver, and the
// block store) are built beside the old ones with ".new" in their names. When the new files are
// whole and durable, the commit file, "LISTEN.commit" or "ILISTEN.commit", makes them the valid
// ones: they are installed one by one, and the commit file is removed. Any process that finds a
// commit file completes these steps.
//
// "LISTEN.lock" stays: a process that installs holds a lock on it.
#pragma once

#include <string>
#include <vector>

#include "runtime/platform/record_file.h"
#include "runtime/print/files/list_files.h"
#include "runtime/print/files/stored_lists.h"

namespace marigold::inner {

// Called before each step that changes the disk, if set: 0 lets the step happen, a system error
// number replaces it. For tests in which a disk fails or a process is killed at each step; null in
// every other program.
extern int (*list_install_step_hook)(const char* step);

// Completes an installation that a killed process has left. Call it before list files are opened;
// it costs one look for a file when nothing is to be done. Returns false and the problem, "PATH:
// REASON", when the installation cannot be completed: the files then do not belong together. Waits
// a few seconds for a process that is installing.
bool list_files_recover(const std::string& directory, const ListFiles& files, std::string& problem);

// For callers that open the files one after the other: completes an installation that a killed
// process has left, and keeps other processes from installing for the life of the object, so that
// all files come from one installation.
class ListFilesHold {
 public:
  // Returns false and the problem, as list_files_recover does.
  bool begin(const std::string& directory, const ListFiles& files, std::string& problem);

 private:
  RecordFile lock_;
};

class ListInstallation {
 public:
  ListInstallation(std::string directory, const ListFiles& files);

  // Makes the directory if it is missing, keeps other installations out for the life of the object,
  // and completes or removes what a killed one has left. Returns false and the problem.
  bool begin(std::string& problem);

  // Replaces all lists of the directory by these. Returns false and the problem: nothing has
  // changed then, unless the problem says that the next run goes on.
  bool put_in_place(const std::vector<StoredList>& lists, std::string& problem);

 private:
  std::string directory_;
  const ListFiles& files_;
  RecordFile lock_;
};

}  // namespace marigold::inner
