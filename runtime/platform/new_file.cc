// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/new_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include "runtime/platform/library_path.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

std::string random_word() {
  std::string word;
  for (const unsigned char byte : random_bytes()) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", byte);
    word += digits.data();
  }
  return word;
}

constexpr std::size_t kWordLength = 16;

bool is_word(std::string_view text) {
  return text.size() == kWordLength &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

int FileWriter::close() {
  return handle_.close();
}

int file_make(const char* path, std::string_view bytes) {
  FileWriter file;
  if (const int failed = file.make(path)) return failed;
  int failed = file.write(bytes);
  if (failed == 0) failed = file.sync();
  const int not_closed = file.close();
  if (failed == 0) failed = not_closed;
  if (failed != 0) file_remove(path);
  return failed;
}

int file_put(const char* path, std::string_view bytes, const char* like) {
  const std::string fresh = new_file_name(path);
  FileWriter file;
  if (const int failed = file.make(fresh.c_str(), NewFileAccess::kOwnerOnly)) return failed;
  int failed = file.write(bytes);
  if (failed == 0) failed = file.take_access(like == nullptr ? path : like);
  if (failed == 0) failed = file.sync();
  const int not_closed = file.close();
  if (failed == 0) failed = not_closed;
  if (failed == 0) failed = file_replace(fresh.c_str(), path);
  if (failed != 0) file_remove(fresh.c_str());
  return failed;
}

int file_make_private_directory(std::string& path) {
  path = path_join(path_for_temporary_files(), "marigold." + random_word());
  return file_make_own_directory(path.c_str());
}

int file_make_directory(const char* path) {
  std::error_code failed;
  std::filesystem::create_directories(library_path(path), failed);
  return system_result(failed.value());
}

// ---- Temporary names

std::string new_file_name(std::string_view path) {
  const std::string name(path_name(path));
  return path_beside(path, "." + name + "." + random_word());
}

std::vector<std::string> new_files_abandoned(const std::string& path) {
  namespace fs = std::filesystem;
  const std::string directory = path_beside(path, "");
  const std::string head = std::string(".").append(path_name(path)).append(".");
  std::vector<std::string> found;
  std::vector<std::string> used;  // heads and words
  std::error_code error;
  for (fs::directory_iterator at(library_path(directory.empty() ? "." : directory), error), end;
       !error && at != end; at.increment(error)) {
    const std::string name = path_of_library(at->path().filename());
    if (!name.starts_with(head) || name.size() < head.size() + kWordLength) continue;
    if (!is_word(std::string_view(name).substr(head.size(), kWordLength))) continue;
    found.push_back(directory + name);
    if (is_in_use(found.back().c_str()))
      used.push_back(directory + name.substr(0, head.size() + kWordLength));
  }
  std::erase_if(found, [&used](const std::string& name) {
    return std::ranges::any_of(used, [&](const std::string& one) { return name.starts_with(one); });
  });
  std::ranges::sort(found);
  return found;
}

}  // namespace marigold::inner
