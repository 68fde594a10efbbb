// SPDX-License-Identifier: GPL-3.0-or-later
// The operations and the descriptors. Each descriptor stands for an open file of one of the engines.

#include "runtime/isam/common/isam.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "runtime/isam/cluster/cluster_engine.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/isam/common/key.h"
#include "runtime/isam/engine/descriptors.h"
#include "runtime/isam/local/local_engine.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/platform/system_error.h"

namespace marigold {

using namespace inner;
using namespace inner::isam;

namespace {

constexpr std::size_t kLongestName = 1024;
constexpr int kReadModes = 0xFF;

struct State {
  std::vector<Descriptor> descriptors = std::vector<Descriptor>(kIsMostOpen);
};

State state;

// ---- Opening

const IsamEngine& engine_of(const std::string& base) {
  return is_cluster_address(base) ? kClusterEngine : kLocalEngine;
}

// Frees the descriptors that a forked process has inherited, to make room for its own. The files
// stay open in the parent.
void forget_inherited() {
  for (Descriptor& descriptor : state.descriptors) {
    if (descriptor.file != nullptr && !descriptor.file->is_ours()) descriptor = Descriptor{};
  }
}

auto free_descriptor() {
  return std::ranges::find_if(state.descriptors,
                              [](const Descriptor& one) { return one.file == nullptr; });
}

// Runs `body(base, opened)` of an engine, and gives the file that it opens a descriptor.
template <typename Body>
int open_by(const char* base, Body body) {
  const std::string name(base);
  if (name.size() > kLongestName) return finish(kIsNameTooLong);
  forget_inherited();
  const auto free = free_descriptor();
  if (free == state.descriptors.end()) return finish(kIsTooMany);
  const IsamEngine& engine = engine_of(name);
  OpenIsamPointer opened;
  if (const int failed = body(engine, name, opened)) return finish(failed);
  *free = Descriptor{.file = std::move(opened), .engine = &engine};
  return static_cast<int>(free - state.descriptors.begin());
}

int build(const char* base, const char* like, int record_length, const KeyDescription& primary,
          int mode) {
  return operation("ISBUILD", [&]() -> int {
    OpenMode asked;
    if (const int failed = parse_mode(mode, asked)) return finish(failed);
    return open_by(
        base,
        [&](const IsamEngine& engine, const std::string& name, OpenIsamPointer& built) -> int {
          if (record_length < 1 || record_length > kIsLongestRecord) return kIsBadArgument;
          if (const int failed = validate_key(primary, record_length)) return failed;
          if (primary.flags != 0) return kIsBadKey;
          return engine.build(name, like, record_length, primary, asked, built);
        });
  });
}

}  // namespace

Descriptor* inner::isam::held_descriptor_at(int number) {
  const auto index = static_cast<std::size_t>(number);  // a number below 0 becomes one above all
  if (index >= state.descriptors.size()) return nullptr;
  Descriptor& descriptor = state.descriptors[index];
  return descriptor.file != nullptr && descriptor.file->is_ours() ? &descriptor : nullptr;
}

OpenIsam* inner::isam::file_at(int number) {
  const Descriptor* const descriptor = held_descriptor_at(number);
  return descriptor == nullptr || descriptor->retired ? nullptr : descriptor->file.get();
}

int ISBUILD(const char* base, int record_length, const KeyDescription& primary, int mode) {
  return build(base, "", record_length, primary, mode);
}

int isbuild_like(const char* base, const char* like, int record_length,
                 const KeyDescription& primary, int mode) {
  return build(base, like, record_length, primary, mode);
}

int ISOPEN(const char* base, int mode) {
  return operation("ISOPEN", [&]() -> int {
    OpenMode asked;
    if (const int failed = parse_mode(mode, asked)) return finish(failed);
    return open_by(base, [&](const IsamEngine& engine, const std::string& name,
                             OpenIsamPointer& opened) { return engine.open(name, asked, opened); });
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
  return with_file("ISCLOSE", number, [&](OpenIsam& file) {
    const int failed = file.retire();
    held_descriptor_at(number)->retired = failed == 0;
    return failed;
  });
}

int ISCLOSE(int number) {
  return operation("ISCLOSE", [&] {
    Descriptor* descriptor = held_descriptor_at(number);
    if (descriptor == nullptr) return finish(kIsNotOpen);
    return finish(std::exchange(*descriptor, Descriptor{}).file->close());
  });
}

// ---- Reading

int ISSTART(int number, const KeyDescription& key, int length, const char* record, int mode) {
  return with_readable("ISSTART", number, [&](OpenIsam& file) {
    const int kind = mode & kReadModes;
    const bool by_value = kind >= kIsEqual && kind <= kIsGreaterOrEqual;
    if ((!by_value && kind != kIsFirst && kind != kIsLast) || length < 0) return kIsBadArgument;
    return file.start(key, length, record, kind);
  });
}

int ISREAD(int number, char* record, int mode) {
  return with_readable("ISREAD", number, [&](OpenIsam& file) {
    const int kind = mode & kReadModes;
    if (kind > kIsGreaterOrEqual || (mode & ~(kReadModes | kIsLock)) != 0) return kIsBadArgument;
    return file.read(record, kind, file.mode().automatic || (mode & kIsLock) != 0);
  });
}

int inner::isselect(int number, const KeyDescription& key) {
  return with_readable("ISSELECT", number, [&](OpenIsam& file) { return file.select(key); });
}

int inner::isposition(int number, IsPosition& position) {
  return with_file("ISPOSITI", number,
                   [&](OpenIsam& file) { return file.keep_position(position); });
}

int inner::isreturn(int number, const IsPosition& position) {
  return with_file("ISRETURN", number, [&](OpenIsam& file) { return file.return_to(position); });
}

// ---- Writing

int ISWRITE(int number, const char* record) {
  return with_writable("ISWRITE", number, [&](OpenIsam& file) { return file.write(record); });
}

int ISDELETE(int number, const char* record) {
  return with_writable("ISDELETE", number, [&](OpenIsam& file) { return file.remove(record); });
}

int ISREPLACE(int number, const char* record) {
  return with_writable("ISREPLACE", number, [&](OpenIsam& file) { return file.replace(record); });
}

int ISADDINDEX(int number, const KeyDescription& key) {
  return with_writable("ISADDIND", number, [&](OpenIsam& file) { return file.add_key(key); });
}

int ISFLUSH(int number) {
  return with_file("ISFLUSH", number, [](OpenIsam& file) { return file.flush(); });
}

// ---- Locks, and sets of changes

int ISRELEASE(int number) {
  return with_file("ISRELEASE", number, [](OpenIsam& file) { return file.release(); });
}

int inner::islock(int number, const char* record, bool& taken) {
  return with_writable("ISLOCK", number, [&](OpenIsam& file) { return file.lock(record, taken); });
}

int inner::isunlock(int number, const char* record) {
  return with_writable("ISUNLOCK", number, [&](OpenIsam& file) { return file.unlock(record); });
}

int inner::isguard(int number, IsGuard guard) {
  return with_file("ISGUARD", number,
                   [&](OpenIsam& file) { return file.set_guard(std::move(guard)); });
}

int inner::ismark(int number, bool marked) {
  return with_writable("ISMARK", number, [&](OpenIsam& file) { return file.mark(marked); });
}

int inner::isreserve(int number, std::uint64_t records) {
  return with_writable("ISRESERV", number, [&](OpenIsam& file) { return file.reserve(records); });
}

// ---- Properties

std::int64_t iscount(int number) {
  std::int64_t records = 0;
  const auto count = [&](OpenIsam& file) { return file.count(records); };
  return with_file("ISCOUNT", number, count) == 0 ? records : -1;
}

int inner::ischanges(int number, std::uint64_t& changes) {
  return with_file("ISCHANGE", number, [&](OpenIsam& file) { return file.changes(changes); });
}

int inner::isahead(int number, int records) {
  return with_file("ISAHEAD", number, [&](OpenIsam& file) { return file.ahead(records); });
}

int isinfo(int descriptor, IsamInfo& info) {
  return with_file("ISINFO", descriptor, [&](OpenIsam& file) { return file.info(info); });
}

int inner::isshape(int number, IsamInfo& shape) {
  return with_file("ISSHAPE", number, [&](OpenIsam& file) { return file.shape(shape); });
}

int isfill(int descriptor, double& fill) {
  return with_file("ISFILL", descriptor, [&](OpenIsam& file) { return file.fill(fill); });
}

int ischeck(int number, std::vector<std::string>& findings, const IsWatch& watch) {
  return with_file("ISCHECK", number, [&](OpenIsam& file) { return file.check(findings, watch); });
}

int isglance(int number, std::vector<std::string>& findings) {
  return with_file("ISGLANCE", number, [&](OpenIsam& file) { return file.glance(findings); });
}

void is_watch_rebuilds(IsRebuildWatch watch) {
  watch_rebuilds(std::move(watch));
}

// ---- Snapshots

int issnapshot(std::span<const int> numbers) {
  return operation("ISSNAPSH", [&]() -> int {
    std::vector<OpenIsam*> files;
    for (const int number : numbers) {
      OpenIsam* const file = file_at(number);
      if (file == nullptr) return finish(kIsNotOpen);
      const bool is_alike =
          held_descriptor_at(number)->engine == held_descriptor_at(numbers.front())->engine;
      if (file->has_snapshot() || !is_alike || std::ranges::find(files, file) != files.end())
        return finish(kIsBadArgument);
      files.push_back(file);
    }
    if (files.empty()) return 0;
    return finish(held_descriptor_at(numbers.front())->engine->begin_snapshots(files));
  });
}

namespace {

template <typename Body>
int with_snapshot(const char* name, int number, Body body) {
  return with_file(name, number,
                   [&](OpenIsam& file) { return file.has_snapshot() ? body(file) : kIsNotOpen; });
}

}  // namespace

int issnapshot_read(int number, char* record) {
  return with_snapshot("ISSNAPRD", number,
                       [&](OpenIsam& file) { return file.snapshot_read(record); });
}

std::int64_t issnapshot_count(int number) {
  const OpenIsam* const file = file_at(number);
  return file == nullptr || !file->has_snapshot() ? finish(kIsNotOpen) : file->snapshot_count();
}

int issnapshot_write(int number, const char* base, const char* like, const IsWatch& watch) {
  return with_snapshot("ISSNAPWR", number, [&](OpenIsam& file) -> int {
    const std::string name(base);
    if (name.size() > kLongestName) return kIsNameTooLong;
    return file.snapshot_write(name, like, watch);
  });
}

int issnapshot_end(int number) {
  return with_snapshot("ISSNAPEN", number, [](OpenIsam& file) {
    file.snapshot_end();
    return 0;
  });
}

// ---- Files that no process has open

namespace {

template <typename Body>
int with_unopened(const char* name, const char* base, Body body) {
  return operation(name, [&]() -> int {
    const std::string path(base);
    if (path.size() > kLongestName) return finish(kIsNameTooLong);
    forget_inherited();
    return finish(body(engine_of(path), path));
  });
}

}  // namespace

int isrebuild(const char* base, IsRebuildReport& report, const IsWatch& watch) {
  report = {};
  return with_unopened("ISREBUIL", base, [&](const IsamEngine& engine, const std::string& path) {
    return engine.rebuild(path, report, watch);
  });
}

int isrecover(const char* base, int record_length, std::span<const KeyDescription> keys,
              IsRecoverReport& report, const IsWatch& watch) {
  report = {};
  if (record_length < 1 || record_length > kIsLongestRecord) return finish(kIsBadArgument);
  if (keys.empty() || keys.size() > kIsMostKeys || keys.front().flags != 0)
    return finish(kIsBadKey);
  for (const KeyDescription& key : keys) {
    if (const int failed = validate_key(key, record_length)) return finish(failed);
  }
  return with_unopened("ISRECOVE", base, [&](const IsamEngine& engine, const std::string& path) {
    return engine.recover(path, record_length, keys, report, watch);
  });
}

int iscompact(const char* base, IsCompactReport& report, const IsWatch& watch) {
  report = {};
  return with_unopened("ISCOMPAC", base, [&](const IsamEngine& engine, const std::string& path) {
    return engine.compact(path, report, watch);
  });
}

// ---- Errors

const char* isreason() {
  if (iserrno == kOnNetworkDrive) return "keyed files must be on a drive of this machine";
  return noted_reason();
}

const char* iserror_name(int number) {
  static constexpr const char* kNames[] = {
      "EDUPL",    "ENOTOPEN", "EBADARG",  "EBADKEY",   "ETOOMANY", "EBADFILE",
      "ENOTEXCL", "ELOCKED",  "EKEXISTS", "EPRIMKEY",  "EENDFILE", "ENOREC",
      "ENOCURR",  "EFLOCKED", "EFNAME",   "ENOLOK",    "EBADMEM",  "EBADCOLL",
      "EUSER",    "EVIRTUAL", "ESERVER",  "ELOCKLOST", "ELOST"};
  const int index = number - kIsDuplicate;
  return index >= 0 && index < static_cast<int>(std::size(kNames)) ? kNames[index] : "";
}

}  // namespace marigold
