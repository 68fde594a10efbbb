// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/data_file.h"

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "runtime/core/settings.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/change_turns.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/field_access.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_file.h"
#include "runtime/data/access/restore_journal.h"
#include "runtime/data/access/version.h"

namespace marigold {

using namespace inner;

namespace {

using ByKey = int (*)(DataFile& file, int key);

// Operations of a kind of file.
struct Operations {
  int (*open)(DataFile& file, const std::string& path, bool& created, bool exclusive);
  void (*close)(DataFile& file);
  bool (*is_empty)(const DataFile& file);
  int (*write)(DataFile& file);
  int (*remove)(DataFile& file);
  void (*release)(DataFile& file);
  int (*read)(DataFile& file, int key, bool lock);
  ByKey exists;
  ByKey read_from;
  ByKey read_first;
  ByKey read_last;
  ByKey read_next;
  ByKey read_previous;
};

constexpr Operations kKeyed{.open = is_open,
                            .close = is_close,
                            .is_empty = is_empty,
                            .write = is_write,
                            .remove = is_del,
                            .release = is_release,
                            .read = is_read,
                            .exists = is_exists,
                            .read_from = is_readgen,
                            .read_first = is_readfirst,
                            .read_last = is_readlast,
                            .read_next = is_readnext,
                            .read_previous = is_readprev};

template <int (*Operation)(DataFile&)>
int without_key(DataFile& file, int /*key*/) {
  return Operation(file);
}

int read_numbered(DataFile& file, int /*key*/, bool lock) {
  return random_read(file, lock);
}

int open_numbered(DataFile& file, const std::string& path, bool& created, bool exclusive) {
  return random_open(file, path, created, exclusive);
}

constexpr Operations kNumbered{.open = open_numbered,
                               .close = random_close,
                               .is_empty = random_is_empty,
                               .write = random_write,
                               .remove = random_delete,
                               .release = random_release,
                               .read = read_numbered,
                               .exists = without_key<random_exists>,
                               .read_from = without_key<random_read_from>,
                               .read_first = without_key<random_read_first>,
                               .read_last = without_key<random_read_last>,
                               .read_next = without_key<random_read_next>,
                               .read_previous = without_key<random_read_previous>};

[[noreturn]] void refuse(const DataFile& file, const std::string& reason, int number) {
  user_interface().warning((std::string(file.definition.name.view()) + ": " + reason).c_str());
  raise_fatal(number);
}

const Operations& operations_of(const DataFile& file) {
  switch (file.definition.type) {
    case FileType::kIsam:
      return kKeyed;
    case FileType::kRandom:
      return kNumbered;
    case FileType::kChained:
      refuse(file, "chained files cannot be opened", kErrorFileType);
  }
  user_interface().warning("Unknown FileType");
  raise_fatal(kErrorUnknownType);
}

void allocate_record(DataFile& file) {
  if (file.definition.record_length <= 0) raise_fatal(kErrorNoRecord);
  try {
    file.record.assign(static_cast<std::size_t>(file.definition.record_length), '\0');
  } catch (const std::bad_alloc&) {
    raise_fatal(kErrorNoMemory);
  }
}

void free_record(DataFile& file) {
  file.record = std::vector<char>();
}

// The record's last byte holds the deletion marker. Without a byte after the fields the marker
// would overwrite a field.
void check_marker_has_room(const DataFile& file) {
  if (file.definition.record_length > file.definition.used_length) return;
  refuse(file,
         "LEN must be at least " + std::to_string(file.definition.used_length + 1) +
             ": the fields and a byte for deletion marks",
         kErrorRecordLength);
}

// Returns 0, or the system error for records of another version.
int version_error(const std::optional<double>& found, double wanted) {
  if (!found || *found == wanted) return kDataDone;
  return *found > wanted ? kErrorFileVersionNewer : kIsBadFile;
}

// Refuses a file whose records have another version than the definition: a program would misread
// the records and write ones that the conversion mangles. A file without records and without a
// version record is one whose maker was killed between making the file and writing the version; it
// gets the record here.
void check_version(const DataFile& file, const Operations& operations) {
  const std::optional<double> found = version_read_record(version_file_record(data_path(file)));
  const auto wanted = static_cast<double>(file.definition.version);
  if (!found) {
    if (!file.read_only && operations.is_empty(file))
      static_cast<void>(
          version_write_record(version_file_record(data_path(file)), wanted));  // or next open
    return;
  }
  if (const int error = version_error(found, wanted))
    refuse(file,
           "its records have version " + version_text(*found) + ", the definition has version " +
               version_text(wanted),
           error);
}

// Returns the result of a read, and clears the record if the read found none.
int finish_read(DataFile& file, int result) {
  if (result == kDataNotFound) data_clear_record(file);
  return result;
}

// Runs an operation, again after each set of changes that has to be finished first. Returns 4 when
// another process keeps this one from finishing the set.
template <typename Operation>
int after_unfinished(DataFile& file, Operation operation) {
  for (;;) {
    const int result = operation(file);
    if (result != kDataUnfinished) return result;
    if (const int busy = changes_make_good(file)) return busy;
  }
}

int open_file(DataFile& file, const Operations& operations, const std::string& path, bool& created,
              bool exclusive) {
  const bool keyed = file.definition.type == FileType::kIsam;
  if (const int busy = keyed ? changes_make_good_before_open(file) : 0) return busy;
  const int result = operations.open(file, path, created, exclusive);
  if (keyed && result == kDataDone) changes_guard(file);
  return result;
}

int read_by(DataFile& file, ByKey Operations::*operation, int key) {
  return finish_read(file, (operations_of(file).*operation)(file, key));
}

}  // namespace

int data_check_version(const DataFile& file) {
  return version_error(version_read_record(version_file_record(data_path(file))),
                       static_cast<double>(file.definition.version));
}

int data_open(DataFile& file, LockWait wait, bool exclusive) {
  if (file.open) return kDataAlreadyOpen;
  const Operations& operations = operations_of(file);
  allocate_record(file);
  check_marker_has_room(file);
  const std::string path = data_path(file);
  bool created = false;
  int result = kDataDone;
  do {
    result = open_file(file, operations, path, created, exclusive);
  } while (lock_try_again(file, result, wait, LockPhase::kOpening));
  if (result == kDataDone && is_half_restored(path)) refuse(file, kHalfRestored, kIsBadFile);
  if (created) version_write_file(file, file.definition.version);
  if (result == kDataDone && !created) check_version(file, operations);
  if (result != kDataDone) {
    free_record(file);
    return result;
  }
  file.open = true;
  open_subsystems().data_files = true;
  data_clear_record(file);
  return result;
}

int data_open(std::string_view name, LockWait wait, bool exclusive) {
  return data_open(data_file(name), wait, exclusive);
}

void data_close(DataFile& file) {
  if (!file.open) return;
  file.open = false;
  operations_of(file).close(file);
  free_record(file);
}

void data_close_all() {
  for (DataFile* file : data_files())
    data_close(*file);
  open_subsystems().data_files = false;
}

void data_clear_record(DataFile& file) {
  if (file.record.empty()) data_fatal(file.definition.name.c_str(), kIsNotOpen);
  fields_preset(file.definition, file.record);
}

int data_read(DataFile& file, int key, bool lock, LockWait wait) {
  const Operations& operations = operations_of(file);
  int result = kDataDone;
  do {
    result = after_unfinished(file, [&](DataFile& of) { return operations.read(of, key, lock); });
  } while (lock_try_again(file, result, wait, LockPhase::kReading));
  return finish_read(file, result);
}

int data_exists(DataFile& file, int key) {
  return operations_of(file).exists(file, key);
}

int data_read_from(DataFile& file, int key) {
  return read_by(file, &Operations::read_from, key);
}

int data_read_first(DataFile& file, int key) {
  return read_by(file, &Operations::read_first, key);
}

int data_read_last(DataFile& file, int key) {
  return read_by(file, &Operations::read_last, key);
}

int data_read_next(DataFile& file, int key) {
  return read_by(file, &Operations::read_next, key);
}

int data_read_previous(DataFile& file, int key) {
  return read_by(file, &Operations::read_previous, key);
}

int data_write(DataFile& file) {
  return after_unfinished(file, operations_of(file).write);
}

int data_delete(DataFile& file) {
  return after_unfinished(file, operations_of(file).remove);
}

void data_release(DataFile& file) {
  operations_of(file).release(file);
}

}  // namespace marigold
