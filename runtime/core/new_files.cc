// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/new_files.h"

#include <cerrno>

#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

bool fail(const std::string& path, int error, std::string& reason) {
  reason = file_error(path, error);
  return false;
}

}  // namespace

std::string file_error(const std::string& path, int error) {
  return path + ": " + system_error_text(error);
}

std::vector<std::string> abandoned_of(const std::string& base) {
  std::vector<std::string> found;
  for (const char* suffix : {"", ".dat", ".idx", ".ver"}) {
    for (std::string& left : new_files_abandoned(base + suffix))
      found.push_back(std::move(left));
  }
  return found;
}

NewFiles::NewFiles(const std::string& path) : path_(path), temporary_(new_file_name(path)) {
  for (const std::string& left : abandoned_of(path))
    static_cast<void>(file_remove(left.c_str()));  // in nobody's way, should it stay
}

NewFiles::~NewFiles() {
  for (const std::string& suffix : suffixes_)
    file_remove((temporary_ + suffix).c_str());
}

void NewFiles::add(std::string_view suffix) {
  suffixes_.emplace_back(suffix);
}

bool NewFiles::make(std::string_view suffix, FileWriter& file, std::string& reason) {
  const std::string path = temporary_ + std::string(suffix);
  if (const int error = file.make(path.c_str(), NewFileAccess::kOwnerOnly))
    return fail(path_ + std::string(suffix), error, reason);
  add(suffix);
  return true;
}

bool NewFiles::finish(std::string_view suffix, FileWriter& file, std::string& reason) const {
  const std::string path = path_ + std::string(suffix);
  int error = file.take_access(path.c_str());
  if (error == 0) error = file.sync();
  if (error == 0) error = file.close();
  return error == 0 || fail(path, error, reason);
}

bool NewFiles::make_directories(std::string& reason) const {
  const std::string directory(path_directory(path_));
  const int error = directory.empty() ? 0 : file_make_directory(directory.c_str());
  return error == 0 || fail(directory, error, reason);
}

bool NewFiles::put_in_place(std::string& reason) {
  if (stop_signals_pending()) return fail(path_, EINTR, reason);
  while (!suffixes_.empty()) {
    if (!replace(suffixes_.front(), reason)) return false;
    suffixes_.erase(suffixes_.begin());
  }
  return true;
}

bool NewFiles::replace(const std::string& suffix, std::string& reason) const {
  const std::string target = path_ + suffix;
  const int error = file_replace((temporary_ + suffix).c_str(), target.c_str());
  return error == 0 || fail(target, error, reason);
}

}  // namespace marigold::inner
