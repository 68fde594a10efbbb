// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/cluster_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "runtime/isam/cluster/table_change.h"
#include "runtime/isam/common/reason.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner::isam {
namespace {

constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();

// Columns of the rows of a search; those of many records have no lock.
enum { kSequence, kRecord, kLock };

// Age at which a record that was read ahead is read again.
constexpr std::chrono::seconds kOldest(1);

// What is greater than everything at the place. Keys have a fixed length, so a longer one that
// begins with the key stands behind all of them.
KeyPlace behind(const TableKey& key, KeyPlace place) {
  if (key.duplicates && place.sequence < kGreatest) {
    ++place.sequence;
  } else {
    place.key += '\0';
    place.sequence = 0;
  }
  return place;
}

bool begin_alike(std::string_view a, std::string_view b, std::size_t length) {
  return a.substr(0, length) == b.substr(0, length);
}

bool is_back(int mode) {
  return mode == kIsLast || mode == kIsPrevious;
}

}  // namespace

// The statements of a search, with their parameters.
struct ClusterFile::Look {
  Look(ClusterFile& file, const Search& search, const KeyPosition& position, std::size_t size);
  Look(const Look&) = delete;
  Look& operator=(const Look&) = delete;

  KeyPlace edge;
  Number sequence{0};
  Number before;  // the automatic lock to give back
  Step plain;
  Step locking;
};

ClusterFile::Look::Look(ClusterFile& file, const Search& search, const KeyPosition& position,
                        std::size_t size)
    : before(file.automatic_lock_) {
  TableKey& key = file.key_at(search.key);
  const bool is_exact = search.mode == kIsEqual && search.length == key.length;
  switch (search.mode) {
    case kIsFirst:
      break;
    case kIsLast:
      edge.key.assign(key.length + 1, '\xFF');
      break;
    case kIsNext:
      edge = position.next_from_place ? position.place : behind(key, position.place);
      break;
    case kIsPrevious:
      edge = position.previous_to_place ? behind(key, position.place) : position.place;
      break;
    case kIsCurrent:
      edge = position.place;
      break;
    case kIsGreater:
      edge = behind(key, search.place);
      break;
    default:
      edge = search.place;
  }
  sequence = Number(edge.sequence);
  const auto use = [&](Statement& alone, Statement& with_lock, bool with_sequence) {
    plain.statement = &alone;
    locking.statement = &with_lock;
    plain.parameters = {edge.key};
    if (with_sequence) plain.parameters.push_back(sequence.bytes());
    locking.parameters = plain.parameters;
    locking.parameters.push_back(before.bytes());
  };
  if (search.mode == kIsCurrent) {
    use(key.current, key.lock_current, key.duplicates);
  } else if (is_exact) {
    use(key.equal, key.lock_equal, false);
  } else if (is_back(search.mode)) {
    use(key.backward[size], key.lock_backward, key.duplicates);
  } else {
    use(key.forward[size], key.lock_forward, key.duplicates);
  }
}

ClusterFile::ClusterFile(std::shared_ptr<Table> table, const OpenMode& mode, int read_ahead)
    : OpenIsam(mode),
      table_(std::move(table)),
      // Nobody can see that a walk reads ahead where nobody else can change the file, or where the
      // program only looks.
      read_ahead_(mode.exclusive || mode.read_only ? kAhead.back() : read_ahead) {
  ++table_->users;
}

// ---- Positions

std::size_t ClusterFile::find_key(const KeyDescription& description) {
  const auto& keys = table_->keys();
  return static_cast<std::size_t>(
      std::ranges::find_if(
          keys, [&](const TableKey& key) { return key_same(key.description, description); }) -
      keys.begin());
}

ClusterFile::Search ClusterFile::search_for(std::size_t number, const char* record, int mode,
                                            int length) {
  Search search{.mode = mode, .key = number, .place = {}};
  if (mode < kIsEqual) return search;
  const TableKey& key = key_at(number);
  search.length = length == 0 ? key.length : static_cast<std::size_t>(length);
  search.place.key = Table::key_of(key, record);
  const bool is_greater = mode == kIsGreater;
  search.place.key.replace(search.length, key.length - search.length, key.length - search.length,
                           is_greater ? '\xFF' : '\0');
  search.place.sequence = is_greater ? kGreatest : 0;
  return search;
}

