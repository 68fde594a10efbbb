// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/random_file.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "runtime/core/current_operation.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/random_store.h"
#include "runtime/isam/common/cluster_address.h"

namespace marigold::inner {
namespace {

struct OpenFile {
  std::unique_ptr<RandomStore> store;
  std::string path;
  RecordNumber position = 0;  // the record read last; 0: before the first one
  bool behind_last = false;   // the last read went past the last record
};

struct State {
  std::vector<std::unique_ptr<OpenFile>> files;  // by descriptor; null: free
  std::vector<char> scratch;                     // a record, until it is known to be live
};

State state;

OpenFile* file_at(const DataFile& file) {
  const auto descriptor = static_cast<std::size_t>(file.engine.descriptor);
  const bool known = file.engine.descriptor >= 0 && descriptor < state.files.size();
  OpenFile* const open = known ? state.files[descriptor].get() : nullptr;
  return open != nullptr && open->store->is_open() ? open : nullptr;  // closed in a forked child
}

// Begins an operation on an open file.
OpenFile& begin(const DataFile& file, const char* operation) {
  set_current_operation(operation);
  OpenFile* open = file_at(file);
  if (open == nullptr ||
      file.record.size() != static_cast<std::size_t>(file.definition.record_length))
    data_fatal("", kIsNotOpen);
  state.scratch.resize(file.record.size());
  return *open;
}

// 0 or 4.
int result_of(const OpenFile& open, int failed) {
  if (failed == kIsLocked) return kDataLocked;
  if (failed != 0) data_fatal(open.path.c_str(), failed);
  return kDataDone;
}

RecordNumber number_in(const DataFile& file) {
  return isld_int4(file.record.data());
}

RecordNumber last_number(const OpenFile& open) {
  RecordNumber number = 0;
  result_of(open, open.store->last(number));
  return number;
}

// Reads the record of this number into the scratch buffer. Returns 0, 3 or 4.
int fetch(const OpenFile& open, RecordNumber number, bool lock) {
  bool found = false;
  if (number < 1) return kDataNotFound;
  const int result = result_of(open, open.store->fetch(number, lock, state.scratch, found));
  return result == kDataDone && !found ? kDataNotFound : result;
}

// Puts the record read into the handle's buffer and stands on it.
int deliver(DataFile& file, OpenFile& open, RecordNumber number) {
  file.record = state.scratch;
  open.position = number;
  open.behind_last = false;
  return kDataDone;
}

// Delivers the first record from `number` on in steps of 1 or -1.
int walk(DataFile& file, OpenFile& open, RecordNumber number, int step) {
  result_of(open, open.store->walk(number, step, state.scratch));
  return number == 0 ? kDataNotFound : deliver(file, open, number);
}

// Stands after the last record: the previous record is the last one, the next record is one that is
// added later.
void stand_behind_last(OpenFile& open) {
  open.position = last_number(open);
  open.behind_last = true;
}

}  // namespace

int random_open(DataFile& file, const std::string& path, bool& created, bool exclusive,
                RandomOwner owner) {
  set_current_operation("random_open");
  auto open = std::make_unique<OpenFile>();
  open->path = path;
  const RandomOpening opening{.file = file, .path = path, .exclusive = exclusive, .owner = owner};
  const int failed = is_cluster_address(path) ? random_open_table(opening, open->store, created)
                                              : random_open_bytes(opening, open->store, created);
  if (failed == kIsFileLocked) return kDataLocked;
  result_of(*open, failed);
  const auto place = std::find(state.files.begin(), state.files.end(), nullptr);
  file.engine = EngineState{};
  file.engine.descriptor = static_cast<int>(place - state.files.begin());
  if (place == state.files.end()) {
    state.files.push_back(std::move(open));
  } else {
    *place = std::move(open);
  }
  return kDataDone;
}

bool random_is_open(const DataFile& file) {
  return file_at(file) != nullptr;
}

bool random_is_empty(const DataFile& file) {
  const OpenFile* open = file_at(file);
  bool empty = false;
  return open != nullptr && open->store->is_empty(empty) == 0 && empty;
}

int random_read(DataFile& file, bool lock) {
  OpenFile& open = begin(file, "random_read");
  const RecordNumber number = number_in(file);
  const int result = fetch(open, number, lock);
  return result == kDataDone ? deliver(file, open, number) : result;
}

int random_exists(DataFile& file) {
  return fetch(begin(file, "random_exists"), number_in(file), false);
}

int random_write(DataFile& file) {
  const OpenFile& open = begin(file, "random_write");
  const RecordNumber number = number_in(file);
  file.record.back() = kLiveRecord;
  return result_of(
      open, number < 1 ? open.store->append(file.record) : open.store->write(number, file.record));
}

int random_delete(DataFile& file) {
  const OpenFile& open = begin(file, "random_delete");
  return result_of(open, open.store->remove(number_in(file), state.scratch));
}

int random_read_from(DataFile& file) {
  OpenFile& open = begin(file, "random_readgen");
  const int result = walk(file, open, std::max<RecordNumber>(number_in(file), 1), 1);
  if (result == kDataNotFound) stand_behind_last(open);
  return result;
}

int random_read_first(DataFile& file) {
  return walk(file, begin(file, "random_readfirst"), 1, 1);
}

int random_read_last(DataFile& file) {
  OpenFile& open = begin(file, "random_readlast");
  return walk(file, open, last_number(open), -1);
}

int random_read_next(DataFile& file) {
  OpenFile& open = begin(file, "random_readnext");
  const int result = walk(file, open, open.position + 1, 1);
  if (result == kDataNotFound) stand_behind_last(open);
  return result;
}

int random_read_previous(DataFile& file) {
  OpenFile& open = begin(file, "random_readprev");
  const int result = walk(file, open, open.behind_last ? open.position : open.position - 1, -1);
  if (result == kDataNotFound) open.position = 0;
  open.behind_last = false;
  return result;
}

void random_release(DataFile& file) {
  const OpenFile& open = begin(file, "random_release");
  result_of(open, open.store->release());
}

void random_close(DataFile& file) {
  set_current_operation("random_close");
  OpenFile* const open = file_at(file);
  if (open == nullptr) data_fatal("", kIsNotOpen);
  const auto descriptor = std::exchange(file.engine, EngineState{}).descriptor;
  const std::unique_ptr<OpenFile> closed =
      std::exchange(state.files[static_cast<std::size_t>(descriptor)], nullptr);
  result_of(*closed, closed->store->close());
}

RecordFile* random_bytes(const DataFile& file) {
  const OpenFile* open = file_at(file);
  return open == nullptr ? nullptr : open->store->bytes();
}

}  // namespace marigold::inner
