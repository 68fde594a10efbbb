// SPDX-License-Identifier: GPL-3.0-or-later
// Opens, closes and flushes a pair of files, and builds new ones.

#include "runtime/isam/local/file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <random>

#include "runtime/isam/common/reason.h"
#include "runtime/isam/local/change.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/pairing.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/space.h"
#include "runtime/isam/local/use_locks.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner::isam {
namespace {

std::uint32_t slot_size_for(std::uint32_t record_length) {
  return (record_length + static_cast<std::uint32_t>(sizeof(SlotHeader)) + 3) / 4 * 4;
}

// Reserves all the memory that these trees need.
void reserve_shapes(File& file, std::span<const TreeShape> trees) {
  file.trees.reserve(trees.size());
  // Each saved page takes at least a header in the undo area.
  file.saved_pages.reserve(undo_pages_needed(trees) * kPageSize / sizeof(PageHeader));
}

// ---- Opening

int open_one(MappedFile& file, const std::string& path, bool write, bool& writable) {
  int failed = file.open(path.c_str(), FileAccess::kReadWrite);
  writable = failed == 0;
  if (!write && (failed == EACCES || failed == EROFS || failed == EPERM)) {
    failed = file.open(path.c_str(), FileAccess::kRead);
  }
  return failed;
}

int open_both(File& file, const OpenRequest& request) {
  bool index_writable = false;
  bool data_writable = false;
  if (int failed = open_one(file.index, request.index_path, request.write, index_writable))
    return failed;
  if (int failed = open_one(file.data, request.data_path, request.write, data_writable))
    return failed;
  file.writable = index_writable && data_writable;
  file.exclusive = request.exclusive;
  file.base = request.base;
  return file.index.identity(file.identity);
}

bool is_blank(std::span<const std::byte> bytes) {
  return std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
}

// ENOENT for an index that is being built, or whose builder died: the builder reserves the space
// first and writes the header later.
int read_index_header(File& file) {
  if (const int failed = measure(file.index, 0, file.index_space)) return failed;
  if (is_blank({file.index.memory(), std::min(file.index_space, kPageSize)})) return ENOENT;
  if (file.index_space < kPageSize) return kIsBadFile;
  const IndexHeader& header = file.header();
  if (header.magic != kIndexMagic || header.version > kIndexVersion) return kIsBadFile;
  if (header.version < kFormerIndexVersion) return kIsBadFile;
  if (header.state == kStateNewborn) return ENOENT;
  return header.state > kStateNewborn ? kIsBadFile : 0;
}

// 105 for a header that is damaged or of another kind of file, 103 for one that claims impossible
// keys.
int validate_data_header(const DataHeader& header) {
  if (header.magic != kDataMagic || header.version != kDataVersion) return kIsBadFile;
  if (header.checksum != data_header_checksum(header)) return kIsBadFile;
  if (header.record_length < 1 || header.record_length > kIsLongestRecord) return kIsBadFile;
  if (header.key_count < 1 || header.key_count > kIsMostKeys) return kIsBadKey;
  const auto length = static_cast<int>(header.record_length);
  const bool sane = std::ranges::all_of(
      std::span(header.keys).first(header.key_count),
      [=](const KeyDescription& key) { return validate_key(key, length) == 0; });
  return sane ? 0 : kIsBadKey;
}

// Whether a data file is the leftover of a process that died while it built the file: no slot was
// ever used, and the bytes before the slots are a header of ours or zeros.
bool data_is_unborn(File& file) {
  if (measure(file.data, 0, file.data_space) != 0) return false;
  const std::span<const std::byte> bytes(file.data.memory(), file.data_space);
  DataHeader header;
  if (file.data_space < kDataStart || find_data_header(file, header) != 0) return is_blank(bytes);
  return is_blank(bytes.subspan(kDataStart));
}

int read_data_header(File& file) {
  DataHeader header;
  if (const int failed = find_data_header(file, header)) return failed;
  if (header.file_id != file.header().file_id) return kIsBadFile;
  if (settled_word(file) != settled_epoch(file) * kTwice) return kIsBadFile;
  set_shapes(file, header);
  return 0;
}

// An index of the former version can be rebuilt only if no process has it open and none died with
// it: undoing a half-done change and settling deletions is left to a program of that version.
int validate_former_version(const File& file) {
  const IndexHeader& header = file.header();
  if (header.version > kFormerIndexVersion) return 0;
  if (header.state == kStateInUse && header.boot == boot_identity()) return kIsBadFile;
  bool others = false;
  const int failed = has_other_users(file, others);
  return others ? kIsFileLocked : failed;
}

bool contents_are_sane(const File& file) {
  const IndexHeader& header = file.header();
  if (is_clean_pair(file) && header.checksum != index_header_checksum(header)) return false;
  return header.undo_pages == undo_pages_needed(file.trees) &&
         header.contents.page_count >= kUndoStart + header.undo_pages &&
         header.contents.epoch - settled_epoch(file) - 1 < kOpenEpochs;
}

// An index that is older than the data takes slots with records for unused or free ones. The first
// slot never used is read from the file, since a file system that allocates late may have no page
// for it.
bool heads_are_untaken(const File& file) {
  const Contents& contents = file.contents();
  const std::uint64_t free = contents.free_slot;
  if (free > file.slots) return false;
  if (free != 0 && reinterpret_cast<const SlotHeader*>(file.slot(free))->state == kSlotLive)
    return false;
  SlotHeader next{};
  const std::span bytes = std::as_writable_bytes(std::span(&next, 1));
  return contents.slot_count >= file.slots || file.data.read(data_bytes(file), bytes) != 0 ||
         next.state == kSlotUnused;
}

// Other processes may change the contents meanwhile: only a read without an overlapping change
// counts.
int validate_contents(File& file) {
  for (;;) {
    std::uint64_t changes = 0;
    const int failed = read_begin(file, changes);
    const bool sane = failed == 0 && contents_are_sane(file) && heads_are_untaken(file);
    if (!read_was_whole(file, changes)) continue;
    if (failed != 0) return failed;
    return sane ? 0 : kIsBadFile;
  }
}

// The interrupted writer's state in the header is void once the trees are rebuilt. Processes that
// want to open the file wait for the register lock, and none has it open.
void forget_interrupted(IndexHeader& header) {
  header.undo_used = 0;
  header.changes += header.changes % 2;
  header.writer = 0;
}

// Takes the use lock exclusively, for a rebuild. Another process that found the same damage and may
// not write closes the file within moments.
int hold_alone(File& file) {
  constexpr int kMostRounds = 100;
  int failed = EAGAIN;
  for (int round = 0; failed == EAGAIN && round < kMostRounds; ++round) {
    if (round > 0) wait_a_little(round);
    failed = hold_if_alone(file);
  }
  return failed == EAGAIN ? refuse(kIsFileLocked,
                                   "its indexes must be rebuilt, and other processes have it open")
                          : failed;
}

int rebuild_alone(File& file, const char* reason) {
  if (!file.exclusive) {
    if (const int failed = hold_alone(file)) return failed;
  }
  forget_interrupted(file.header());
  int failed = as_writer(file, [&] { return rebuild_indexes(file); });
  if (failed == 0 && !file.exclusive) failed = file.index.lock(kUseLock, false);
  file.made_anew = reason;
  return failed;
}

// Recovers a pair after a death or a power loss: undoes a half-done change, and rebuilds indexes
// that do not fit the data.
int recover(File& file) {
  const Judgement judgement = judge_pair(file);
  if (judgement.fit == Fit::kCopied) return refuse(kIsBadFile, judgement.reason);
  const IndexHeader& header = file.header();
  // A closed file has nothing to undo, and an undo area from before must not be replayed.
  if (judgement.fit == Fit::kClean && header.checksum != index_header_checksum(header))
    return kIsBadFile;
  const bool rebuild = judgement.fit == Fit::kRebuild;
  if (!rebuild && header.writer == 0 && header.undo_used == 0 && header.changes % 2 == 0) return 0;
  if (!file.writable) return refuse(EACCES, rebuild ? judgement.reason : kHalfDone);
  if (rebuild) return rebuild_alone(file, judgement.reason);
  return as_writer(file, [] { return 0; });  // taking the writer lock undoes
}

int open_registered(File& file) {
  if (const int failed = take_use_lock(file)) return failed;
  if (const int failed = read_index_header(file)) {
    return failed == ENOENT && !data_is_unborn(file) ? kIsBadFile : failed;
  }
  if (const int failed = read_data_header(file)) return failed;
  if (const int failed = validate_former_version(file)) return failed;
  if (const int failed = take_seat(file)) return failed;
  // No other process has an exclusive file open, so the holder of its writer lock is dead. The page
  // is written only if need be: on a full disk even an equal store can fail.
  if (file.exclusive && file.writable && file.header().writer != 0) file.header().writer = 0;
  if (const int failed = recover(file)) return failed;
  if (const int failed = note_space(file)) return failed;
  if (const int failed = validate_contents(file)) return failed;
  return make_visible(file);  // refuses a file that was cut now, and not at some later record
}

// ---- Building

std::uint64_t new_file_id() {
  std::random_device source;
  return static_cast<std::uint64_t>(source()) << 32 | source();
}

int write_data_header(File& file, const DataHeader& header, std::uint64_t offset) {
  std::byte* at = file.data.memory() + offset;
  DataHeader before;
  std::memcpy(&before, at, sizeof before);
  std::memcpy(at, &header, sizeof header);
  const int failed = file.data.sync();
  // Otherwise the next process to open the file would take the new header.
  if (failed != 0) std::memcpy(at, &before, sizeof before);
  return failed;
}

// Removes the leftover of a process that died while it built these files: a newborn index, and data
// without a record.
int clear_leftover(const OpenRequest& request) {
  File leftover;
  if (leftover.index.open(request.index_path.c_str(), FileAccess::kReadWrite) != 0) return EEXIST;
  if (leftover.index.lock(kUseLock, true) != 0) return EEXIST;  // being built by a live process
  if (!leftover.index.is_still_at(request.index_path.c_str())) return EEXIST;  // removed
  if (read_index_header(leftover) != ENOENT) return EEXIST;
  const int no_data = leftover.data.open(request.data_path.c_str(), FileAccess::kReadWrite);
  if (no_data != 0 ? no_data != ENOENT : !data_is_unborn(leftover)) return EEXIST;
  file_unmap(leftover);  // and keeps the lock until both names are free
  if (const int failed = file_remove(request.data_path.c_str())) return failed;
  return file_remove(request.index_path.c_str());
}

// Lets other processes open the new file.
int share(File& file) {
  file.exclusive = false;
  if (const int failed = take_seat(file)) return failed;
  return file.index.lock(kUseLock, false);
}

// Called while the files hold nothing that others must not see.
int take_access(File& file, const std::string& base) {
  const int failed = file.index.take_access((base + ".idx").c_str());
  return failed == 0 ? file.data.take_access((base + ".dat").c_str()) : failed;
}

// Creates the index and locks it. Before it is locked, a new index looks like the leftover of a
// dead process: another builder removes it, and a process that opens it locks it for a moment. Only
// the holder of the lock of the file under the name may remove the file.
int create_index(MappedFile& index, const std::string& path, NewFileAccess access) {
  constexpr int kMostRounds = 100;
  for (int round = 0; round < kMostRounds; ++round) {
    if (round > 0) wait_a_little(round);
    if (!index.is_still_at(path.c_str())) {
      index.close();
      if (const int failed = index.create(path.c_str(), access)) return failed;
    }
    const int failed = index.lock(kUseLock, true);
    if (failed == 0 && index.is_still_at(path.c_str())) return 0;
    if (failed == 0 || failed == EAGAIN) continue;
    if (index.is_still_at(path.c_str())) file_remove(path.c_str());
    return failed;
  }
  return kIsFileLocked;
}

int create_both(File& file, const OpenRequest& request, std::uint32_t record_length,
                const KeyDescription& primary) {
  const auto access =
      request.access_of.empty() ? NewFileAccess::kByMask : NewFileAccess::kOwnerOnly;
  if (const int failed = create_index(file.index, request.index_path, access)) return failed;
  int failed = take_run_lock(file);
  if (failed == 0) failed = file.data.create(request.data_path.c_str(), access);
  if (failed != 0) {
    file_remove(request.index_path.c_str());
    return failed;
  }
  if (!request.access_of.empty()) failed = take_access(file, request.access_of);
  const std::uint64_t id = new_file_id();
  file.record_length = record_length;
  const TreeShape shape = tree_shape(primary);
  if (failed == 0) failed = write_index_header(file, id);
  if (failed == 0) failed = grow(file.data, kDataStart, file.data_space);
  if (failed == 0) failed = file_write_keys(file, {&shape, 1});
  if (failed == 0) failed = rebuild_indexes(file);
  // After a power loss the index must be there, or nothing shows that there are records.
  if (failed == 0) failed = file.index.sync();
  if (failed == 0) failed = file_sync_directory(request.index_path.c_str());
  if (failed == 0) failed = file.index.identity(file.identity);
  if (failed == 0 && !request.exclusive) failed = share(file);
  if (failed != 0) {
    file_unmap(file);  // without the lock, another process might have the names by now
    file_remove(request.data_path.c_str());
    file_remove(request.index_path.c_str());
  }
  return failed;
}

// ---- Closing

bool some_are_gone(const File& file) {
  return file.contents().gone.count + file.contents().ripe.count > 0;
}

void complete_page_checksums(File& file) {
  constexpr std::uint64_t kPiece = 2048;  // pages that stay in this process's memory meanwhile
  const std::uint64_t first = kUndoStart + file.header().undo_pages;
  for (std::uint64_t number = first; number < file.contents().page_count; ++number) {
    if (was_hit(file)) return;  // no page from here on can be made clean
    auto* header = reinterpret_cast<PageHeader*>(file.page(number));
    if (header->checksum == 0) header->checksum = page_checksum(file.page(number));
    if (number % kPiece == 0) file.index.forget((number - kPiece) * kPageSize, kPiece * kPageSize);
  }
}

// Makes a file clean that no other process has open: it can then be copied, moved and trusted. The
// disk starts with the records while the checksums of the pages are made.
int make_clean(File& file) {
  if (const int failed = make_visible(file)) return failed;
  file.data.start_sync(0, data_bytes(file));
  complete_page_checksums(file);
  file.index.start_sync(0, index_bytes(file));
  // Always: settling has changed links of slots after its own sync.
  if (const int failed = file.data.sync()) return failed;
  file.header().record_locks = 0;
  return stamp_clean(file);
}

int close_registered(File& file) {
  bool others = false;
  if (const int failed = has_other_users(file, others)) return failed;
  if (others) return file_flush(file);
  // Nothing was changed. A full disk could refuse even the store of the writer lock.
  if (file.header().state != kStateInUse) return file.data.sync();
  if (const int failed = slots_settle(file)) return failed;
  if (const int failed = slots_free_kept(file)) return failed;
  return as_writer(file, [&] { return make_clean(file); });
}

}  // namespace

