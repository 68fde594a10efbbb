// SPDX-License-Identifier: GPL-3.0-or-later
// The operations and the descriptors.

#include "runtime/isam/isam.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "runtime/isam/change.h"
#include "runtime/isam/compact.h"
#include "runtime/isam/fatal.h"
#include "runtime/isam/glance.h"
#include "runtime/isam/hit.h"
#include "runtime/isam/key.h"
#include "runtime/isam/read.h"
#include "runtime/isam/reason.h"
#include "runtime/isam/rebuild.h"
#include "runtime/isam/record_lock.h"
#include "runtime/isam/recover.h"
#include "runtime/isam/repair.h"
#include "runtime/isam/snapshot.h"
#include "runtime/isam/space.h"
#include "runtime/isam/verify.h"
#include "runtime/isam/write.h"
#include "runtime/platform/system_error.h"

namespace marigold {

using namespace inner;
using namespace inner::isam;

int iserrno = 0;

namespace {

constexpr std::size_t kLongestName = 1024;
constexpr int kReadModes = 0xFF;

struct Descriptor {
  std::shared_ptr<File> file;
  bool reads = false;
  bool writes = false;
  bool automatic = false;
  std::uint64_t automatic_lock = 0;  // the locked byte, 0 for none
  Cursor cursor;
  std::unique_ptr<Snapshot> snapshot;  // null: none has begun
};

struct State {
  std::vector<Descriptor> descriptors = std::vector<Descriptor>(kIsMostOpen);
  ReadBuffer buffer;
};

State state;

int fail(int number) {
  iserrno = number;
  return -1;
}

int finish(int result) {
  return result == 0 ? 0 : fail(result);
}

// Ends an operation on an open file.
int finish(File& file, int result) {
  return finish(unless_hit(file, result));
}

// Runs an operation and keeps its only exception (no memory) inside the engine.
template <typename Body>
int operation(const char* name, Body body) {
  const OperationScope scope(name);
  forget_reason();
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return fail(kIsNoMemory);
  }
}

// The descriptor of an open file, also of one that has retired.
Descriptor* held_descriptor_at(int number) {
  const auto index = static_cast<std::size_t>(number);  // a number below 0 becomes one above all
  if (index >= state.descriptors.size()) return nullptr;
  Descriptor& descriptor = state.descriptors[index];
  const bool is_ours = descriptor.file != nullptr && descriptor.file->index.is_open();
  return is_ours ? &descriptor : nullptr;
}

Descriptor* descriptor_at(int number) {
  Descriptor* const descriptor = held_descriptor_at(number);
  return descriptor == nullptr || descriptor->file->is_retired() ? nullptr : descriptor;
}

// ---- Opening

struct Mode {
  bool reads = false;
  bool writes = false;
  bool automatic = false;
  bool exclusive = false;
};

int parse_mode(int bits, Mode& mode) {
  constexpr int kLockShift = 9;
  constexpr int kLastAccess = 14;
  const int lock = (bits & 0xE00) >> kLockShift;
  const int access = bits & 0x1FF;
  if (lock == 3 || lock > 4 || access == 3 || access > kLastAccess) return kIsBadArgument;
  // Only the lowest two bits matter; old programs pass others along.
  const int direction = access & 3;
  mode.reads = direction != kIsOutput;
  mode.writes = direction != kIsInput;
  mode.automatic = lock == kIsAutoLock >> kLockShift;
  mode.exclusive = lock == kIsExclusive >> kLockShift;
  return 0;
}

int make_request(const char* base, const Mode& mode, OpenRequest& request) {
  request.base = base;
  if (request.base.size() > kLongestName) return kIsNameTooLong;
  const bool names_index = request.base.starts_with('*');
  const std::string stem = request.base.substr(names_index ? 1 : 0);
  request.index_path = names_index ? stem : stem + ".idx";
  request.data_path = stem + ".dat";
  request.exclusive = mode.exclusive;
  request.write = mode.writes;
  return 0;
}

std::shared_ptr<File> find_open(const FileIdentity& identity) {
  for (const Descriptor& descriptor : state.descriptors) {
    if (descriptor.file != nullptr && descriptor.file->identity == identity) return descriptor.file;
  }
  return nullptr;
}

// Returns the file if this process has it open already, under whatever name, or null.
std::shared_ptr<File> find_open(const OpenRequest& request) {
  MappedFile probe;
  FileIdentity identity;
  if (probe.open(request.index_path.c_str(), FileAccess::kRead) != 0 ||
      probe.identity(identity) != 0)
    return nullptr;
  return find_open(identity);
}

int take_descriptor(std::shared_ptr<File> file, const Mode& mode) {
  const auto free = std::ranges::find(state.descriptors, nullptr, &Descriptor::file);
  ++file->users;
  *free = Descriptor{.file = std::move(file),
                     .reads = mode.reads,
                     .writes = mode.writes,
                     .automatic = mode.automatic,
                     .automatic_lock = 0,
                     .cursor = {},
                     .snapshot = nullptr};
  return static_cast<int>(free - state.descriptors.begin());
}

// Frees the descriptors that a forked process has inherited, to make room for its own. The files
// stay open in the parent.
void forget_inherited() {
  for (Descriptor& descriptor : state.descriptors) {
    if (descriptor.file != nullptr && !descriptor.file->index.is_open()) descriptor = Descriptor{};
  }
}

bool table_is_full() {
  return std::ranges::none_of(state.descriptors,
                              [](const Descriptor& d) { return d.file == nullptr; });
}

int open_file(const OpenRequest& request, const Mode& mode, std::shared_ptr<File>& file) {
  file = find_open(request);
  if (file == nullptr) return file_open(file, request);
  if (file->exclusive || request.exclusive) return kIsFileLocked;
  return mode.writes && !file->writable ? EACCES : 0;
}

int build(const char* base, const char* like, int record_length, const KeyDescription& primary,
          int mode) {
  return operation("ISBUILD", [&]() -> int {
    Mode asked;
    OpenRequest request;
    if (const int failed = parse_mode(mode, asked)) return fail(failed);
    if (const int failed = make_request(base, asked, request)) return fail(failed);
    request.access_of = like;
    if (record_length < 1 || record_length > kIsLongestRecord) return fail(kIsBadArgument);
    if (const int failed = validate_key(primary, record_length)) return fail(failed);
    if (primary.flags != 0) return fail(kIsBadKey);
    forget_inherited();
    if (table_is_full()) return fail(kIsTooMany);
    auto file = std::make_shared<File>();
    const int failed =
        file_build(*file, request, static_cast<std::uint32_t>(record_length), primary);
    if (failed != 0) return finish(*file, failed);
    return take_descriptor(std::move(file), asked);
  });
}

// ---- Reading

// Locks the record that was read. An automatic lock replaces the one before.
int lock_current(Descriptor& descriptor) {
  std::uint64_t byte = 0;
  if (descriptor.file->header().mark != 0) {
    const int failed = record_may_change(*descriptor.file, state.buffer.record.data());
    if (failed != 0) return failed;
  }
  if (const int failed = record_lock(*descriptor.file, state.buffer.record.data(), byte))
    return failed;
  if (!descriptor.automatic) return 0;
  const std::uint64_t before = std::exchange(descriptor.automatic_lock, byte);
  return before == 0 || before == byte ? 0 : record_unlock(*descriptor.file, before);
}

int read_record(Descriptor& descriptor, char* record, const Search& search, bool lock) {
  File& file = *descriptor.file;
  auto& buffer = state.buffer;
  buffer.record.resize(std::max<std::size_t>(buffer.record.size(), file.record_length));
  const auto find = [&] { return cursor_find(file, descriptor.cursor, search, buffer, true); };
  const auto find_and_lock = [&] {
    const int failed = find();
    if (failed == 0) return lock_current(descriptor);
    // A record that its holder has deleted to write it again is locked, and not missing.
    const bool may_be_held =
        failed == kIsNoRecord && search.mode == kIsEqual && descriptor.cursor.tree == 0;
    const int held = may_be_held ? record_not_locked(file, record) : 0;
    return held != 0 ? held : failed;
  };
  // A record must not be deleted between the read and the lock.
  const int failed = !lock           ? find()
                     : file.writable ? unless_hit(file, as_writer(file, find_and_lock))
                                     : find_and_lock();
  if (failed == 0) std::memcpy(record, buffer.record.data(), file.record_length);
  return failed;
}

// The key with this description, or the end.
auto find_key(File& file, const KeyDescription& key) {
  return std::ranges::find_if(file.trees,
                              [&](const TreeShape& shape) { return key_same(shape.key, key); });
}

int start(Descriptor& descriptor, const KeyDescription& key, int length, const char* record,
          int mode) {
  const auto& trees = descriptor.file->trees;
  const auto tree = find_key(*descriptor.file, key);
  if (tree == trees.end()) return kIsBadKey;
  const bool by_value = mode >= kIsEqual && mode <= kIsGreaterOrEqual;
  if (!by_value && mode != kIsFirst && mode != kIsLast) return kIsBadArgument;
  if (length < 0 || static_cast<std::uint32_t>(length) > tree->key_length) return kIsBadArgument;
  Cursor cursor{.tree = static_cast<std::size_t>(tree - trees.begin()), .position = {}};
  const Search search = make_search(*tree, record, mode, length);
  const int failed = cursor_find(*descriptor.file, cursor, search, state.buffer, false);
  if (failed == 0 || failed == kIsNoRecord || failed == kIsEndOfFile) descriptor.cursor = cursor;
  return failed;
}

int select(Descriptor& descriptor, const KeyDescription& key) {
  File& file = *descriptor.file;
  const auto tree = find_key(file, key);
  if (tree == file.trees.end()) return kIsBadKey;
  state.buffer.record.resize(std::max<std::size_t>(state.buffer.record.size(), file.record_length));
  return cursor_change_tree(file, descriptor.cursor,
                            static_cast<std::size_t>(tree - file.trees.begin()), state.buffer);
}

void keep_position(const Cursor& cursor, IsPosition& position) {
  position.key = static_cast<int>(cursor.tree);
  position.at_record = cursor.position.at_record;
  position.before = cursor.position.forward == Bound::kNotLess;
  std::memcpy(position.entry.data(), cursor.position.probe.data(), position.entry.size());
}

int return_to(Descriptor& descriptor, const IsPosition& kept) {
  if (kept.key < 0 || static_cast<std::size_t>(kept.key) >= descriptor.file->trees.size())
    return kIsBadArgument;
  Cursor cursor{.tree = static_cast<std::size_t>(kept.key), .position = {}};
  std::ranges::copy(kept.entry, cursor.position.probe.begin());
  cursor.position.at_record = kept.at_record;
  cursor.position.forward = kept.before ? Bound::kNotLess : Bound::kGreater;
  cursor.position.backward = kept.at_record ? Bound::kNotLess : cursor.position.forward;
  cursor.position.changes = kNoShortCut;
  descriptor.cursor = cursor;
  return 0;
}

// ---- Writing

// Runs a change of the file that belongs to a descriptor.
template <typename Change>
int change_file(const char* name, int number, Change change) {
  return operation(name, [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->writes) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    return finish(file, as_prepared_writer(file, [&] { return change(file); }));
  });
}

}  // namespace

