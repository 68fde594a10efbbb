#include "tools/last_backup.h"

#include <array>
#include <chrono>
#include <cstdio>

#include "runtime/platform/file.h"
#include "runtime/platform/new_file.h"

namespace marigold {
namespace {

constexpr const char* kSuffix = ".backup";
constexpr std::size_t kMomentLength = 20;

}  // namespace

int write_last_backup(const std::string& base, FileType type, const LastBackup& backup) {
  const std::string like = type == FileType::kIsam ? base + ".dat" : base;
  const std::string line = backup.moment + " " + backup.target + "\n";
  return file_put((base + kSuffix).c_str(), line, like.c_str());
}

std::optional<LastBackup> read_last_backup(const std::string& base) {
  constexpr std::size_t kLongest = 65536;
  std::string text;
  if (file_read((base + kSuffix).c_str(), text, kLongest) != 0) return std::nullopt;
  const std::string line = text.substr(0, text.find('\n'));
  if (line.size() <= kMomentLength || line[kMomentLength] != ' ' || line[kMomentLength - 1] != 'Z')
    return std::nullopt;
  return LastBackup{line.substr(0, kMomentLength), line.substr(kMomentLength + 1)};
}

std::string moment_now() {
  using std::chrono::floor;
  const auto now = floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const auto day = floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text.data();
}

}  // namespace marigold