void set_shapes(File& file, const DataHeader& header) {
  file.record_length = header.record_length;
  file.slot_size = slot_size_for(header.record_length);
  file.trees.clear();
  for (std::uint32_t i = 0; i < header.key_count; ++i)
    file.trees.push_back(tree_shape(header.keys[i]));
  reserve_shapes(file, file.trees);
}

int find_data_header(File& file, DataHeader& header) {
  if (const int failed = measure(file.data, kDataStart, file.data_space)) return failed;
  for (const std::uint64_t offset : kDataHeaders) {
    std::memcpy(&header, file.data.memory() + offset, sizeof header);
    const int refused = validate_data_header(header);
    if (refused != kIsBadFile) return refused;
  }
  return kIsBadFile;
}

int write_index_header(File& file, std::uint64_t id) {
  if (const int failed = grow(file.index, kPageSize, file.index_space)) return failed;
  IndexHeader& header = file.header();
  header = IndexHeader{};
  header.magic = kIndexMagic;
  header.version = kIndexVersion;
  header.file_id = id;
  header.state = kStateNewborn;
  return 0;
}

TreeShape tree_shape(const KeyDescription& key) {
  TreeShape shape;
  shape.key = key;
  shape.duplicates = key.flags == kIsDuplicatesAllowed;
  shape.key_length = static_cast<std::uint32_t>(key_length(key));
  shape.compare_length = shape.key_length + (shape.duplicates ? kSequenceLength : 0);
  return shape;
}