int ISBUILD(const char* base, int record_length, const KeyDescription& primary, int mode) {
  return build(base, "", record_length, primary, mode);
}

int isbuild_like(const char* base, const char* like, int record_length,
                 const KeyDescription& primary, int mode) {
  return build(base, like, record_length, primary, mode);
}

int inner::isguard(int number, IsGuard guard) {
  return operation("ISGUARD", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    descriptor->file->guard = std::move(guard);
    return 0;
  });
}

int inner::ismark(int number, bool marked) {
  return change_file("ISMARK", number, [&](File& file) {
    file.header().mark = marked ? 1 : 0;
    change_step();
    return 0;
  });
}

int inner::islock(int number, const char* record, bool& taken) {
  return change_file("ISLOCK", number,
                     [&](File& file) { return record_lock_once(file, record, taken); });
}

int inner::isunlock(int number, const char* record) {
  return change_file("ISUNLOCK", number, [&](File& file) { return record_unlock(file, record); });
}

int inner::isreserve(int number, std::uint64_t records) {
  return change_file("ISRESERV", number, [&](File& file) {
    if (const int failed = make_visible(file)) return failed;
    if (const int failed = change_prepare(file)) return failed;
    return file_reserve(file, records);
  });
}

int ISADDINDEX(int number, const KeyDescription& key) {
  return change_file("ISADDIND", number, [&](File& file) { return add_key(file, key); });
}

