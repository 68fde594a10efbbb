// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/scratch_directory.h"

#include "runtime/core/new_files.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner {

bool ScratchDirectory::make(std::string& problem) {
  const int failed = file_make_private_directory(path_);
  if (failed != 0) problem = file_error(path_, failed);
  made_ = failed == 0;
  return made_;
}

void ScratchDirectory::end_if_stopped() {
  if (!stop_signals_pending()) return;
  remove();
  stop_signals_release();  // the signal takes effect here
  stop_signals_hold();
}

void ScratchDirectory::remove() {
  if (made_) file_remove_tree(path_.c_str());
  made_ = false;
}

}  // namespace marigold::inner