int register_lock(File& file, int most_rounds) {
  if (file.registering++ > 0) return 0;
  int failed = EAGAIN;
  for (int round = 0; failed == EAGAIN && round < most_rounds; ++round) {
    if (round > 0) wait_a_little(round);
    failed = file.index.lock(kRegisterLock, true);
  }
  if (failed != 0) --file.registering;
  if (failed != EAGAIN) return failed;
  return refuse(kIsFileLocked,
                "another process is opening or closing it, or rebuilding its indexes");
}

void register_unlock(File& file) {
  if (--file.registering == 0) file.index.unlock(kRegisterLock);
}

std::uint64_t undo_pages_needed(std::span<const TreeShape> trees) {
  // A replacement removes an entry and inserts one in each tree. On each level, one node that is
  // less than a third full merges with a neighbour, together less than a page, and another one
  // splits: two pages, some entries twice, and headers. Nodes are at least a third full of whole
  // entries, which bounds the number of levels; one level more allows for nodes that were split
  // where a child with a long bound came in.
  constexpr std::uint64_t kLevelBytes = 2 * (kPageSize + 512);
  std::uint64_t bytes = kPageSize;
  for (const TreeShape& shape : trees) {
    bytes += kLevelBytes;
    for (std::uint64_t nodes = std::numeric_limits<SlotNumber>::max(); nodes > 0;
         nodes /= kNodeSpace / (shape.compare_length + kNumberLength) / 3) {
      bytes += kLevelBytes;
    }
  }
  return bytes / kPageSize + 1;
}

