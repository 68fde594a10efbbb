// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/version.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/definition/version_table.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner {
std::string version_text(double version) {
  constexpr int kMostDigits = 12;
  constexpr int kMostDecimals = 5;
  if (version == 0) return "0";
  const int digits =
      std::clamp(static_cast<int>(std::log10(std::fabs(version)) + 1), 1, kMostDigits);
  const int decimals = std::min(kMostDigits - digits, kMostDecimals);
  std::array<char, 400> bytes{};
  std::snprintf(bytes.data(), bytes.size(), "%*.*f", digits, decimals, version);
  std::string text = bytes.data();
  if (decimals == 0) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.') || text.ends_with(',')) text.pop_back();
  return text;
}

namespace {

// Returns false if there is no such record. A server that cannot be asked ends the process: a
// program must not take the records of a file for those of its definition unread.
bool read_record(const std::string& path, std::string& text) {
  if (!is_cluster_address(path)) return file_read(path.c_str(), text) == 0;
  if (istext_read(path, text) == 0) return true;
  if (iserrno != ENOENT) data_fatal(path.c_str(), iserrno);
  return false;
}

// Raises the system error for a record that could not be written.
[[noreturn]] void unwritten(const std::string& path, int failed, int number) {
  const std::string reason = engine_reason(failed);
  if (!reason.empty()) user_interface().warning((data_path_shown(path) + ": " + reason).c_str());
  raise_fatal(number);
}

}  // namespace

std::string version_file_record(const std::string& base) {
  return data_path_with(base, ".ver");
}

std::string version_path_record(int path_class) {
  return data_path_in(data_directory(path_class), "PATHCONV.ver");
}

std::string version_record_text(double version) {
  return version_text(version) + "\n";
}

std::optional<double> version_read_record(const std::string& path) {
  std::string text;
  if (!read_record(path, text)) return std::nullopt;
  return scan_version_record(text);
}

int version_write_record(const std::string& path, double version, const std::string& like) {
  const std::string text = version_record_text(version);
  if (is_cluster_address(path)) return istext_write(path, text) == 0 ? 0 : iserrno;
  return file_put(path.c_str(), text, like.empty() ? nullptr : like.c_str());
}

double version_read_file(const DataFile& file) {
  return version_read_record(version_file_record(data_path(file)))
      .value_or(-static_cast<double>(file.definition.version));
}

void version_write_file(const DataFile& file, double version) {
  const std::string record = version_file_record(data_path(file));
  if (const int failed = version_write_record(record, version))
    unwritten(record, failed, kErrorFileVersion);
}

double version_look_up_file(std::string_view file_name, double old_version, bool& flag) {
  FileVersionTable table;
  read_file_versions(table);
  const FileVersionEntry* entry = find_file_version(table, file_name, old_version);
  flag = entry != nullptr && entry->flag;
  return entry != nullptr ? entry->new_version : old_version;
}

double version_look_up_path(int path_class) {
  PathVersionTable table;
  read_path_versions(table);
  return find_path_version(table, path_class);
}

double version_read_path(int path_class) {
  return version_read_record(version_path_record(path_class)).value_or(0);
}

void version_write_path(int path_class, double version) {
  const std::string record = version_path_record(path_class);
  if (const int failed = version_write_record(record, version))
    unwritten(record, failed, kErrorPathVersion);
}

}  // namespace marigold::inner