// Whoever has the right can write anything into a table, and a record of another length would not
// fit the caller's buffer.
int ClusterFile::check_length(std::string_view record) {
  if (record.size() == table_->record_length()) return 0;
  return table_->schema().session().connection().refuse_record(table_->name());
}

// Stands at a record, and delivers it unless `to` is null.
int ClusterFile::stand_at(const Search& search, std::string_view record, std::int64_t sequence,
                          KeyPosition& position, char* to) {
  if (const int failed = check_length(record)) return failed;
  const TableKey& key = key_at(search.key);
  position.place.key.resize(key.length);
  key_from_record(key.description, record.data(),
                  reinterpret_cast<std::byte*>(position.place.key.data()));
  position.place.sequence = sequence;
  position.next_from_place = false;
  position.previous_to_place = false;
  position.at_record = true;
  if (to != nullptr) std::memcpy(to, record.data(), record.size());
  return 0;
}

void ClusterFile::stand_after_miss(const Search& search, KeyPosition& position) {
  if (search.mode == kIsCurrent) return;
  if (search.mode == kIsNext || search.mode == kIsPrevious) {
    // Beside the last record that was read, so that records added after it later are still found.
    if (!position.at_record) return;
    position.next_from_place = search.mode == kIsPrevious;
  } else {
    position.place = search.place;
    position.next_from_place = search.mode != kIsGreater;
  }
  position.previous_to_place = !position.next_from_place;
  position.at_record = false;
}

int ClusterFile::keep_position(IsPosition& position) {
  position.key = static_cast<int>(key_);
  position.at_record = position_.at_record;
  position.before = position_.next_from_place;
  position.entry = {};
  const Number sequence(position_.place.sequence);
  const std::string bytes = (position_.place.key + std::string(key_at(key_).length, '\0'))
                                .substr(0, key_at(key_).length) +
                            std::string(sequence.bytes());
  std::memcpy(position.entry.data(), bytes.data(), bytes.size());
  return 0;
}

int ClusterFile::return_to(const IsPosition& kept) {
  if (kept.key < 0 || static_cast<std::size_t>(kept.key) >= table_->keys().size())
    return kIsBadArgument;
  key_ = static_cast<std::size_t>(kept.key);
  const std::size_t length = key_at(key_).length;
  const auto* const bytes = reinterpret_cast<const char*>(kept.entry.data());
  position_.place.key.assign(bytes, length);
  std::uint64_t sequence = 0;
  for (std::size_t i = 0; i < sizeof sequence; ++i)
    sequence = sequence << 8 | static_cast<unsigned char>(bytes[length + i]);
  position_.place.sequence = static_cast<std::int64_t>(sequence);
  position_.at_record = kept.at_record;
  position_.next_from_place = kept.before && !kept.at_record;
  position_.previous_to_place = !kept.before && !kept.at_record;
  forget_ahead();
  return 0;
}

// ---- Reading

// Size of the answer to ask for: a program that goes on in one direction gets more and more, and one
// that has said that it will begins with some.
std::size_t ClusterFile::ahead_of(const Search& search, bool lock) {
  const bool is_step = search.mode == kIsNext || search.mode == kIsPrevious;
  if (!is_step || lock) return 0;
  std::size_t size = goes_on(search) ? ahead_.size + 1 : walk_ahead_ > 0 ? 1 : 0;
  size = std::min(size, kAhead.size() - 1);
  const auto fits = [&] {
    return kAhead[size] <= std::max(read_ahead_, walk_ahead_) &&
           static_cast<std::size_t>(kAhead[size]) * table_->record_length() <= kMostAhead;
  };
  while (size > 0 && !fits())
    --size;
  return size;
}

// Whether what was read ahead still holds for the next step.
bool ClusterFile::goes_on(const Search& search) const {
  return ahead_.mode == search.mode && ahead_.changes == table_->changes &&
         (is_steady() || Clock::now() - ahead_.asked < kOldest);
}

