// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/process.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace marigold::inner {
namespace {

namespace fs = std::filesystem;

// Returns the name of the file in a line about a lock: "fe:00:10955543".
std::string name_in_locks(const struct stat& file) {
  std::array<char, 64> name{};
  std::snprintf(name.data(), name.size(), " %02x:%02x:%llu ", major(file.st_dev),
                minor(file.st_dev), static_cast<unsigned long long>(file.st_ino));
  return name.data();
}

// Looks through the open files of a process; the system lists the locks of each.
void look_at_process(const fs::path& directory, const std::string& file, LockingProcess process,
                     std::vector<LockingProcess>& found) {
  std::error_code error;
  bool locks = false;
  for (fs::directory_iterator at(directory / "fdinfo", error), end; !error && at != end;
       at.increment(error)) {
    std::ifstream lines(at->path());
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("lock:") || line.find(file) == std::string::npos) continue;
      locks = true;
      process.exclusive = process.exclusive || line.find(" WRITE ") != std::string::npos;
    }
  }
  if (locks) found.push_back(process);
}

}  // namespace

long process_number() {
  return getpid();
}

std::vector<LockingProcess> processes_locking(const char* path) {
  std::vector<LockingProcess> found;
  struct stat status {};
  if (stat(path, &status) != 0) return found;
  const std::string file = name_in_locks(status);
  std::error_code error;
  for (fs::directory_iterator at("/proc", error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename().string();
    LockingProcess process;
    const auto [rest, failed] =
        std::from_chars(name.data(), name.data() + name.size(), process.number);
    const bool is_number = failed == std::errc() && rest == name.data() + name.size();
    if (is_number && process.number != process_number())
      look_at_process(at->path(), file, process, found);
  }
  std::ranges::sort(found, {}, &LockingProcess::number);
  return found;
}

bool is_file_in_use(const char* path) {
  return !processes_locking(path).empty();
}

std::string host_name() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "";
  const std::string whole = name.data();
  return whole.substr(0, whole.find('.'));
}

}  // namespace marigold::inner
