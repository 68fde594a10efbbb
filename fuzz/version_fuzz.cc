// SPDX-License-Identifier: GPL-3.0-or-later
// Version tables and version records of any bytes.
//
// Promised: entries have versions and classes in their ranges; at most one error, with a token's
// number and within the text; text after the end of a whole table changes nothing; a version that
// was read is written as a text that reads as the same version.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "runtime/data/access/version.h"
#include "runtime/data/definition/version_table.h"

namespace marigold::inner::fuzz {
namespace {

constexpr int kErrors[] = {7, 10, 60};

void check_version(double version) {
  require(std::isfinite(version) && version >= 0);
  if (version > 1e200) return;  // more digits than a value may have
  const std::string text = version_text(version);
  const std::optional<double> again = scan_version_record(text + "\n");
  require(again.has_value() && version_text(*again) == text);
}

void check(const FileVersionEntry& entry) {
  check_version(entry.old_version);
  check_version(entry.new_version);
}

void check(const PathVersionEntry& entry) {
  require(entry.path_class >= 0 && entry.path_class <= 30);
  check_version(entry.version);
}

template <typename Entry>
void check_table(std::string_view text, VersionTable<Entry> (*scan)(std::string_view)) {
  const VersionTable<Entry> table = scan(text);
  for (const Entry& entry : table.entries)
    check(entry);
  if (table.error) {
    require(std::ranges::count(kErrors, table.error->number) == 1);
    require(table.error->line >= 1 && table.error->line <= std::ranges::count(text, '\n') + 1);
    return;
  }
  const VersionTable<Entry> longer = scan(std::string(text) + " PATH 1 1 1");
  require(!longer.error && longer.entries.size() == table.entries.size());
}

void check_look_up(const FileVersionTable& table) {
  for (const FileVersionEntry& entry : table.entries) {
    const FileVersionEntry* found = find_file_version(table, entry.file.view(), entry.old_version);
    require(found != nullptr && found <= &entry && found->old_version == entry.old_version);
  }
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace marigold::inner;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  fuzz::check_table(text, scan_file_versions);
  fuzz::check_table(text, scan_path_versions);
  fuzz::check_look_up(scan_file_versions(text));
  if (const std::optional<double> version = scan_version_record(text))
    fuzz::check_version(*version);
  return 0;
}
