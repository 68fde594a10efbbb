// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <optional>
#include <span>

#include "runtime/core/new_files.h"
#include "runtime/data/access/backup_record.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/version.h"
#include "runtime/platform/named_file.h"
#include "tools/common/json_text.h"
#include "tools/data/commands.h"
#include "tools/records/lock_holders.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

// Facts about the file of a definition.
struct Found {
  bool exists = false;
  bool in_use = false;       // by a process that has it open exclusively
  bool unreachable = false;  // in a cluster
  std::string problem;       // the reason why nothing is known, or a misfit
  std::int64_t records = -1;
  std::int64_t deleted = 0;
  std::uint64_t deleted_bytes = 0;
  std::uint64_t data_bytes = 0;
  std::uint64_t index_bytes = 0;
  double fill = 0;  // of the pages of its trees, 0 to 1
  std::vector<int> depths;
  std::optional<double> version;  // written
  std::string version_unread;     // the reason why that is not known
  std::optional<BackupRecord> backup;
  std::vector<LockHolder> holders;
  std::string holders_unread;  // the reason why they are not known

  [[nodiscard]] bool is_all_known() const {
    return problem.empty() && version_unread.empty() && holders_unread.empty();
  }
};

bool is_keyed(const FileDefinition& file) {
  return file.type == FileType::kIsam;
}

std::string fields_of_key(const FileDefinition& file, int key) {
  std::string names;
  for (const Column& column : key_columns(file, file.keys.keys[static_cast<std::size_t>(key - 1)]))
    names += (names.empty() ? "" : ", ") + std::string(column.field->name.view());
  return names;
}

void note(Found& found, int failed) {
  found.exists = failed != ENOENT;
  found.in_use = failed == kIsFileLocked;
  found.unreachable = failed == kIsServer;
  if (failed != ENOENT && failed != kIsFileLocked) found.problem = data_error(failed);
}

// A keyed file, or a random file of a cluster, where deleted records keep their numbers.
void look_at_keyed(const DataTarget& target, Found& found) {
  OpenKeyedFile file;
  IsamInfo info;
  int failed = file.open(target.table(), kIsInput | kIsReadOnly | kIsManualLock);
  if (failed == 0) failed = file.info(info);
  if (failed == 0) failed = count_records(file.number(), info.record_length, found.records);
  if (failed == 0 && isfill(file.number(), found.fill) != 0) failed = iserrno;
  const bool half =
      failed == ENOENT && !target.in_cluster() &&
      (file_exists((target.base + ".dat").c_str()) || file_exists((target.base + ".idx").c_str()));
  if (failed != 0) note(found, failed);
  if (half) {
    found.exists = true;
    found.problem = half_pair_text(target);
  }
  if (failed != 0) {
    found.records = -1;
    return;
  }
  found.exists = true;
  found.deleted = target.is_keyed() ? info.deleted_count : info.record_count - found.records;
  found.deleted_bytes = info.deleted_bytes;
  found.depths.assign(info.depths.begin(), info.depths.begin() + info.key_count);
  found.data_bytes = info.data_bytes;
  found.index_bytes = info.index_bytes;
  fits_definition(target, file.number(), found.problem);
}

void look_at_numbered(DataTarget& target, Found& found) {
  const auto length = static_cast<std::uint64_t>(target.definition->record_length);
  OpenNumberedFile file;
  int failed = file.open(target, false);
  if (failed == 0) failed = file.bytes().size(found.data_bytes);
  if (failed != 0) return note(found, failed);
  found.exists = true;
  found.records = 0;
  // The file is open: a look at each record is the only way to count the records.
  std::vector<char> record(length);
  const auto places = static_cast<std::int64_t>(found.data_bytes / length);
  for (std::int64_t number = 1; number <= places; ++number) {
    std::size_t count = 0;
    const std::uint64_t place = static_cast<std::uint64_t>(number - 1) * length;
    if (const int error = file.bytes().read(place, record, count)) return note(found, error);
    if (record.back() == kLiveMarker && isld_int4(record.data()) == number) ++found.records;
  }
  found.deleted = places - found.records;
  found.deleted_bytes = static_cast<std::uint64_t>(found.deleted) * length;
}

