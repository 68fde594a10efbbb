// SPDX-License-Identifier: GPL-3.0-or-later
// A directory for this user alone, below the one for temporary files.
#pragma once

#include <string>

#include "runtime/platform/path.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::inner {

// While it lives, signals that ask the process to end wait. At its end it is removed with its files.
class ScratchDirectory {
 public:
  ScratchDirectory() = default;
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory() { remove(); }

  bool make(std::string& problem);
  [[nodiscard]] std::string path_of(const std::string& name) const {
    return path_join(path_, name);
  }
  [[nodiscard]] const std::string& path() const { return path_; }

  // Ends the process if a signal has asked for it.
  void end_if_stopped();

 private:
  void remove();

  StopSignalsHold hold_;
  std::string path_;
  bool made_ = false;
};

}  // namespace marigold::inner
