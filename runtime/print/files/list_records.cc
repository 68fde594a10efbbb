// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/list_records.h"

#include <cmath>
#include <limits>
#include <utility>

#include "runtime/data/access/data_file.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/field_access.h"
#include "runtime/data/access/lock_decision.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/named_file.h"

namespace marigold::inner {
namespace {

constexpr int kPrimaryKey = 1;

bool is_there(DataFile* file) {
  return file != nullptr && file_exists((data_path(*file) + ".dat").c_str());
}

// Applications may define these files themselves and choose the numbers' types. A value that cannot
// be a number of lines or bytes reads as 0.
int number(const DataFile& file, std::string_view name) {
  const FieldDefinition* field = file.definition.find_field(name);
  double value = 0;
  if (field != nullptr) field_get_number(*field, 1, file.record.data(), value);
  const bool is_count = std::abs(value) <= std::numeric_limits<std::int32_t>::max();
  return is_count ? static_cast<int>(value) : 0;
}

std::string text(const DataFile& file, std::string_view name) {
  const FieldDefinition* field = file.definition.find_field(name);
  std::string_view value;
  if (field == nullptr || field_get(*field, 1, file.record.data(), value) != kFieldDone) return {};
  return std::string(value.substr(0, value.find_last_not_of(' ') + 1));
}

// Returns false if no record can have this value.
bool put_key(DataFile& file, std::string_view name, std::string_view value) {
  const FieldDefinition* field = file.definition.find_field(name);
  return field != nullptr && field_put(*field, 1, file.record.data(), value) == kFieldDone;
}

bool read_record(DataFile& file) {
  return data_read(file, kPrimaryKey, false, LockWait::kTell) == kDataDone;
}

// Whether another process has the file open exclusively.
bool is_taken(const DataFile& file) {
  const int number = ISOPEN(data_path(file).c_str(), kIsInput | kIsReadOnly | kIsManualLock);
  if (number < 0) return iserrno == kIsFileLocked;
  ISCLOSE(number);
  return false;
}

// Opens a file for reading only, whatever its definition says, because many users who print may not
// write it. Waits first, since opening a read-only file that another process has locked ends the
// program.
void open_to_read(std::string_view name) {
  DataFile& file = data_file(name);
  while (lock_try_again(file, is_taken(file) ? kDataLocked : kDataDone, LockWait::kTellAndWait,
                        LockPhase::kOpening)) {
  }
  const bool read_only = std::exchange(file.read_only, true);
  data_open(file, LockWait::kTellAndWait);
  file.read_only = read_only;
}

}  // namespace

bool list_records_open(const ListFiles& files) {
  if (!is_there(data_file_find(files.lists)) || !is_there(data_file_find(files.blocks)))
    return false;
  open_to_read(files.lists);
  open_to_read(files.blocks);
  return true;
}

void list_records_close(const ListFiles& files) {
  data_close(data_file(files.lists));
  data_close(data_file(files.blocks));
}

bool list_record_read(const ListFiles& files, std::string_view list, ListProperties& properties) {
  DataFile& file = data_file(files.lists);
  data_clear_record(file);
  if (!put_key(file, "LISTE", list) || !read_record(file)) return false;
  properties = {.page_length = number(file, "PL"),
                .start_column = number(file, "ES"),
                .first_line = number(file, "EZ"),
                .last_line = number(file, "LZ"),
                .output = text(file, "NAME"),
                .abort_text = text(file, "ABRTXT")};
  return true;
}

bool block_record_read(const ListFiles& files, std::string_view list, std::string_view block,
                       BlockProperties& properties) {
  DataFile& file = data_file(files.blocks);
  data_clear_record(file);
  if (!put_key(file, "LISTE", list) || !put_key(file, "BLOCK", block) || !read_record(file))
    return false;
  properties = {.offset = number(file, "OFF"),
                .same_page = text(file, "SAME") == "J",
                .repeat = number(file, "REP"),
                .footer_lines = number(file, "ZEIL"),
                .length = number(file, "BLEN")};
  return true;
}

}  // namespace marigold::inner
