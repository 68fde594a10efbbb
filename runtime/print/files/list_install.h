// SPDX-License-Identifier: GPL-3.0-or-later
// Puts new list files in the place of the old ones, all of them or none: whatever is killed, the
// next reader finds every list wholly old or wholly new.
//
// The files of a directory (the keyed files with .dat, .idx and the version record .ver, and the
// block store) are built beside the old ones with ".new" in their names. When they are whole and on
// the disk, one more file, "LISTEN.commit" or "ILISTEN.commit", says so. From then on the new files
// count: they are put in place one by one, and the commit file is removed. Whoever comes upon it
// does the rest of that.
//
// "LISTEN.lock" stays: who installs holds a lock on its first byte.
#pragma once

#include <string>
#include <vector>

#include "runtime/platform/record_file.h"
#include "runtime/print/files/list_files.h"
#include "runtime/print/files/stored_lists.h"

namespace marigold {

// Asked before each step that changes what is on the disk, when set: 0 lets it happen, a system
// error number takes its place. For tests that let a disk fail or kill the process at each step;
// null in every other program.
extern int (*list_install_step_hook)(const char* step);

// To be called before list files are opened: finishes what a killed installation has left. One look
// for a file when there is nothing to do. False with the problem, "PATH: REASON", when it cannot be
// finished: then the files do not belong together. Waits a few seconds for a process that is at it.
bool list_files_recover(const std::string& directory, const ListFiles& files, std::string& problem);

// For those who open the files one after the other: finishes what a killed installation has left,
// and keeps others from beginning or going on for the life of the object, so that all files come
// from one.
class ListFilesHold {
 public:
  // False with the problem, as above.
  bool begin(const std::string& directory, const ListFiles& files, std::string& problem);

 private:
  RecordFile lock_;
};

class ListInstallation {
 public:
  ListInstallation(std::string directory, const ListFiles& files);

  // Makes the directory if it is missing, keeps other installations out for the life of the object,
  // and finishes or removes what a killed one has left. False with the problem.
  bool begin(std::string& problem);

  // Replaces all lists of the directory by these. False with the problem: nothing has changed then,
  // unless it says that the next run goes on.
  bool put_in_place(const std::vector<StoredList>& lists, std::string& problem);

 private:
  std::string directory_;
  const ListFiles& files_;
  RecordFile lock_;
};

}  // namespace marigold