int ISOPEN(const char* base, int mode) {
  return operation("ISOPEN", [&]() -> int {
    Mode asked;
    OpenRequest request;
    if (const int failed = parse_mode(mode, asked)) return fail(failed);
    if (const int failed = make_request(base, asked, request)) return fail(failed);
    forget_inherited();
    if (table_is_full()) return fail(kIsTooMany);
    std::shared_ptr<File> file;
    if (const int failed = open_file(request, asked, file)) return fail(failed);
    return take_descriptor(std::move(file), asked);
  });
}

int isopenlimit(int files) {
  return operation("ISOPENLI", [&] {
    const auto wanted = static_cast<std::size_t>(std::max(files, kIsMostOpen));
    if (wanted > state.descriptors.size()) state.descriptors.resize(wanted);
    return 0;
  });
}

int inner::isretire(int number) {
  return operation("ISCLOSE", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    if (!file.exclusive) return fail(kIsBadArgument);
    descriptor->snapshot = nullptr;
    return finish(file, file_retire(file));
  });
}

int ISCLOSE(int number) {
  return operation("ISCLOSE", [&] {
    Descriptor* descriptor = held_descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    const std::shared_ptr<File> file = std::move(descriptor->file);
    *descriptor = Descriptor{};  // ends its snapshot as well
    return finish(*file, --file->users > 0 ? file_flush(*file) : file_close(*file));
  });
}

