// The operations: descriptors, positions, and what each operation asks of the trees.

#include "runtime/isam/isam.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "runtime/isam/fatal.h"
#include "runtime/isam/rebuild.h"
#include "runtime/isam/record.h"
#include "runtime/isam/tree.h"
#include "runtime/isam/walk.h"
#include "runtime/platform/process.h"

namespace marigold {

int iserrno = 0;

namespace {

using namespace isam;

constexpr std::size_t kDescriptors = 30;
constexpr std::size_t kLongestName = 1024;
constexpr int kReadModes = 0xFF;

// Where a descriptor stands in its key: at an entry, or between two.
struct Position {
  Probe probe{};
  // How the place is found from which the next and the previous record are counted.
  Bound forward = Bound::kNotLess;
  Bound backward = Bound::kNotLess;
  bool at_record = false;
  // The same place as a short cut, which holds as long as nothing is changed.
  Place place;
  std::uint64_t changes = 0;
};

struct Descriptor {
  std::shared_ptr<File> file;
  bool reads = false;
  bool writes = false;
  bool automatic = false;
  std::size_t tree = 0;
  std::uint64_t automatic_lock = 0;  // the byte, 0 for none
  Position position;
};

struct State {
  long process = 0;  // whose descriptors these are
  std::array<Descriptor, kDescriptors> descriptors;
  std::vector<char> record;  // the record being read, until it is known to be whole
  Probe entry{};             // its entry
};

State state;

int fail(int number) {
  iserrno = number;
  return -1;
}

int finish(int result) {
  return result == 0 ? 0 : fail(result);
}

// Runs what an operation does and keeps exceptions (there is one: no memory) inside.
template <typename Body>
int operation(const char* name, Body body) {
  const OperationScope scope(name);
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return fail(kIsNoMemory);
  }
}

Descriptor* descriptor_at(int number) {
  if (number < 0 || number >= static_cast<int>(kDescriptors)) return nullptr;
  Descriptor& descriptor = state.descriptors[static_cast<std::size_t>(number)];
  return descriptor.file == nullptr ? nullptr : &descriptor;
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
  // Only the lowest two bits say what is meant; programs of old pass others along.
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

// The file that this process has open already under whatever name, or null.
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
                     .tree = 0,
                     .automatic_lock = 0,
                     .position = {}};
  return static_cast<int>(free - state.descriptors.begin());
}

// What a forked process has inherited is its parent's, locks included: it begins with nothing of
// its own.
void forget_inherited() {
  const long process = process_number();
  if (state.process != process) state = State{};
  state.process = process;
}

bool table_is_full() {
  return std::ranges::none_of(state.descriptors,
                              [](const Descriptor& d) { return d.file == nullptr; });
}

int open_file(const OpenRequest& request, const Mode& mode, std::shared_ptr<File>& file) {
  file = find_open(request);
  if (file == nullptr) {
    file = std::make_shared<File>();
    return file_open(*file, request);
  }
  if (file->exclusive || request.exclusive) return kIsFileLocked;
  return mode.writes && !file->writable ? EACCES : 0;
}

// ---- Positions

void stand_between(Position& position, const Probe& probe, Bound bound) {
  position.probe = probe;
  position.forward = bound;
  position.backward = bound;
  position.at_record = false;
}

// At the entry that was read; its bytes are those that were copied while it was whole.
void stand_at(Position& position, const TreeShape& shape, const Probe& entry, Place place,
              std::uint64_t changes) {
  copy_compared(position.probe, entry.data(), shape);
  position.forward = Bound::kGreater;
  position.backward = Bound::kNotLess;
  position.at_record = true;
  position.place = place;
  position.changes = changes;
}

// ---- Finding

// What a search gave: a place, or why there is none. `sound` is false when a page did not look as
// it must.
struct Found {
  bool sound = true;
  int error = 0;
  Place place;
};

struct Search {
  int mode = kIsFirst;
  // For a key value: it, filled up so that all entries with it stand behind the bound.
  Probe probe;
  Bound bound = Bound::kNotLess;
  std::size_t length = 0;  // bytes of the value that count
};

Found place_from(File& file, std::size_t tree, const Probe& probe, Bound bound) {
  Found found;
  Path path;
  found.sound = tree_find(file, tree, probe, bound, path);
  found.place = path.nodes[0];
  return found;
}

void settle(File& file, std::size_t tree, Found& found, int error) {
  if (found.sound) found.sound = tree_settle_forward(file, tree, found.place);
  if (found.sound && found.place.page == 0) found.error = error;
}

