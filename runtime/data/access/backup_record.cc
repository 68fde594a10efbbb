// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/backup_record.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "runtime/data/access/data_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kTimeShape = "dddd-dd-ddTdd:dd:ddZ";

bool is_time(std::string_view text) {
  if (text.size() != kTimeShape.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kTimeShape[i] == 'd' ? !digit : text[i] != kTimeShape[i]) return false;
  }
  return true;
}

}  // namespace

std::string backup_time(std::chrono::sys_seconds moment) {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(moment - day);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text.data();
}

std::string backup_record_path(const DataFile& file) {
  return data_path(file) + ".backup";
}

std::optional<BackupRecord> backup_record_read(const DataFile& file) {
  if (data_in_cluster(file)) return {};
  constexpr std::size_t kLongest = 8192;  // bytes: a path and the time
  std::string text;
  if (file_read(backup_record_path(file).c_str(), text, kLongest) != 0) return {};
  text.resize(std::min(text.size(), text.find('\n')));
  const std::string time = text.substr(0, kTimeShape.size());
  const std::string rest = text.substr(time.size());
  if (!is_time(time) || (!rest.empty() && rest.front() != ' ')) return {};
  return BackupRecord{.time = time, .place = rest.empty() ? "" : rest.substr(1)};
}

int backup_record_write(const DataFile& file, const BackupRecord& record) {
  if (data_in_cluster(file)) return ENOTSUP;
  const std::string line = record.time + " " + record.place.substr(0, record.place.find('\n'));
  const std::string like =
      data_path(file) + (file.definition.type == FileType::kIsam ? ".dat" : "");
  return file_put(backup_record_path(file).c_str(), line + "\n", like.c_str());
}

}  // namespace marigold::inner