Found look_at(DataTarget& target) {
  Found found;
  if (target.is_keyed() || target.in_cluster()) {
    look_at_keyed(target, found);
  } else {
    look_at_numbered(target, found);
  }
  if (found.unreachable) return found;
  read_version(version_file_record(target.base), found.version, found.version_unread);
  found.backup = backup_record_read(target.handle());
  if (const int failed = lock_file_holders(target.definition->path_class, found.holders))
    found.holders_unread = data_error(failed);
  return found;
}

// ---- Text output

std::string line(std::string_view name, const std::string& value) {
  constexpr std::size_t kNames = 10;
  std::string text(name);
  text.resize(kNames, ' ');
  return text + value + "\n";
}

std::string field_text(const FieldDefinition& field) {
  std::string text(field.name.view());
  text.resize(kDefinitionNameLength + 2, ' ');
  text += field_type_keyword(field.type);
  if (field.type == FieldType::kString) text += " " + std::to_string(field.size);
  if (field.times > 1) text += " TIMES " + std::to_string(field.times);
  constexpr std::size_t kPlaces = 32;
  text.resize(std::max(text.size() + 1, kPlaces), ' ');
  return text + "at " + std::to_string(field.offset);
}

std::string definition_text(const DataTarget& target) {
  const FileDefinition& file = *target.definition;
  std::string text =
      line("file", std::string(file.name.view()) + ", defined in " + target.set_path);
  const bool is_pair = target.is_keyed() && !target.in_cluster();
  text += line("path", target.base + (is_pair ? ".dat, .idx" : ""));
  text += line("record", std::to_string(file.record_length) + " bytes, " +
                             std::to_string(file.used_length) + " of them in fields");
  std::string name = "fields";
  for (const FieldDefinition& field : file.fields) {
    text += line(name, field_text(field));
    name.clear();
  }
  name = "keys";
  for (int key = 1; key <= file.keys.key_count; ++key) {
    text += line(name, std::to_string(key) + "  " + fields_of_key(file, key));
    name.clear();
  }
  return text;
}

std::string pages_text(const Found& found) {
  std::string depths;
  for (const int depth : found.depths)
    depths += (depths.empty() ? "" : ", ") + std::to_string(depth);
  constexpr double kPercent = 100;
  return std::to_string(std::lround(found.fill * kPercent)) +
         " % full on average; levels of the keys' trees: " + depths;
}

// The server has its own ways to keep its pages and the space of deleted records.
std::string state_text(const DataTarget& target, const Found& found) {
  if (!found.exists) return line("records", "the file does not exist");
  if (found.in_use) return line("records", "another process has the file open exclusively");
  if (found.records < 0) return line("records", "not known: " + found.problem);
  std::string text = line("records", std::to_string(found.records));
  const bool in_cluster = target.in_cluster();
  const std::string deleted_bytes = ", " + std::to_string(found.deleted_bytes) + " bytes";
  if (!in_cluster || !target.is_keyed())
    text += line("deleted", std::to_string(found.deleted) +
                                (found.deleted > 0 && !in_cluster ? deleted_bytes : ""));
  const bool has_indexes = in_cluster || target.is_keyed();
  text += line(
      "size", std::to_string(found.data_bytes) + " bytes" +
                  (has_indexes ? " and " + std::to_string(found.index_bytes) + " of indexes" : ""));
  if (!in_cluster && target.is_keyed()) text += line("pages", pages_text(found));
  if (!found.problem.empty()) text += line("misfit", found.problem);
  return text;
}

std::string backup_text(const Found& found) {
  if (!found.backup) return "never";
  const std::string& place = found.backup->place;
  return found.backup->time + (place.empty() ? "" : " in " + place);
}