void step_back(File& file, std::size_t tree, Found& found) {
  if (found.sound) found.sound = tree_step_back(file, tree, found.place);
  if (found.sound && found.place.page == 0) found.error = kIsEndOfFile;
}

Found find_next(File& file, const Descriptor& descriptor, bool short_cut) {
  const Position& position = descriptor.position;
  Found found;
  if (short_cut) {
    found.place = {position.place.page, position.place.index + 1};
  } else {
    found = place_from(file, descriptor.tree, position.probe, position.forward);
  }
  settle(file, descriptor.tree, found, kIsEndOfFile);
  return found;
}

Found find_previous(File& file, const Descriptor& descriptor, bool short_cut) {
  const Position& position = descriptor.position;
  Found found;
  if (short_cut) {
    found.place = position.place;
  } else {
    found = place_from(file, descriptor.tree, position.probe, position.backward);
  }
  step_back(file, descriptor.tree, found);
  return found;
}

Found find_current(File& file, const Descriptor& descriptor, bool short_cut) {
  const Position& position = descriptor.position;
  Found found;
  found.place = position.place;
  if (short_cut) return found;
  SlotNumber slot = 0;
  if (position.at_record)
    found = place_from(file, descriptor.tree, position.probe, Bound::kNotLess);
  if (!found.sound) return found;
  if (!position.at_record ||
      !place_has_key(file, descriptor.tree, found.place, position.probe, slot)) {
    found.error = kIsNoCurrent;
  }
  return found;
}

Found find_by_value(File& file, std::size_t tree, const Search& search) {
  Found found = place_from(file, tree, search.probe, search.bound);
  settle(file, tree, found, kIsNoRecord);
  if (!found.sound || found.error != 0 || search.mode != kIsEqual) return found;
  const std::byte* entry = entry_at(file, tree, found.place);
  if (std::memcmp(entry, search.probe.data(), search.length) != 0) found.error = kIsNoRecord;
  return found;
}

Found find(File& file, const Descriptor& descriptor, const Search& search, std::uint64_t changes) {
  const Position& position = descriptor.position;
  const bool short_cut = position.at_record && position.changes == changes;
  Found found;
  switch (search.mode) {
    case kIsFirst:
      found.sound = tree_first(file, descriptor.tree, found.place);
      settle(file, descriptor.tree, found, kIsEndOfFile);
      return found;
    case kIsLast:
      found.sound = tree_end(file, descriptor.tree, found.place);
      step_back(file, descriptor.tree, found);
      return found;
    case kIsNext:
      return find_next(file, descriptor, short_cut);
    case kIsPrevious:
      return find_previous(file, descriptor, short_cut);
    case kIsCurrent:
      return find_current(file, descriptor, short_cut);
    default:
      return find_by_value(file, descriptor.tree, search);
  }
}

// Where the descriptor stands after a search that found nothing.
void stand_after_miss(Position& position, const Search& search) {
  if (search.mode == kIsCurrent) return;
  if (search.mode >= kIsEqual) return stand_between(position, search.probe, search.bound);
  // Behind everything or before it.
  const bool behind = search.mode == kIsNext || search.mode == kIsLast;
  Probe probe;
  probe.fill(behind ? std::byte{0xFF} : std::byte{0});
  stand_between(position, probe, behind ? Bound::kGreater : Bound::kNotLess);
}

void make_search(Search& search, const TreeShape& shape, const char* record, int mode, int length) {
  search.mode = mode;
  if (mode < kIsEqual) return;
  search.length = length == 0 ? shape.key_length : static_cast<std::size_t>(length);
  search.bound = mode == kIsGreater ? Bound::kGreater : Bound::kNotLess;
  key_from_record(shape.key, record, search.probe.data());
  // What does not count is filled up with the greatest or the least.
  const auto first = search.probe.begin() + static_cast<std::ptrdiff_t>(search.length);
  std::fill(first, search.probe.begin() + shape.compare_length,
            mode == kIsGreater ? std::byte{0xFF} : std::byte{0});
}

// ---- Reading