int file_write_keys(File& file, std::span<const TreeShape> trees) {
  try {
    reserve_shapes(file, trees);  // no allocation may fail once the header is written
  } catch (const std::bad_alloc&) {
    return kIsNoMemory;
  }
  DataHeader header{};
  header.magic = kDataMagic;
  header.version = kDataVersion;
  header.record_length = file.record_length;
  header.file_id = file.header().file_id;
  header.key_count = static_cast<std::uint32_t>(trees.size());
  std::ranges::transform(trees, header.keys.begin(), &TreeShape::key);
  header.checksum = data_header_checksum(header);
  // The second copy first: the first copy rules while it is whole, so the old header holds until
  // the last write.
  for (const std::uint64_t offset : {kDataHeaders[1], kDataHeaders[0]}) {
    if (const int failed = write_data_header(file, header, offset)) return failed;
  }
  set_shapes(file, header);
  return 0;
}

int file_build(File& file, const OpenRequest& request, std::uint32_t record_length,
               const KeyDescription& primary) {
  file.base = request.base;
  file.exclusive = true;
  file.writable = true;
  int failed = create_both(file, request, record_length, primary);
  if (failed == EEXIST) {
    failed = clear_leftover(request);
    if (failed == 0) failed = create_both(file, request, record_length, primary);
  }
  return failed;
}