int ISSTART(int number, const KeyDescription& key, int length, const char* record, int mode) {
  return operation("ISSTART", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->reads) return fail(kIsNotOpen);
    return finish(start(*descriptor, key, length, record, mode & kReadModes));
  });
}

int ISREAD(int number, char* record, int mode) {
  return operation("ISREAD", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->reads) return fail(kIsNotOpen);
    const int kind = mode & kReadModes;
    if (kind > kIsGreaterOrEqual || (mode & ~(kReadModes | kIsLock)) != 0)
      return fail(kIsBadArgument);
    const bool lock = descriptor->automatic || (mode & kIsLock) != 0;
    const TreeShape& shape = descriptor->file->trees[descriptor->cursor.tree];
    return finish(read_record(*descriptor, record, make_search(shape, record, kind, 0), lock));
  });
}

int inner::isposition(int number, IsPosition& position) {
  return operation("ISPOSITION", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    keep_position(descriptor->cursor, position);
    return 0;
  });
}

int inner::isreturn(int number, const IsPosition& position) {
  return operation("ISRETURN", [&] {
    Descriptor* descriptor = descriptor_at(number);
    return descriptor == nullptr ? fail(kIsNotOpen) : finish(return_to(*descriptor, position));
  });
}

int inner::ischanges(int number, std::uint64_t& changes) {
  const Descriptor* descriptor = descriptor_at(number);
  if (descriptor == nullptr) return fail(kIsNotOpen);
  return finish(*descriptor->file, read_begin(*descriptor->file, changes));
}

int inner::isselect(int number, const KeyDescription& key) {
  return operation("ISSELECT", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->reads) return fail(kIsNotOpen);
    return finish(select(*descriptor, key));
  });
}

int ISWRITE(int number, const char* record) {
  return change_file("ISWRITE", number, [&](File& file) { return write_record(file, record); });
}

int ISDELETE(int number, const char* record) {
  return change_file("ISDELETE", number, [&](File& file) { return delete_record(file, record); });
}

int ISREPLACE(int number, const char* record) {
  return change_file("ISREPLACE", number, [&](File& file) { return replace_record(file, record); });
}

int ISRELEASE(int number) {
  return operation("ISRELEASE", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    for (Descriptor& other : state.descriptors) {
      if (other.file == descriptor->file) other.automatic_lock = 0;
    }
    return finish(file, record_unlock_all(file));
  });
}

