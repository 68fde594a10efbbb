// SPDX-License-Identifier: GPL-3.0-or-later
// A backup's directory while it is being filled: under a temporary name beside its place, for this
// user alone, and put in place in one step when it is whole.
#pragma once

#include <string>

#include "runtime/platform/record_file.h"
#include "runtime/platform/stop_signals.h"
#include "tools/backup/manifest.h"

namespace marigold {

// While it lives, signals that ask the process to end wait. At its end what was not put in place is
// removed.
class BackupTree {
 public:
  // `path` is where the backup will stand.
  explicit BackupTree(const std::string& path);
  ~BackupTree();
  BackupTree(const BackupTree&) = delete;
  BackupTree& operator=(const BackupTree&) = delete;

  // Removes what runs for the same place have left that were killed. False with the reason: the
  // place is taken by something other than an empty directory.
  bool make(std::string& reason);
  bool make_class(int path_class, std::string& reason);
  // Where the file of this name in the backup is for now.
  [[nodiscard]] std::string path_of(const std::string& name) const {
    return temporary_ + "/" + name;
  }

  // Makes a part of these bytes, with the access of the file at `like`.
  bool add_bytes(const std::string& name, const std::string& bytes, const std::string& like,
                 BackupPart& part, std::string& reason);
  // Tells of a file that is there: its size and checksum.
  bool describe(const std::string& name, BackupPart& part, std::string& reason) const;

  // Writes the manifest, and brings all names to the disk.
  bool finish(const BackupManifest& manifest, std::string& reason);
  bool put_in_place(std::string& reason);

  // For work that cannot be given up halfway: ends the process when it was asked to stop, with
  // everything removed.
  void end_if_stopped();

 private:
  StopSignalsHold hold_;
  std::string path_;
  std::string temporary_;
  RecordFile manifest_;  // locked: this run is alive
  bool made_ = false;
};

}  // namespace marigold