// Gives the next record of those that were read ahead. False if there is none.
bool ClusterFile::take_ahead(const Search& search, std::int64_t& sequence,
                             std::string_view& record) {
  if (!goes_on(search)) return false;
  if (ahead_.next < ahead_.rows.count()) {
    sequence = ahead_.rows.number(ahead_.next, kSequence);
    record = ahead_.rows.bytes(ahead_.next++, kRecord);
    return true;
  }
  // A walk that has used up the longest answer is a long one.
  if (ahead_.rows.count() < kAhead.back()) return false;
  if (stream_.next(sequence, record)) return true;
  return stream_.is_used_up() && begin_stream(search) && stream_.next(sequence, record);
}

bool ClusterFile::begin_stream(const Search& search) {
  const TableKey& key = key_at(search.key);
  const bool forward = !is_back(search.mode);
  const KeyPlace from = forward ? behind(key, position_.place) : position_.place;
  if (!is_steady()) ahead_.asked = Clock::now();
  const std::size_t limit = kMostAhead / table_->record_length();
  return stream_.begin(
      table_->schema().session().connection(),
      table_->walk_query(search.key, forward, from.key, from.sequence, static_cast<int>(limit)),
      limit);
}

void ClusterFile::forget_ahead() {
  ahead_ = {};
  stream_.forget();
}

int ClusterFile::ahead(int records) {
  walk_ahead_ = records;
  forget_ahead();
  return 0;
}

// Reads a record and locks it. The search runs twice, in one round trip: the lock first, and then a
// look at the record as it is under the lock; a single statement would see the record as it was
// before.
int ClusterFile::run_locking(const Search& search, Look& look, Rows& rows) {
  const bool by_primary = search.key == 0 && search.mode == kIsEqual;
  const std::int64_t own = by_primary ? table_->lock_of(look.edge.key) : 0;
  // The server counts locks, and this process has the lock already.
  if (by_primary && !mode().automatic && table_->held.contains(own))
    return table_->ask({&look.plain, 1}, {&rows, 1});
  const Number own_number(own);
  if (by_primary)
    look.locking = {&table_->lock_primary,
                    {look.edge.key, own_number.bytes(), look.before.bytes()}};
  constexpr int kPatience = 300;
  for (int round = 0; round < kPatience; ++round) {
    if (round > 0) wait_a_little(round);
    const Step steps[] = {look.locking, look.plain};
    std::array<Rows, 2> both;
    if (const int failed = table_->ask(steps, both)) return failed;
    const Rows& got = both[0];
    rows = std::move(both[1]);
    const std::int64_t outcome =
        got.count() == 0 ? kNoRecordFree : got.number(0, by_primary ? 0 : 1);
    const std::int64_t lock = by_primary || got.count() == 0 ? own : got.number(0, 0);
    const bool same = rows.count() > 0 && outcome != kNoRecordFree && rows.number(0, kLock) == lock;
    if (outcome == kGot && same) {
      const int damaged = check_length(rows.bytes(0, kRecord));
      if (damaged == 0) {
        note_lock(lock, rows);
        return 0;
      }
      const int failed = refuse_lock(lock);
      return failed != 0 ? failed : damaged;
    }
    if (outcome == kHeldByOther && (same || by_primary)) return kIsLocked;
    if (outcome == kNoRecordFree && rows.count() == 0) return 0;
    // Between the two looks another process has changed which record it is; or it is changing it.
    if (outcome != kGot) continue;
    if (const int failed = refuse_lock(lock)) return failed;
  }
  return kIsLocked;
}

// Gives a lock back that came with no record. The server has taken the automatic lock back for it,
// unless they are the same: that one is then counted once less, as before.
int ClusterFile::refuse_lock(std::int64_t lock) {
  if (automatic_lock_ != lock) forget_automatic_lock();
  return give_back(lock);
}

// The server has given the automatic lock back.
void ClusterFile::forget_automatic_lock() {
  const auto found = table_->held.find(std::exchange(automatic_lock_, 0));
  if (found != table_->held.end() && --found->second.count == 0) table_->held.erase(found);
}