std::string written_text(const Found& found) {
  if (!found.version_unread.empty()) return "written not known: " + found.version_unread;
  return (found.version ? version_text(*found.version) : "none") + " written";
}

std::string as_text(const DataTarget& target, const Found& found) {
  const FileDefinition& file = *target.definition;
  std::string text = definition_text(target) + state_text(target, found);
  text += line("version", std::to_string(file.version) + " defined, " + written_text(found));
  if (found.exists && !target.in_cluster()) text += line("backup", backup_text(found));
  std::string name = "class " + std::to_string(file.path_class);
  for (const LockHolder& holder : found.holders) {
    text += line(name, describe_holder(holder));
    name.clear();
  }
  if (!found.holders_unread.empty())
    text += line(name, "not known: " + found.holders_unread);
  else if (found.holders.empty())
    text += line(name, "not locked");
  return text;
}

// ---- JSON output

Json fields_as_json(const FileDefinition& file) {
  Json fields = Json::array();
  for (const FieldDefinition& field : file.fields)
    fields.push_back(Json::object({{"name", field.name.view()},
                                   {"type", field_type_keyword(field.type)},
                                   {"size", field.size},
                                   {"times", field.times},
                                   {"offset", field.offset}}));
  return fields;
}

Json keys_as_json(const FileDefinition& file) {
  Json keys = Json::array();
  for (const KeyDefinition& key :
       std::span(file.keys.keys).first(static_cast<std::size_t>(file.keys.key_count))) {
    Json names = Json::array();
    for (const Column& column : key_columns(file, key))
      names.push_back(column.field->name.view());
    keys.push_back(names);
  }
  return keys;
}

std::string as_json(const DataTarget& target, const Found& found) {
  const FileDefinition& file = *target.definition;
  Json object = Json::object({{"file", file.name.view()},
                              {"type", is_keyed(file) ? "ISAM" : "RANDOM"},
                              {"set", target.set_path},
                              {"path", target.base},
                              {"record_length", file.record_length},
                              {"used_length", file.used_length},
                              {"fields", fields_as_json(file)},
                              {"keys", keys_as_json(file)},
                              {"exists", found.exists},
                              {"in_use", found.in_use}});
  if (found.records >= 0) {
    object.set("records", found.records);
    const bool in_cluster = target.in_cluster();
    if (!in_cluster || !target.is_keyed()) object.set("deleted", found.deleted);
    if (!in_cluster) object.set("deleted_bytes", found.deleted_bytes);
    object.set("data_bytes", found.data_bytes);
    if (in_cluster || target.is_keyed()) object.set("index_bytes", found.index_bytes);
    if (!in_cluster && target.is_keyed()) {
      constexpr double kDigits = 1000;
      object.set("fill", std::round(found.fill * kDigits) / kDigits);
      object.set("depths", found.depths);
    }
  }
  if (!found.problem.empty()) object.set("problem", found.problem);
  object.set("version", file.version);
  object.set("version_written", found.version ? Json(*found.version) : Json());
  if (!found.version_unread.empty()) object.set("version_problem", found.version_unread);
  object.set("last_backup", found.backup ? Json(found.backup->time) : Json());
  if (found.backup) object.set("backup_place", found.backup->place);
  object.set("class", file.path_class);
  Json holders = Json::array();
  for (const LockHolder& holder : found.holders)
    holders.push_back(holder_as_json(holder));
  object.set("holders", found.holders_unread.empty() ? holders : Json());
  if (!found.holders_unread.empty()) object.set("holders_problem", found.holders_unread);
  return object.line();
}

}  // namespace

int data_info(const DataInfo& options) {
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  const Found found = look_at(target);
  if (found.unreachable) return report_unusable({target.base + ": " + found.problem});
  const int status = found.is_all_known() ? kExitClean : kExitFindings;
  return write_output(options.json ? as_json(target, found) : as_text(target, found), status);
}

}  // namespace marigold::inner