// The entry some places further on, in the same leaf or in its neighbour; null where there is none.
// Whoever looks at it only fetches ahead by it: a leaf that is being changed does no harm.
const std::byte* entry_ahead(const File& file, std::size_t tree, Place place, int mode) {
  constexpr std::uint32_t kAhead = 16;
  const PageHeader& header = page_header(file, place.page);
  const bool back = mode == kIsPrevious;
  std::uint32_t index = back ? place.index - kAhead : place.index + kAhead;
  if (index < header.count) return entry_at(file, tree, {place.page, index});
  const PageNumber page = back ? header.previous : header.next;
  if (page == 0 || page >= file.verified.size()) return nullptr;
  const std::uint32_t count =
      std::min<std::uint32_t>(page_header(file, page).count, file.trees[tree].capacity);
  index = back ? index + count : index - header.count;
  return index < count ? entry_at(file, tree, {page, index}) : nullptr;
}

// Starts to fetch the record of an entry that comes soon: a walk then finds it in the cache.
// Inline by force: a function that only fetches ahead is taken for one without effect, and its
// calls are dropped.
[[gnu::always_inline]] inline void fetch_ahead(const File& file, std::size_t tree, Place place,
                                               int mode) {
  const std::byte* entry = entry_ahead(file, tree, place, mode);
  if (entry == nullptr) return;
  const SlotNumber slot = entry_number(file.trees[tree], entry);
  if (slot == 0 || slot > file.slots) return;
  for (std::uint32_t line = 0; line < std::min(file.slot_size, 256U); line += 64) {
    __builtin_prefetch(file.slot(slot) + line);
  }
}

// Copies the record of an entry; false when it is not whole, or not the entry's.
bool copy_record(File& file, std::size_t tree, Place place, SlotNumber& slot) {
  const std::byte* entry = entry_at(file, tree, place);
  slot = entry_number(file.trees[tree], entry);
  if (slot == 0 || slot > file.slots) return false;
  const std::byte* at = file.slot(slot);
  if (!slot_was_live(file, slot) || !is_entry_of(file, tree, entry, at)) return false;
  std::memcpy(state.record.data(), at + sizeof(SlotHeader), file.record_length);
  return true;
}

// What a read found. The record and the entry's bytes are in `state`.
struct ReadResult {
  int error = 0;
  SlotNumber slot = 0;
  Place place;
  std::uint64_t changes = 0;
};

// One attempt; whether it meant anything is known when nothing was changed meanwhile.
bool attempt(File& file, const Descriptor& descriptor, const Search& search, bool copy,
             ReadResult& result) {
  const Found found = find(file, descriptor, search, result.changes);
  if (!found.sound) return false;
  result.error = found.error;
  if (found.error != 0) return true;
  if (search.mode == kIsNext || search.mode == kIsPrevious) {
    fetch_ahead(file, descriptor.tree, found.place, search.mode);
  }
  if (copy && !copy_record(file, descriptor.tree, found.place, result.slot)) return false;
  result.place = found.place;
  copy_compared(state.entry, entry_at(file, descriptor.tree, found.place),
                file.trees[descriptor.tree]);
  return true;
}

// Readers that never find a moment without a writer wait their turn among the writers in the end.
constexpr int kReadAttempts = 100;

int read_stable(const Descriptor& descriptor, const Search& search, bool copy, ReadResult& result) {
  File& file = *descriptor.file;
  int failed = 0;
  const auto read_once = [&] {
    failed = read_begin(file, result.changes);
    if (failed == 0 && !attempt(file, descriptor, search, copy, result)) failed = kIsBadFile;
    return read_was_whole(file, result.changes);
  };
  for (int round = 0;; ++round) {
    if (round == kReadAttempts && file.writable) {
      const int waited = as_writer(file, [&] { return read_once() ? 0 : EAGAIN; });
      return waited != 0 ? waited : failed;
    }
    if (read_once()) return failed;
  }
}

void stand(Descriptor& descriptor, const Search& search, const ReadResult& result) {
  if (result.error != 0) {
    stand_after_miss(descriptor.position, search);
  } else {
    const TreeShape& shape = descriptor.file->trees[descriptor.tree];
    stand_at(descriptor.position, shape, state.entry, result.place, result.changes);
  }
}

// The byte that stands for a record with this primary key.
std::uint64_t lock_byte(const File& file, const char* record) {
  const Probe probe = new_probe(file.trees[0], record, 0);
  const std::uint64_t drawn = long_checksum(std::span(probe).first(file.trees[0].key_length));
  return kRecordLocks + drawn % kRecordLockBytes;
}

