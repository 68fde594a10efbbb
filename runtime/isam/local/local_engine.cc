// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/local_engine.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/isam/common/key.h"
#include "runtime/isam/local/change.h"
#include "runtime/isam/local/compact.h"
#include "runtime/isam/local/glance.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/read.h"
#include "runtime/isam/local/record_lock.h"
#include "runtime/isam/local/recover.h"
#include "runtime/isam/local/repair.h"
#include "runtime/isam/local/snapshot.h"
#include "runtime/isam/local/space.h"
#include "runtime/isam/local/verify.h"
#include "runtime/isam/local/write.h"

namespace marigold::inner::isam {
namespace {

class LocalFile;

struct State {
  std::vector<LocalFile*> open;  // also those that a forked child has inherited
  ReadBuffer buffer;
};

State state;

class LocalFile final : public OpenIsam {
 public:
  explicit LocalFile(const OpenMode& mode) : OpenIsam(mode) { state.open.push_back(this); }
  ~LocalFile() override { std::erase(state.open, this); }
  LocalFile(const LocalFile&) = delete;
  LocalFile& operator=(const LocalFile&) = delete;

  // Takes the file once it is open. The object is made before, because no memory may be missing
  // when the file is there.
  void take(std::shared_ptr<File> file) {
    file_ = std::move(file);
    ++file_->users;
  }
  [[nodiscard]] const std::shared_ptr<File>& file() const { return file_; }
  void begin(Snapshot&& snapshot) { snapshot_ = std::make_unique<Snapshot>(std::move(snapshot)); }

  [[nodiscard]] bool is_ours() const override { return file_ != nullptr && file_->index.is_open(); }
  int close() override;
  int retire() override;

  int start(const KeyDescription& key, int length, const char* record, int mode) override;
  int read(char* record, int mode, bool lock) override;
  int select(const KeyDescription& key) override;
  int keep_position(IsPosition& position) override;
  int return_to(const IsPosition& kept) override;

  int write(const char* record) override {
    return change([&](File& file) { return write_record(file, record); });
  }
  int remove(const char* record) override {
    return change([&](File& file) { return delete_record(file, record); });
  }
  int replace(const char* record) override {
    return change([&](File& file) { return replace_record(file, record); });
  }
  int add_key(const KeyDescription& key) override {
    return change([&](File& file) { return isam::add_key(file, key); });
  }
  int flush() override { return finish(file_flush(*file_)); }

  int release() override;
  int lock(const char* record, bool& taken) override {
    return change([&](File& file) { return record_lock_once(file, record, taken); });
  }
  int unlock(const char* record) override {
    return change([&](File& file) { return record_unlock(file, record); });
  }
  int set_guard(IsGuard guard) override {
    file_->guard = std::move(guard);
    return 0;
  }
  int mark(bool marked) override {
    return change([&](File& file) {
      file.header().mark = marked ? 1 : 0;
      change_step();
      return 0;
    });
  }
  int reserve(std::uint64_t records) override {
    return change([&](File& file) {
      if (const int failed = make_visible(file)) return failed;
      if (const int failed = change_prepare(file)) return failed;
      return file_reserve(file, records);
    });
  }

  int count(std::int64_t& records) override;
  int changes(std::uint64_t& number) override { return finish(read_begin(*file_, number)); }
  int info(IsamInfo& info) override;
  int fill(double& fill) override { return finish(file_fill(*file_, fill)); }
  int check(std::vector<std::string>& findings, const IsWatch& watch) override;
  int glance(std::vector<std::string>& findings) override {
    return finish(file_glance(*file_, findings));
  }

  [[nodiscard]] bool has_snapshot() const override { return snapshot_ != nullptr; }
  int snapshot_read(char* record) override;
  [[nodiscard]] std::int64_t snapshot_count() const override {
    return static_cast<std::int64_t>(snapshot_->record_count());
  }
  int snapshot_write(const std::string& base, const std::string& like,
                     const IsWatch& watch) override;
  void snapshot_end() override { snapshot_ = nullptr; }

 private:
  // Ends an operation.
  int finish(int result) { return unless_hit(*file_, result); }

  template <typename Change>
  int change(Change change) {
    File& file = *file_;
    return finish(as_prepared_writer(file, [&] { return change(file); }));
  }

  int lock_current();
  int find(char* record, const Search& search, bool lock);

