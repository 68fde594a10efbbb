#include "tools/new_files.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>

#include "runtime/platform/file.h"
#include "runtime/platform/stop_signals.h"

namespace marigold {
namespace {

namespace fs = std::filesystem;

std::string random_word() {
  std::random_device source;
  std::array<char, 24> word{};
  std::snprintf(word.data(), word.size(), "%08x%08x", source(), source());
  return word.data();
}

void keep_permissions(const std::string& old_file, const std::string& new_file) {
  std::error_code error;
  const fs::file_status old_status = fs::status(old_file, error);
  if (fs::is_regular_file(old_status)) {
    fs::permissions(new_file, old_status.permissions(), error);  // as far as the system lets us
  }
}

}  // namespace

std::string file_error(const std::string& path, int error) {
  return path + ": " + std::generic_category().message(error);
}

NewFiles::NewFiles(const std::string& path) : path_(path) {
  const fs::path whole(path);
  std::string name = ".";
  name.append(whole.filename().string()).append(".").append(random_word());
  temporary_ = (whole.parent_path() / name).string();
  stop_signals_hold();
}

NewFiles::~NewFiles() {
  for (const std::string& suffix : suffixes_)
    file_remove((temporary_ + suffix).c_str());
  stop_signals_release();
}

void NewFiles::add(std::string_view suffix) {
  suffixes_.emplace_back(suffix);
}

bool NewFiles::make_directories(std::string& reason) const {
  const fs::path directory = fs::path(path_).parent_path();
  std::error_code error;
  if (!directory.empty()) fs::create_directories(directory, error);
  if (error) reason = directory.string() + ": " + error.message();
  return !error;
}

bool NewFiles::put_in_place(std::string& reason) {
  for (const std::string& suffix : suffixes_) {
    const std::string written = temporary_ + suffix;
    keep_permissions(path_ + suffix, written);
    const int error = file_sync(written.c_str());
    if (error != 0) reason = file_error(path_ + suffix, error);
    if (error != 0) return false;
  }
  if (stop_signals_pending()) {
    reason = file_error(path_, EINTR);
    return false;
  }
  while (!suffixes_.empty()) {
    if (!replace(suffixes_.front(), reason)) return false;
    suffixes_.erase(suffixes_.begin());
  }
  return true;
}

bool NewFiles::replace(const std::string& suffix, std::string& reason) const {
  const std::string target = path_ + suffix;
  const int error = file_replace((temporary_ + suffix).c_str(), target.c_str());
  if (error != 0) reason = file_error(target, error);
  return error == 0;
}

bool write_file(const std::string& path, std::string_view bytes, std::string& reason) {
  std::error_code unknown;
  const fs::file_status status = fs::status(path, unknown);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    const int error = file_write(path.c_str(), bytes);
    if (error != 0) reason = file_error(path, error);
    return error == 0;
  }
  NewFiles files(path);
  files.add("");
  const int error = file_write(files.temporary_path().c_str(), bytes);
  if (error != 0) reason = file_error(path, error);
  return error == 0 && files.put_in_place(reason);
}

}  // namespace marigold