int ISFLUSH(int number) {
  return operation("ISFLUSH", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    return finish(*descriptor->file, file_flush(*descriptor->file));
  });
}

std::int64_t iscount(int number) {
  const Descriptor* descriptor = descriptor_at(number);
  if (descriptor == nullptr) return fail(kIsNotOpen);
  std::uint64_t changes = 0;  // not compared: a single value needs no second look
  File& file = *descriptor->file;
  int failed = read_begin(file, changes);
  const auto count = static_cast<std::int64_t>(file.contents().record_count);
  failed = unless_hit(file, failed);
  return failed == 0 ? count : fail(failed);
}

int isinfo(int descriptor, IsamInfo& info) {
  return operation("ISINFO", [&] {
    const Descriptor* opened = descriptor_at(descriptor);
    if (opened == nullptr) return fail(kIsNotOpen);
    File& file = *opened->file;
    info = {.record_length = static_cast<int>(file.record_length),
            .key_count = static_cast<int>(file.trees.size()),
            .made_anew = file.made_anew};
    std::ranges::transform(file.trees, info.keys.begin(), &TreeShape::key);
    std::uint64_t changes = 0;
    do {
      if (const int failed = read_begin(file, changes)) return finish(file, failed);
      const Contents& contents = file.contents();
      info.record_count = static_cast<std::int64_t>(contents.record_count);
      info.deleted_count = static_cast<std::int64_t>(contents.slot_count) - info.record_count;
      for (std::size_t tree = 0; tree < file.trees.size(); ++tree)
        info.depths[tree] = static_cast<int>(contents.trees[tree].levels);
    } while (!read_was_whole(file, changes));
    info.deleted_bytes = static_cast<std::uint64_t>(info.deleted_count) * file.slot_size;
    if (const int failed = file.data.size(info.data_bytes)) return fail(failed);
    return finish(file, file.index.size(info.index_bytes));
  });
}

int isfill(int descriptor, double& fill) {
  return operation("ISFILL", [&] {
    const Descriptor* opened = descriptor_at(descriptor);
    if (opened == nullptr) return fail(kIsNotOpen);
    return finish(*opened->file, file_fill(*opened->file, fill));
  });
}

void is_watch_rebuilds(IsRebuildWatch watch) {
  watch_rebuilds(std::move(watch));
}

int ischeck(int number, std::vector<std::string>& findings, const IsWatch& watch) {
  return operation("ISCHECK", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    const auto verify = [&] {
      if (const int failed = make_visible(file)) return failed;
      findings = verify_file(file, watch);
      return 0;
    };
    return finish(file, file.writable ? as_writer(file, verify) : verify());
  });
}

namespace {

// Collects the files of these descriptors. Each must occur once and be without a snapshot.
int files_for_snapshots(std::span<const int> numbers, std::vector<std::shared_ptr<File>>& files) {
  for (const int number : numbers) {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return kIsNotOpen;
    const std::shared_ptr<File>& file = descriptor->file;
    if (descriptor->snapshot != nullptr || std::ranges::find(files, file) != files.end())
      return kIsBadArgument;
    files.push_back(file);
  }
  return 0;
}

Snapshot* snapshot_of(int number) {
  const Descriptor* descriptor = descriptor_at(number);
  return descriptor == nullptr ? nullptr : descriptor->snapshot.get();
}

}  // namespace

int issnapshot(std::span<const int> numbers) {
  return operation("ISSNAPSH", [&]() -> int {
    std::vector<std::shared_ptr<File>> files;
    if (const int failed = files_for_snapshots(numbers, files)) return fail(failed);
    std::vector<Snapshot> snapshots(files.size());
    if (const int failed = Snapshot::begin(snapshots, files)) return fail(failed);
    for (std::size_t i = 0; i < numbers.size(); ++i)
      descriptor_at(numbers[i])->snapshot = std::make_unique<Snapshot>(std::move(snapshots[i]));
    return 0;
  });
}

