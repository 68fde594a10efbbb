// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/restore_journal.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kAt = "at ";
constexpr std::string_view kOld = "old ";
constexpr std::string_view kNew = "new ";
constexpr std::string_view kEnd = "\nend\n";

bool has_file(const std::vector<std::string>& paths, const std::string& name) {
  return std::ranges::any_of(paths, [&name](const std::string& path) {
    const std::string_view other = path_name(path);
    return other == name || other == name + ".dat" || other == name + ".idx";
  });
}

}  // namespace

std::string restore_journal_text(const RestoreJournal& journal, const std::string& directory) {
  std::string text = journal.run + "\n" + journal.counting + "\n";
  for (const std::string& other : journal.directories)
    text.append(kAt).append(other).append("\n");
  for (const std::string& path : journal.old_files) {
    if (path_directory(path) == directory) text.append(kOld).append(path_name(path)).append("\n");
  }
  for (const std::string& path : journal.new_files) {
    if (path_directory(path) == directory) text.append(kNew).append(path_name(path)).append("\n");
  }
  return text + "end\n";
}

bool read_restore_journal(const std::string& path, RestoreJournal& journal) {
  std::string text;
  if (file_read(path.c_str(), text) != 0) return false;
  const std::size_t end = text.find(kEnd);
  if (end == std::string::npos) return false;
  // A last word that is not whole does not count: the old files, all still there, come back then.
  journal.done = std::string_view(text).substr(end + kEnd.size()) == kRestoreDone;
  std::istringstream lines(text.substr(0, end));
  std::getline(lines, journal.run);
  std::getline(lines, journal.counting);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(kAt)) {
      journal.directories.push_back(line.substr(kAt.size()));
      continue;
    }
    if (path_has_directory(line)) return false;
    if (line.starts_with(kOld))
      journal.old_files.push_back(path_beside(path, line.substr(kOld.size())));
    if (line.starts_with(kNew))
      journal.new_files.push_back(path_beside(path, line.substr(kNew.size())));
  }
  return true;
}

bool is_half_restored(const std::string& base) {
  if (is_cluster_address(base)) return false;
  const std::string path = path_beside(base, kRestoreJournal);
  if (!file_exists(path.c_str())) return false;
  RestoreJournal journal;
  RestoreJournal counting;
  if (!read_restore_journal(path, journal)) return false;
  const std::string name(path_name(base));
  const bool named = has_file(journal.old_files, name) || has_file(journal.new_files, name);
  return named && read_restore_journal(journal.counting, counting) && counting.run == journal.run &&
         !counting.done;
}

}  // namespace marigold::inner