namespace {

int open_once(File& file, const OpenRequest& request) {
  if (const int failed = open_both(file, request)) return failed;
  if (!file.index.may_lock_exclusively()) return unless_hit(file, open_registered(file));
  if (const int failed = register_lock(file)) return failed;
  const int failed = unless_hit(file, open_registered(file));
  register_unlock(file);
  return failed;
}

bool still_has_its_paths(const File& file, const OpenRequest& request) {
  return file.index.is_still_at(request.index_path.c_str()) &&
         file.data.is_still_at(request.data_path.c_str());
}

}  // namespace

// A program that replaces a file holds its lock until the new file is installed. A process that has
// opened the old file by then gets the lock afterwards, and would write into a file without a name.
int file_open(std::shared_ptr<File>& file, const OpenRequest& request) {
  constexpr int kMostTimes = 100;
  for (int time = 0; time < kMostTimes; ++time) {
    file = std::make_shared<File>();
    const int failed = open_once(*file, request);
    const bool opened = file->index.is_open() && file->data.is_open();
    if (!opened || still_has_its_paths(*file, request)) return failed;
  }
  return kIsFileLocked;
}

void file_unmap(File& file) {
  file.index.unmap();
  file.data.unmap();
}

int file_map_again(File& file) {
  const int failed = file.index.map(file.index_space);
  return failed == 0 ? file.data.map(file.data_space) : failed;
}

int file_retire(File& file) {
  if (file.is_retired()) return 0;
  int failed = 0;
  if (file.writable) {
    failed = register_lock(file);
    if (failed == 0) {
      failed = close_registered(file);
      register_unlock(file);
    } else if (failed == kIsFileLocked) {
      failed = file_flush(file);  // durable, though not marked clean
    }
  }
  failed = unless_hit(file, failed);
  file_unmap(file);
  return failed;
}

int file_close(File& file) {
  const int failed = file_retire(file);
  file.index.close();
  file.data.close();
  return failed;
}

int file_flush(File& file) {
  if (!file.writable) return 0;
  return some_are_gone(file) ? slots_settle(file) : file.data.sync();
}

int file_put_in_use(File& file) {
  if (const int failed = register_lock(file)) return failed;
  const bool in_use = file.header().state == kStateInUse;
  const int failed = in_use ? 0 : put_in_use(file, kStateInUse);
  register_unlock(file);
  return failed;
}

}  // namespace marigold::inner::isam