// Notes a lock that the server has given, and that it has taken the automatic one before back.
void ClusterFile::note_lock(std::int64_t lock, const Rows& rows) {
  HeldLock& held = table_->held[lock];
  held.key = Table::key_of(key_at(0), rows.bytes(0, kRecord).data());
  held.sequence = rows.number(0, kSequence);
  ++held.count;
  if (!mode().automatic) return;
  if (automatic_lock_ != lock) forget_automatic_lock();
  automatic_lock_ = lock;
}

int ClusterFile::find(const Search& search, bool lock, char* record, KeyPosition& position) {
  if (search.mode == kIsCurrent && !position.at_record) return kIsNoCurrent;
  stream_.forget();
  const Clock::time_point asked = is_steady() ? Clock::time_point{} : Clock::now();
  const std::size_t size = ahead_of(search, lock);
  Look look(*this, search, position, size);
  Rows rows;
  const int failed =
      lock ? run_locking(search, look, rows) : table_->ask({&look.plain, 1}, {&rows, 1});
  if (failed == kIsLocked && !lock)
    return table_->schema().session().connection().refuse_table_in_use();
  if (failed != 0 && failed != kIsLocked) return failed;
  KeyPosition there;
  bool found = rows.count() > 0;
  if (found) {
    const std::string_view bytes = rows.bytes(0, kRecord);
    if (const int damaged = stand_at(search, bytes, rows.number(0, kSequence), there, nullptr))
      return damaged;
    found =
        search.mode != kIsEqual || begin_alike(there.place.key, search.place.key, search.length);
  }
  if (!found) {
    stand_after_miss(search, position);
    if (failed != 0) return failed;
    return search.mode == kIsCurrent  ? kIsNoCurrent
           : search.mode < kIsCurrent ? kIsEndOfFile
                                      : kIsNoRecord;
  }
  position = std::move(there);
  if (failed != 0) {
    ahead_ = {};
    return failed;
  }
  if (record != nullptr)
    std::memcpy(record, rows.bytes(0, kRecord).data(), table_->record_length());
  ahead_ = {.rows = std::move(rows),
            .next = 1,
            .mode = search.mode,
            .size = size,
            .changes = table_->changes,
            .asked = asked};
  return 0;
}

int ClusterFile::read(char* record, int mode, bool lock) {
  if (const int fault = table_->fault()) return fault;
  const Search search = search_for(key_, record, mode, 0);
  std::int64_t sequence = 0;
  std::string_view bytes;
  if (lock || !take_ahead(search, sequence, bytes)) return find(search, lock, record, position_);
  const int failed = stand_at(search, bytes, sequence, position_, record);
  if (failed != 0) forget_ahead();  // the next step meets the damaged record again
  return failed;
}

int ClusterFile::start(const KeyDescription& description, int length, const char* record,
                       int mode) {
  if (const int fault = table_->fault()) return fault;
  const std::size_t number = find_key(description);
  if (number == table_->keys().size()) return kIsBadKey;
  if (static_cast<std::size_t>(length) > key_at(number).length) return kIsBadArgument;
  KeyPosition position;
  const int failed = find(search_for(number, record, mode, length), false, nullptr, position);
  forget_ahead();
  if (failed != 0 && failed != kIsNoRecord && failed != kIsEndOfFile) return failed;
  key_ = number;
  position_ = position;
  return failed;
}

int ClusterFile::select(const KeyDescription& description) {
  const std::size_t number = find_key(description);
  if (number == table_->keys().size()) return kIsBadKey;
  std::string record(table_->record_length(), '\0');
  KeyPosition position = position_;
  if (const int failed =
          find(search_for(key_, nullptr, kIsCurrent, 0), false, record.data(), position))
    return failed;
  key_ = number;
  position_.place.key = Table::key_of(key_at(number), record.data());
  position_.place.sequence = position.place.sequence;
  forget_ahead();
  return 0;
}

// ---- Changing

int ClusterFile::change(Statement& statement, const char* record, bool inserts) {
  if (const int fault = table_->fault()) return fault;
  return table_change(*table_, statement, record, inserts);
}

int ClusterFile::write(const char* record) {
  return change(table_->insert, record, true);
}

int ClusterFile::replace(const char* record) {
  return change(table_->replace, record, false);
}