int lock_record(Descriptor& descriptor, const char* record) {
  File& file = *descriptor.file;
  if (file.exclusive) return 0;
  if (!file.writable) return kIsNoLock;
  const std::uint64_t byte = lock_byte(file, record);
  const int failed = file.index.lock(byte, true);
  if (failed == EAGAIN) return kIsLocked;
  if (failed != 0) return failed;
  file.header().record_locks = 1;
  if (!descriptor.automatic) return 0;
  const std::uint64_t before = std::exchange(descriptor.automatic_lock, byte);
  return before == 0 || before == byte ? 0 : file.index.unlock(before);
}

// 107 when another process has the record locked, or the place of one that is not there.
int check_not_locked(const File& file, const char* record) {
  if (file.exclusive || file.header().record_locks == 0) return 0;
  bool locked = false;
  const int failed = file.index.locked_by_other(lock_byte(file, record), locked);
  if (failed != 0) return failed;
  return locked ? kIsLocked : 0;
}

int read_and_stand(Descriptor& descriptor, const Search& search) {
  ReadResult result;
  if (const int failed = read_stable(descriptor, search, true, result)) return failed;
  stand(descriptor, search, result);
  return result.error;
}

int read_record(Descriptor& descriptor, char* record, const Search& search, bool lock) {
  File& file = *descriptor.file;
  state.record.resize(std::max<std::size_t>(state.record.size(), file.record_length));
  const auto read_and_lock = [&] {
    const int failed = read_and_stand(descriptor, search);
    return failed != 0 ? failed : lock_record(descriptor, state.record.data());
  };
  // A record must not be deleted between being found and being locked.
  const int failed = !lock           ? read_and_stand(descriptor, search)
                     : file.writable ? as_writer(file, read_and_lock)
                                     : read_and_lock();
  if (failed == 0) std::memcpy(record, state.record.data(), file.record_length);
  return failed;
}

// ---- Writing

// The entries of one record in all trees, and where they stand or go.
struct Entries {
  std::array<Probe, kIsMostKeys> probes;
  std::array<Path, kIsMostKeys> paths;
};

// Those from the tree `first` on.
bool find_entries(File& file, std::size_t first, const char* record, std::uint64_t sequence,
                  Entries& entries) {
  for (std::size_t tree = first; tree < file.trees.size(); ++tree) {
    entries.probes[tree] = new_probe(file.trees[tree], record, sequence);
    if (!tree_approach(file, tree, entries.probes[tree], entries.paths[tree])) return false;
  }
  for (std::size_t tree = first; tree < file.trees.size(); ++tree) {
    if (!tree_arrive(file, tree, entries.probes[tree], Bound::kNotLess, entries.paths[tree]))
      return false;
  }
  return true;
}

// Finds where the entries of a new record go; 100 when a key that must be unique is there.
int find_entries_of_new(File& file, const char* record, std::uint64_t sequence, Entries& entries) {
  if (!find_entries(file, 0, record, sequence, entries)) return kIsBadFile;
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    SlotNumber slot = 0;
    const Place place = entries.paths[tree].nodes[0];
    if (place_has_key(file, tree, place, entries.probes[tree], slot))
      return file.trees[tree].duplicates ? kIsBadFile : kIsDuplicate;
  }
  return 0;
}

// Finds the entries of a record whose primary key's has been found.
int find_further_entries(File& file, SlotNumber slot, Entries& entries) {
  const std::byte* at = file.slot(slot);
  const auto* record = reinterpret_cast<const char*>(at + sizeof(SlotHeader));
  if (!find_entries(file, 1, record, record_sequence(at), entries)) return kIsBadFile;
  for (std::size_t tree = 1; tree < file.trees.size(); ++tree) {
    SlotNumber found = 0;
    const Place place = entries.paths[tree].nodes[0];
    if (!place_has_key(file, tree, place, entries.probes[tree], found) || found != slot)
      return kIsBadFile;
  }
  return 0;
}

int take_back(File& file, int reason) {
  const int failed = undo_all(file);
  return failed != 0 ? failed : reason;
}

int insert_everywhere(File& file, const char* record, std::uint64_t sequence, Entries& entries) {
  change_begin(file);
  Contents& contents = file.contents();
  const SlotNumber slot = slot_take(file);
  if (slot == 0) return take_back(file, kIsBadFile);
  record_store(file, slot, record, sequence);
  contents.sequence = sequence;
  ++contents.record_count;
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    if (const int failed =
            tree_insert(file, tree, entries.paths[tree], entries.probes[tree], slot)) {
      return take_back(file, failed);
    }
  }
  change_end(file);
  return 0;
}