int issnapshot_read(int number, char* record) {
  return operation("ISSNAPRD", [&] {
    Snapshot* snapshot = snapshot_of(number);
    if (snapshot == nullptr) return fail(kIsNotOpen);
    const std::byte* slot = nullptr;
    File& file = *descriptor_at(number)->file;
    if (const int failed = unless_hit(file, snapshot->next(slot))) return fail(failed);
    std::memcpy(record, slot + sizeof(SlotHeader), file.record_length);
    return 0;
  });
}

std::int64_t issnapshot_count(int number) {
  const Snapshot* snapshot = snapshot_of(number);
  return snapshot == nullptr ? fail(kIsNotOpen)
                             : static_cast<std::int64_t>(snapshot->record_count());
}

int issnapshot_write(int number, const char* base, const char* like, const IsWatch& watch) {
  return operation("ISSNAPWR", [&]() -> int {
    Snapshot* snapshot = snapshot_of(number);
    if (snapshot == nullptr) return fail(kIsNotOpen);
    OpenRequest request;
    const Mode alone{.reads = true, .writes = true, .automatic = false, .exclusive = true};
    if (const int failed = make_request(base, alone, request)) return fail(failed);
    request.access_of = like;
    snapshot->rewind();
    File& file = *descriptor_at(number)->file;
    return finish(file, snapshot_write(*snapshot, file, request, watch));
  });
}

int issnapshot_end(int number) {
  return operation("ISSNAPEN", [&] {
    if (snapshot_of(number) == nullptr) return fail(kIsNotOpen);
    descriptor_at(number)->snapshot = nullptr;
    return 0;
  });
}

int isglance(int number, std::vector<std::string>& findings) {
  return operation("ISGLANCE", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    return finish(*descriptor->file, file_glance(*descriptor->file, findings));
  });
}

namespace {

// Runs an operation on a pair that no process has open.
template <typename Body>
int with_unopened(const char* name, const char* base, Body body) {
  return operation(name, [&]() -> int {
    OpenRequest request;
    const Mode alone{.reads = true, .writes = true, .automatic = false, .exclusive = true};
    if (const int failed = make_request(base, alone, request)) return fail(failed);
    forget_inherited();
    if (find_open(request) != nullptr) return fail(kIsFileLocked);
    return finish(body(request));
  });
}

}  // namespace

int isrebuild(const char* base, IsRebuildReport& report, const IsWatch& watch) {
  report = {};
  return with_unopened("ISREBUIL", base, [&](const OpenRequest& request) {
    return file_rebuild(request, report, watch);
  });
}

int isrecover(const char* base, int record_length, std::span<const KeyDescription> keys,
              IsRecoverReport& report, const IsWatch& watch) {
  report = {};
  if (record_length < 1 || record_length > kIsLongestRecord) return fail(kIsBadArgument);
  if (keys.empty() || keys.size() > kIsMostKeys || keys.front().flags != 0) return fail(kIsBadKey);
  for (const KeyDescription& key : keys) {
    if (const int failed = validate_key(key, record_length)) return fail(failed);
  }
  return with_unopened("ISRECOVE", base, [&](const OpenRequest& request) {
    return file_recover(request, static_cast<std::uint32_t>(record_length), keys, report, watch);
  });
}

int iscompact(const char* base, IsCompactReport& report, const IsWatch& watch) {
  report = {};
  return with_unopened("ISCOMPAC", base, [&](const OpenRequest& request) {
    return file_compact(request, report, watch);
  });
}

const char* isreason() {
  if (iserrno == kOnNetworkDrive) return "keyed files must be on a drive of this machine";
  return noted_reason();
}

const char* iserror_name(int number) {
  static constexpr const char* kNames[] = {
      "EDUPL",   "ENOTOPEN", "EBADARG",  "EBADKEY",  "ETOOMANY", "EBADFILE", "ENOTEXCL",
      "ELOCKED", "EKEXISTS", "EPRIMKEY", "EENDFILE", "ENOREC",   "ENOCURR",  "EFLOCKED",
      "EFNAME",  "ENOLOK",   "EBADMEM",  "EBADCOLL", "EUSER",    "EVIRTUAL"};
  const int index = number - kIsDuplicate;
  return index >= 0 && index < static_cast<int>(std::size(kNames)) ? kNames[index] : "";
}

}  // namespace marigold