int ClusterFile::remove(const char* record) {
  if (const int fault = table_->fault()) return fault;
  return table_remove(*table_, record);
}

int ClusterFile::add_key(const KeyDescription& key) {
  if (!table_->exclusive) return kIsNotExclusive;
  if (find_key(key) < table_->keys().size()) return kIsKeyExists;
  if (table_->keys().size() == kIsMostKeys) return kIsBadKey;
  if (const int failed = validate_key(key, static_cast<int>(table_->record_length())))
    return failed;
  forget_ahead();
  return table_add_key(*table_, key);
}

int ClusterFile::flush() {
  if (const int fault = table_->fault()) return fault;
  const int failed = table_->schema().flush();
  return failed != 0 ? failed : table_->fault();
}

// ---- Locks

int ClusterFile::give_back(std::int64_t lock) {
  const Number number(lock);
  const Step step{&table_->schema().unlock, {number.bytes()}};
  Rows rows;
  return table_->schema().session().ask({&step, 1}, {&rows, 1});
}

int ClusterFile::lock(const char* record, bool& taken) {
  taken = false;
  if (const int fault = table_->fault()) return fault;
  const std::string key = Table::key_of(key_at(0), record);
  const std::int64_t lock = table_->lock_of(key);
  if (table_->held.contains(lock)) return 0;
  std::int64_t sequence = 0;
  if (const int failed = table_lock(*table_, key, lock, sequence)) return failed;
  table_->held[lock] = {.key = key, .sequence = sequence, .count = 1};
  taken = true;
  return 0;
}

int ClusterFile::unlock(const char* record) {
  const std::int64_t lock = table_->lock_of(Table::key_of(key_at(0), record));
  const auto found = table_->held.find(lock);
  if (found == table_->held.end()) return 0;
  for (; found->second.count > 0; --found->second.count) {
    if (const int failed = give_back(lock)) return failed;
  }
  table_->held.erase(found);
  return 0;
}

int ClusterFile::release() {
  automatic_lock_ = 0;
  const int failed = table_release(*table_);
  // The locks that were lost are given up with the others.
  const int fault = table_->fault();
  if (fault == kIsLockLost) table_->forget_fault();
  return failed != 0 ? failed : fault == kIsChangesLost ? fault : 0;
}

int ClusterFile::retire() {
  if (!table_->exclusive) return kIsBadArgument;
  return flush();
}

int ClusterFile::snapshot_write(const std::string& /*base*/, const std::string& /*like*/,
                                const IsWatch& /*watch*/) {
  return refuse(kIsBadArgument, "a file of a database cluster is no pair of files");
}

int ClusterFile::close() {
  Table& table = *table_;
  int failed = mode().writes && !table.retired ? flush() : table.fault();
  forget_ahead();
  snapshot_ = nullptr;
  if (--table.users > 0) return failed;
  const int not_given_back = table_close(table);
  table.forget_fault();
  return failed != 0 ? failed : not_given_back;
}

// ---- Properties

int ClusterFile::count(std::int64_t& records) {
  const Step step{&table_->count, {}};
  Rows rows;
  const int failed = table_->ask({&step, 1}, {&rows, 1});
  if (failed == 0) records = rows.number(0, 0);
  return failed;
}

// Nothing tells cheaply whether other sessions have changed a table. So each look counts as a
// change; who asks reads again then.
int ClusterFile::changes(std::uint64_t& number) {
  static_assert(sizeof table_->changes == sizeof number);
  number = static_cast<std::uint64_t>(++table_->changes);
  return table_->fault();
}

int ClusterFile::info(IsamInfo& info) {
  return table_info(*table_, info);
}

int ClusterFile::shape(IsamInfo& shape) {
  shape = table_shape(*table_);
  return table_->fault();
}

// Pages of the server are filled as it likes.
int ClusterFile::fill(double& fill) {
  fill = 1;
  return table_->fault();
}

int ClusterFile::check(std::vector<std::string>& findings, const IsWatch& watch) {
  return table_check(*table_, findings, watch);
}

int ClusterFile::glance(std::vector<std::string>& findings) {
  findings.clear();
  return table_->fault();
}

}  // namespace marigold::inner::isam