  std::shared_ptr<File> file_;        // null until it is open
  std::uint64_t automatic_lock_ = 0;  // the locked byte, 0 for none
  Cursor cursor_;
  std::unique_ptr<Snapshot> snapshot_;  // null: none has begun
};

// ---- Opening

OpenRequest make_request(const std::string& base, const OpenMode& mode) {
  OpenRequest request;
  request.base = base;
  const bool names_index = base.starts_with('*');
  const std::string stem = base.substr(names_index ? 1 : 0);
  request.index_path = names_index ? stem : stem + ".idx";
  request.data_path = stem + ".dat";
  request.exclusive = mode.exclusive;
  request.write = mode.writes;
  return request;
}

// Returns the file if this process has it open already, under whatever name, or null.
std::shared_ptr<File> find_open(const OpenRequest& request) {
  MappedFile probe;
  FileIdentity identity;
  if (probe.open(request.index_path.c_str(), FileAccess::kRead) != 0 ||
      probe.identity(identity) != 0)
    return nullptr;
  for (const LocalFile* open : state.open) {
    if (open->is_ours() && open->file()->identity == identity) return open->file();
  }
  return nullptr;
}

int open_file(const OpenRequest& request, const OpenMode& mode, std::shared_ptr<File>& file) {
  file = find_open(request);
  if (file == nullptr) return file_open(file, request);
  if (file->exclusive || request.exclusive) return kIsFileLocked;
  return mode.writes && !file->writable ? EACCES : 0;
}

int open(const std::string& base, const OpenMode& mode, OpenIsamPointer& opened) {
  auto local = std::make_unique<LocalFile>(mode);
  std::shared_ptr<File> file;
  if (const int failed = open_file(make_request(base, mode), mode, file)) return failed;
  local->take(std::move(file));
  opened = std::move(local);
  return 0;
}

int build(const std::string& base, const std::string& like, int record_length,
          const KeyDescription& primary, const OpenMode& mode, OpenIsamPointer& built) {
  auto local = std::make_unique<LocalFile>(mode);
  auto file = std::make_shared<File>();
  OpenRequest request = make_request(base, mode);
  request.access_of = like;
  const int failed = file_build(*file, request, static_cast<std::uint32_t>(record_length), primary);
  if (failed != 0) return unless_hit(*file, failed);
  local->take(std::move(file));
  built = std::move(local);
  return 0;
}

int LocalFile::retire() {
  if (!file_->exclusive) return kIsBadArgument;
  snapshot_ = nullptr;
  return finish(file_retire(*file_));
}

int LocalFile::close() {
  snapshot_ = nullptr;
  return finish(--file_->users > 0 ? file_flush(*file_) : file_close(*file_));
}

// ---- Reading

// Locks the record that was read. An automatic lock replaces the one before.
int LocalFile::lock_current() {
  std::uint64_t byte = 0;
  if (file_->header().mark != 0) {
    if (const int failed = record_may_change(*file_, state.buffer.record.data())) return failed;
  }
  if (const int failed = record_lock(*file_, state.buffer.record.data(), byte)) return failed;
  if (!mode().automatic) return 0;
  const std::uint64_t before = std::exchange(automatic_lock_, byte);
  return before == 0 || before == byte ? 0 : record_unlock(*file_, before);
}

int LocalFile::find(char* record, const Search& search, bool lock) {
  File& file = *file_;
  auto& buffer = state.buffer;
  buffer.record.resize(std::max<std::size_t>(buffer.record.size(), file.record_length));
  const auto find = [&] { return cursor_find(file, cursor_, search, buffer, true); };
  const auto find_and_lock = [&] {
    const int failed = find();
    if (failed == 0) return lock_current();
    // A record that its holder has deleted to write it again is locked, and not missing.
    const bool may_be_held = failed == kIsNoRecord && search.mode == kIsEqual && cursor_.tree == 0;
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

int LocalFile::read(char* record, int mode, bool lock) {
  return find(record, make_search(file_->trees[cursor_.tree], record, mode, 0), lock);
}

// The key with this description, or the end.
auto find_key(File& file, const KeyDescription& key) {
  return std::ranges::find_if(file.trees,
                              [&](const TreeShape& shape) { return key_same(shape.key, key); });
}

int LocalFile::start(const KeyDescription& key, int length, const char* record, int mode) {
  const auto& trees = file_->trees;
  const auto tree = find_key(*file_, key);
  if (tree == trees.end()) return kIsBadKey;
  if (static_cast<std::uint32_t>(length) > tree->key_length) return kIsBadArgument;
  Cursor cursor{.tree = static_cast<std::size_t>(tree - trees.begin()), .position = {}};
  const Search search = make_search(*tree, record, mode, length);
  const int failed = cursor_find(*file_, cursor, search, state.buffer, false);
  if (failed == 0 || failed == kIsNoRecord || failed == kIsEndOfFile) cursor_ = cursor;
  return failed;
}

int LocalFile::select(const KeyDescription& key) {
  const auto tree = find_key(*file_, key);
  if (tree == file_->trees.end()) return kIsBadKey;
  auto& record = state.buffer.record;
  record.resize(std::max<std::size_t>(record.size(), file_->record_length));
  return cursor_change_tree(*file_, cursor_, static_cast<std::size_t>(tree - file_->trees.begin()),
                            state.buffer);
}

int LocalFile::keep_position(IsPosition& position) {
  position.key = static_cast<int>(cursor_.tree);
  position.at_record = cursor_.position.at_record;
  position.before = cursor_.position.forward == Bound::kNotLess;
  std::memcpy(position.entry.data(), cursor_.position.probe.data(), position.entry.size());
  return 0;
}

int LocalFile::return_to(const IsPosition& kept) {
  if (kept.key < 0 || static_cast<std::size_t>(kept.key) >= file_->trees.size())
    return kIsBadArgument;
  Cursor cursor{.tree = static_cast<std::size_t>(kept.key), .position = {}};
  std::ranges::copy(kept.entry, cursor.position.probe.begin());
  cursor.position.at_record = kept.at_record;
  cursor.position.forward = kept.before ? Bound::kNotLess : Bound::kGreater;
  cursor.position.backward = kept.at_record ? Bound::kNotLess : cursor.position.forward;
  cursor.position.changes = kNoShortCut;
  cursor_ = cursor;
  return 0;
}

// ---- Locks

int LocalFile::release() {
  for (LocalFile* other : state.open) {
    if (other->file_ == file_) other->automatic_lock_ = 0;
  }
  return finish(record_unlock_all(*file_));
}

// ---- Properties

int LocalFile::count(std::int64_t& records) {
  std::uint64_t changes = 0;  // not compared: a single value needs no second look
  const int failed = read_begin(*file_, changes);
  records = static_cast<std::int64_t>(file_->contents().record_count);
  return finish(failed);
}

int LocalFile::info(IsamInfo& info) {
  File& file = *file_;
  info = {.record_length = static_cast<int>(file.record_length),
          .key_count = static_cast<int>(file.trees.size()),
          .made_anew = file.made_anew};
  std::ranges::transform(file.trees, info.keys.begin(), &TreeShape::key);
  std::uint64_t changes = 0;
  do {
    if (const int failed = read_begin(file, changes)) return finish(failed);
    const Contents& contents = file.contents();
    info.record_count = static_cast<std::int64_t>(contents.record_count);
    info.deleted_count = static_cast<std::int64_t>(contents.slot_count) - info.record_count;
    for (std::size_t tree = 0; tree < file.trees.size(); ++tree)
      info.depths[tree] = static_cast<int>(contents.trees[tree].levels);
  } while (!read_was_whole(file, changes));
  info.deleted_bytes = static_cast<std::uint64_t>(info.deleted_count) * file.slot_size;
  if (const int failed = file.data.size(info.data_bytes)) return failed;
  return finish(file.index.size(info.index_bytes));
}

int LocalFile::check(std::vector<std::string>& findings, const IsWatch& watch) {
  const auto verify = [&] {
    if (const int failed = make_visible(*file_)) return failed;
    findings = verify_file(*file_, watch);
    return 0;
  };
  return finish(file_->writable ? as_writer(*file_, verify) : verify());
}

// ---- Snapshots

int begin_snapshots(std::span<OpenIsam* const> opened) {
  std::vector<std::shared_ptr<File>> files;
  for (const OpenIsam* one : opened) {
    const auto& file = static_cast<const LocalFile*>(one)->file();
    if (std::ranges::find(files, file) != files.end()) return kIsBadArgument;
    files.push_back(file);
  }
  std::vector<Snapshot> snapshots(files.size());
  if (const int failed = Snapshot::begin(snapshots, files)) return failed;
  for (std::size_t i = 0; i < opened.size(); ++i)
    static_cast<LocalFile*>(opened[i])->begin(std::move(snapshots[i]));
  return 0;
}

int LocalFile::snapshot_read(char* record) {
  const std::byte* slot = nullptr;
  int failed = snapshot_->is_ordered() ? 0 : finish(snapshot_->order_by_writing());
  if (failed == 0) failed = finish(snapshot_->next(slot));
  if (failed != 0) return failed;
  std::memcpy(record, slot + sizeof(SlotHeader), file_->record_length);
  return 0;
}

constexpr OpenMode kAlone{.reads = true, .writes = true, .exclusive = true};

int LocalFile::snapshot_write(const std::string& base, const std::string& like,
                              const IsWatch& watch) {
  OpenRequest request = make_request(base, kAlone);
  request.access_of = like;
  snapshot_->rewind();
  return finish(isam::snapshot_write(*snapshot_, *file_, request, watch));
}

// ---- Files that no process has open

template <typename Body>
int with_unopened(const std::string& base, Body body) {
  const OpenRequest request = make_request(base, kAlone);
  return find_open(request) != nullptr ? kIsFileLocked : body(request);
}

int rebuild(const std::string& base, IsRebuildReport& report, const IsWatch& watch) {
  return with_unopened(
      base, [&](const OpenRequest& request) { return file_rebuild(request, report, watch); });
}

int recover(const std::string& base, int record_length, std::span<const KeyDescription> keys,
            IsRecoverReport& report, const IsWatch& watch) {
  return with_unopened(base, [&](const OpenRequest& request) {
    return file_recover(request, static_cast<std::uint32_t>(record_length), keys, report, watch);
  });
}

int compact(const std::string& base, IsCompactReport& report, const IsWatch& watch) {
  return with_unopened(
      base, [&](const OpenRequest& request) { return file_compact(request, report, watch); });
}

}  // namespace

constinit const IsamEngine kLocalEngine{.build = build,
                                        .open = open,
                                        .begin_snapshots = begin_snapshots,
                                        .rebuild = rebuild,
                                        .recover = recover,
                                        .compact = compact};

}  // namespace marigold::inner::isam
