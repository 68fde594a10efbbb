// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/scratch_file.h"

#include "runtime/platform/new_file.h"
#include "runtime/platform/passing_files.h"
#include "runtime/platform/path.h"

namespace marigold::inner {

int ScratchFile::write(std::string_view bytes) {
  const std::string name = new_file_name(path_join(path_for_temporary_files(), "marigold"));
  FileWriter file;
  if (const int error = file.make(name.c_str(), NewFileAccess::kOwnerOnly)) return error;
  path_ = name;
  passing_file_note(path_.c_str());
  if (const int error = file.write(bytes)) return error;
  return file.close();
}

ScratchFile::~ScratchFile() {
  if (path_.empty()) return;
  file_remove(path_.c_str());
  passing_file_forget(path_.c_str());
}

}  // namespace marigold::inner
