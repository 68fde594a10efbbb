// SPDX-License-Identifier: GPL-3.0-or-later
// The directory of a backup in progress: under a temporary name beside its place, for this user
// only, and installed in one step when it is whole.
#pragma once

#include <string>

#include "runtime/platform/path.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/stop_signals.h"
#include "tools/backup/manifest.h"

namespace marigold::inner {

// During its life, signals that ask the process to end wait. The destructor removes the directory
// unless it was installed.
class BackupTree {
 public:
  // `path` is the final path of the backup.
  explicit BackupTree(const std::string& path);
  ~BackupTree();
  BackupTree(const BackupTree&) = delete;
  BackupTree& operator=(const BackupTree&) = delete;

  // Removes the leftovers of killed runs for the same path. Returns false and the reason if the
  // path is taken by anything but an empty directory.
  bool make(std::string& reason);
  bool make_class(int path_class, std::string& reason);
  // Returns the present path of the file with this name in the backup.
  [[nodiscard]] std::string path_of(const std::string& name) const {
    return path_join(temporary_, name);
  }

  // Makes a part of these bytes, with owner and permissions of the file at `like`.
  bool add_bytes(const std::string& name, const std::string& bytes, const std::string& like,
                 BackupPart& part, std::string& reason);
  // Gives the size and checksum of a file of the tree.
  bool describe(const std::string& name, BackupPart& part, std::string& reason) const;

  // Writes the manifest and makes all names durable.
  bool finish(const BackupManifest& manifest, std::string& reason);
  bool put_in_place(std::string& reason);

  // For long work: ends the process, and removes everything first, if a signal has asked the
  // process to stop.
  void end_if_stopped();

 private:
  void remove();

  StopSignalsHold hold_;
  std::string path_;
  std::string temporary_;
  RecordFile manifest_;  // locked while this run lives
  bool made_ = false;
};

}  // namespace marigold::inner