int write_record(File& file, const char* record) {
  if (const int failed = make_visible(file)) return failed;
  const std::uint64_t sequence = file.contents().sequence + 1;
  if (sequence > kLastSequence) return EFBIG;
  Entries entries;
  if (const int failed = find_entries_of_new(file, record, sequence, entries)) return failed;
  if (const int failed = check_not_locked(file, record)) return failed;
  if (const int failed = change_prepare(file)) return failed;
  if (const int failed = change_prepare_space(file)) return failed;
  return insert_everywhere(file, record, sequence, entries);
}

int remove_everywhere(File& file, SlotNumber slot, Entries& entries) {
  change_begin(file);
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    if (const int failed = tree_remove(file, tree, entries.paths[tree]))
      return take_back(file, failed);
  }
  slot_give(file, slot);
  --file.contents().record_count;
  change_end(file);
  return 0;
}

int delete_record(File& file, const char* record) {
  if (const int failed = make_visible(file)) return failed;
  const Probe probe = new_probe(file.trees[0], record, 0);
  Entries entries;
  Path& path = entries.paths[0];
  SlotNumber slot = 0;
  if (!tree_find(file, 0, probe, Bound::kNotLess, path)) return kIsBadFile;
  if (!place_has_key(file, 0, path.nodes[0], probe, slot)) return kIsNoRecord;
  if (slot == 0 || slot > file.slots || !slot_was_live(file, slot)) return kIsBadFile;
  if (!is_entry_of(file, 0, probe.data(), file.slot(slot))) return kIsBadFile;
  if (const int failed = check_not_locked(file, record)) return failed;
  if (const int failed = find_further_entries(file, slot, entries)) return failed;
  if (const int failed = change_prepare(file)) return failed;
  return remove_everywhere(file, slot, entries);
}

// ---- Adding a key

// Whether two records have the same value of a key.
bool has_duplicates(const File& file, const TreeShape& shape) {
  std::vector<std::string> values;
  for (std::uint64_t number = 1; number <= file.contents().slot_count; ++number) {
    if (!slot_is_live(file, file.slot(number))) continue;
    const Probe probe =
        new_probe(shape, reinterpret_cast<const char*>(file.slot(number) + sizeof(SlotHeader)), 0);
    values.emplace_back(reinterpret_cast<const char*>(probe.data()), shape.key_length);
  }
  std::ranges::sort(values);
  return std::ranges::adjacent_find(values) != values.end();
}

int rebuild_with(File& file, const std::vector<TreeShape>& trees) {
  if (const int failed = file_write_keys(file, trees)) return failed;
  return rebuild_indexes(file);
}

int add_key(File& file, const KeyDescription& key) {
  if (!file.exclusive) return kIsNotExclusive;
  if (const int failed = key_check(key, static_cast<int>(file.record_length))) return failed;
  if (file.trees.size() == kIsMostKeys) return kIsBadKey;
  if (std::ranges::any_of(file.trees,
                          [&](const TreeShape& shape) { return key_same(shape.key, key); })) {
    return kIsKeyExists;
  }
  const TreeShape shape = tree_shape(key);
  if (!shape.duplicates && has_duplicates(file, shape)) return kIsDuplicate;
  if (const int failed = slots_settle(file, 0)) return failed;  // or what is gone would be back
  const std::vector<TreeShape> before = file.trees;
  std::vector<TreeShape> after = before;
  after.push_back(shape);
  if (const int failed = file_put_in_state(file, kStateRebuild)) return failed;
  const int failed = rebuild_with(file, after);
  if (failed == 0) return 0;
  // Back to the keys of before. If that fails too, whoever opens the file next does it.
  const int again = rebuild_with(file, before);
  return again != 0 ? again : failed;
}

int start(Descriptor& descriptor, const KeyDescription& key, int length, const char* record,
          int mode) {
  const auto& trees = descriptor.file->trees;
  const auto tree =
      std::ranges::find_if(trees, [&](const TreeShape& shape) { return key_same(shape.key, key); });
  if (tree == trees.end()) return kIsBadKey;
  const bool by_value = mode >= kIsEqual && mode <= kIsGreaterOrEqual;
  if (!by_value && mode != kIsFirst && mode != kIsLast) return kIsBadArgument;
  if (length < 0 || static_cast<std::uint32_t>(length) > tree->key_length) return kIsBadArgument;
  const std::size_t before =
      std::exchange(descriptor.tree, static_cast<std::size_t>(tree - trees.begin()));
  ReadResult result;
  Search search;
  make_search(search, *tree, record, mode, length);
  const int failed = read_stable(descriptor, search, false, result);
  if (failed != 0) {
    descriptor.tree = before;
    return failed;
  }
  stand(descriptor, search, result);
  return result.error;
}

}  // namespace

