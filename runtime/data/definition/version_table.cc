// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/definition/version_table.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>

#include "runtime/core/settings.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"

namespace marigold::inner {
namespace {

constexpr std::int32_t kLastPathClass = 30;
constexpr double kNoVersion = -1;

// Reads the words of a table, and keeps its first error.
class TableReader {
 public:
  explicit TableReader(std::string_view text) : reader_(text) {}

  // Reads the first word of an entry. Returns false at the end of the table and after an error.
  bool begin_entry() { return took(reader_.read_word(token_), "END.") && !token_.is("END."); }
  [[nodiscard]] const Token& token() const { return token_; }

  bool version(double& version) {
    return value() && ((token_real(token_.text, version) && version >= 0) ||
                       fail(kScanSyntax, "a version, which is not negative"));
  }
  bool integer(std::int32_t least, std::int32_t most, std::string_view expected,
               std::int32_t& number) {
    return value() &&
           (token_integer(token_.text, least, most, number) || fail(kScanSyntax, expected));
  }
  bool skip() { return value(); }

  std::optional<ScanError> error;

 private:
  bool value() { return took(reader_.read_value(token_), "a number"); }
  bool took(int failed, std::string_view expected) { return failed == 0 || fail(failed, expected); }
  bool fail(int number, std::string_view expected) {
    error = {.number = number,
             .line = token_.line,
             .expected = std::string(expected),
             .found = std::string(token_.text)};
    return false;
  }

  TokenReader reader_;
  Token token_;
};

std::string table_path(std::string_view name) {
  return path_join(settings().definition_directory.view(), name);
}

template <typename Table>
int read_table(const std::string& path, Table (*scan)(std::string_view), Table& table) {
  table = Table{};
  std::string text;
  const int failed = file_read(path.c_str(), text);
  if (failed == 0) table = scan(text);
  return failed == ENOENT ? 0 : failed;
}

}  // namespace

FileVersionTable scan_file_versions(std::string_view text) {
  FileVersionTable table;
  TableReader reader(text);
  while (reader.begin_entry()) {
    FileVersionEntry entry;
    entry.file.assign_cut(dictionary_cut(reader.token().text));
    std::int32_t flag = 0;
    if (!reader.version(entry.old_version) || !reader.version(entry.new_version) ||
        !reader.integer(std::numeric_limits<std::int32_t>::min(),
                        std::numeric_limits<std::int32_t>::max(), "a flag, 0 or 1", flag))
      break;
    entry.flag = flag == 1;
    table.entries.push_back(entry);
  }
  table.error = std::move(reader.error);
  return table;
}

PathVersionTable scan_path_versions(std::string_view text) {
  PathVersionTable table;
  TableReader reader(text);
  while (reader.begin_entry()) {
    if (!reader.token().is("PATH")) {  // an entry of another kind has two values as well
      if (reader.skip() && reader.skip()) continue;
      break;
    }
    PathVersionEntry entry;
    if (!reader.integer(0, kLastPathClass, "a path class from 0 to 30", entry.path_class) ||
        !reader.version(entry.version))
      break;
    table.entries.push_back(entry);
  }
  table.error = std::move(reader.error);
  return table;
}

std::string file_version_table_path() {
  return table_path("FILEVER.DES");
}

std::string path_version_table_path() {
  return table_path("PATHVER.DES");
}

int read_file_versions(FileVersionTable& table) {
  return read_table(file_version_table_path(), scan_file_versions, table);
}

int read_path_versions(PathVersionTable& table) {
  return read_table(path_version_table_path(), scan_path_versions, table);
}

const FileVersionEntry* find_file_version(const FileVersionTable& table, std::string_view file_name,
                                          double old_version) {
  const auto entry = std::ranges::find_if(table.entries, [&](const FileVersionEntry& candidate) {
    return candidate.file.view() == dictionary_cut(file_name) &&
           candidate.old_version == old_version;
  });
  return entry == table.entries.end() ? nullptr : &*entry;
}

double find_path_version(const PathVersionTable& table, int path_class) {
  const auto entry = std::ranges::find(table.entries, path_class, &PathVersionEntry::path_class);
  return entry == table.entries.end() ? kNoVersion : entry->version;
}

std::optional<double> scan_version_record(std::string_view text) {
  TokenReader reader(text);
  Token token;
  double version = 0;
  const bool good = reader.read_value(token) == 0 && token_real(token.text, version);
  return good && version >= 0 ? std::optional(version) : std::nullopt;
}

}  // namespace marigold::inner
