// SPDX-License-Identifier: GPL-3.0-or-later
// Files that are written under temporary names and put in place when they are whole, so that no
// program ever sees half of one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/platform/new_file.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::inner {

// While it lives, signals that ask the process to end wait. At its end the temporary files that
// were not put in place are removed.
class NewFiles {
 public:
  // The files will stand at `path` plus a suffix each. Until then they have names in the same
  // directory that no program can foresee. Removes the temporary files of killed runs.
  explicit NewFiles(const std::string& path);
  ~NewFiles();
  NewFiles(const NewFiles&) = delete;
  NewFiles& operator=(const NewFiles&) = delete;

  // Makes one more file, which only its owner may use until it is finished. Returns false with the
  // reason.
  bool make(std::string_view suffix, FileWriter& file, std::string& reason);
  // Gives the file the owner and permissions of the one that it will replace, syncs and closes it.
  // Returns false with the reason.
  bool finish(std::string_view suffix, FileWriter& file, std::string& reason) const;
  // One more file that the caller makes (exclusively, at temporary_path() and the suffix) and
  // finishes.
  void add(std::string_view suffix);
  [[nodiscard]] const std::string& temporary_path() const { return temporary_; }

  // Makes the missing directories of the path.
  bool make_directories(std::string& reason) const;

  // Puts the files in place, in the order in which they were added, each in one step. Returns false
  // with the reason if one cannot be put in place or a signal has asked to stop; the files before
  // it are in place then.
  bool put_in_place(std::string& reason);

 private:
  bool replace(const std::string& suffix, std::string& reason) const;

  StopSignalsHold hold_;
  std::string path_;
  std::string temporary_;
  std::vector<std::string> suffixes_;
};

// Returns the temporary files of killed runs beside a data file: those of the whole file and those
// of its parts.
std::vector<std::string> abandoned_of(const std::string& base);

// Returns "PATH: " and the text of a system error number.
std::string file_error(const std::string& path, int error);

}  // namespace marigold::inner