int ISBUILD(const char* base, int record_length, const KeyDescription& primary, int mode) {
  return operation("ISBUILD", [&]() -> int {
    Mode asked;
    OpenRequest request;
    if (const int failed = parse_mode(mode, asked)) return fail(failed);
    if (const int failed = make_request(base, asked, request)) return fail(failed);
    if (record_length < 1 || record_length > kIsLongestRecord) return fail(kIsBadArgument);
    if (const int failed = key_check(primary, record_length)) return fail(failed);
    if (primary.flags != 0) return fail(kIsBadKey);
    forget_inherited();
    if (table_is_full()) return fail(kIsTooMany);
    auto file = std::make_shared<File>();
    if (const int failed =
            file_build(*file, request, static_cast<std::uint32_t>(record_length), primary)) {
      return fail(failed);
    }
    if (asked.exclusive) return take_descriptor(std::move(file), asked);
    if (const int failed = file_close(*file)) return fail(failed);
    return ISOPEN(base, mode);
  });
}

int ISADDINDEX(int number, const KeyDescription& key) {
  return operation("ISADDIND", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->writes) return fail(kIsNotOpen);
    return finish(add_key(*descriptor->file, key));
  });
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

int ISCLOSE(int number) {
  return operation("ISCLOSE", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    const std::shared_ptr<File> file = std::move(descriptor->file);
    *descriptor = Descriptor{};
    return finish(--file->users > 0 ? file_flush(*file) : file_close(*file));
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
    Search search;
    make_search(search, descriptor->file->trees[descriptor->tree], record, kind, 0);
    return finish(read_record(*descriptor, record, search, lock));
  });
}

int ISWRITE(int number, const char* record) {
  return operation("ISWRITE", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->writes) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    return finish(as_writer(file, [&] { return write_record(file, record); }));
  });
}

int ISDELETE(int number, const char* record) {
  return operation("ISDELETE", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr || !descriptor->writes) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    return finish(as_writer(file, [&] { return delete_record(file, record); }));
  });
}

int ISRELEASE(int number) {
  return operation("ISRELEASE", [&] {
    Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    for (Descriptor& other : state.descriptors) {
      if (other.file == descriptor->file) other.automatic_lock = 0;
    }
    return finish(file.exclusive ? 0 : file.index.unlock(kRecordLocks, kRecordLockBytes));
  });
}

int ISFLUSH(int number) {
  return operation("ISFLUSH", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    return finish(file_flush(*descriptor->file));
  });
}

std::int64_t iscount(int number) {
  const Descriptor* descriptor = descriptor_at(number);
  if (descriptor == nullptr) return fail(kIsNotOpen);
  return static_cast<std::int64_t>(descriptor->file->contents().record_count);
}

int isinfo(int descriptor, IsamInfo& info) {
  return operation("ISINFO", [&] {
    const Descriptor* opened = descriptor_at(descriptor);
    if (opened == nullptr) return fail(kIsNotOpen);
    File& file = *opened->file;
    info = {.record_length = static_cast<int>(file.record_length),
            .key_count = static_cast<int>(file.trees.size())};
    std::ranges::transform(file.trees, info.keys.begin(), &TreeShape::key);
    std::uint64_t changes = 0;
    do {
      if (const int failed = read_begin(file, changes)) return fail(failed);
      const Contents& contents = file.contents();
      info.record_count = static_cast<std::int64_t>(contents.record_count);
      info.deleted_count = static_cast<std::int64_t>(contents.slot_count) - info.record_count;
    } while (!read_was_whole(file, changes));
    if (const int failed = file.data.size(info.data_bytes)) return fail(failed);
    return finish(file.index.size(info.index_bytes));
  });
}

int ischeck(int number, std::vector<std::string>& findings) {
  return operation("ISCHECK", [&] {
    const Descriptor* descriptor = descriptor_at(number);
    if (descriptor == nullptr) return fail(kIsNotOpen);
    File& file = *descriptor->file;
    const auto walk = [&] {
      if (const int failed = make_visible(file)) return failed;
      findings = walk_file(file);
      return 0;
    };
    return finish(file.writable ? as_writer(file, walk) : walk());
  });
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
