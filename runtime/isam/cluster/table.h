// SPDX-License-Identifier: GPL-3.0-or-later
// The table of a file, as this process has it open: its keys, its statements, and the locks of this
// process on it.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/isam/cluster/session.h"
#include "runtime/isam/common/key.h"

namespace marigold::inner::isam {

// Sizes of the answers of a walk that reads ahead: one record, and then more and more.
inline constexpr std::array<int, 4> kAhead = {1, 16, 128, 1024};

// Bytes of records that an answer of a walk may have.
inline constexpr std::size_t kMostAhead = std::size_t{1} << 22;

// A key with the statements along it. Each returns rows of (sequence, lock, record).
struct TableKey {
  KeyDescription description;
  bool duplicates = false;
  std::size_t length = 0;
  // From a place on, $1 the key and, with duplicates, $2 the sequence: the first records from there,
  // or the last ones before it. As many as kAhead says.
  std::array<Statement, kAhead.size()> forward;
  std::array<Statement, kAhead.size()> backward;
  Statement equal;    // the first record with the key $1
  Statement current;  // the record with this key and sequence; without duplicates the same as equal
  // The same searches for one record, which lock it, and then give the lock of the last parameter
  // back, unless that is 0. Rows of (lock, LockOutcome).
  Statement lock_forward;
  Statement lock_backward;
  Statement lock_equal;
  Statement lock_current;
};

// What came of trying to lock a record. Changes without a lock hold theirs for a moment, and are
// waited for; a lock of another process is not.
enum LockOutcome : std::int64_t { kBusy, kGot, kHeldByOther, kNoRecordFree };

// A record lock of this process.
struct HeldLock {
  std::string key;            // bytes of the primary key
  std::int64_t sequence = 0;  // of the record, 0 for none: nobody else can have changed it
  int count = 0;              // how often the server has counted it
};

// Columns of rows of find_file and lock_file.
enum FileColumn { kNumber, kId, kRecordLength, kKeys, kFormat, kGotLock };

class Table {
 public:
  Table(Schema& schema, std::string name) : schema_(schema), name_(std::move(name)) {}
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // Takes the properties from a row of the directory, unless they are known already.
  int take_shape(const Rows& rows);

  [[nodiscard]] Schema& schema() { return schema_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] std::int64_t number() const { return number_; }
  [[nodiscard]] std::int64_t id() const { return id_; }
  [[nodiscard]] std::size_t record_length() const { return record_length_; }
  [[nodiscard]] std::vector<TableKey>& keys() { return keys_; }
  // Quoted names of the table, and of the sequence that numbers its records.
  [[nodiscard]] std::string quoted_table() const;
  [[nodiscard]] std::string quoted_sequence() const;
  // "k1, k2, seq, lock, record"
  [[nodiscard]] std::string columns() const;

  // Returns the key bytes of a record.
  static std::string key_of(const TableKey& key, const char* record);
  // Returns a query of the records (sequence, record) from a place of a key on, or before it. The
  // sequence counts only where duplicates are allowed.
  [[nodiscard]] std::string walk_query(std::size_t key, bool forward, std::string_view from,
                                       std::int64_t sequence, int limit) const;
  // The lock that stands for a primary key; see docs/formats/cluster.md.
  [[nodiscard]] std::int64_t lock_of(std::string_view primary) const;

  // ---- Use by this process

  int users = 0;
  bool exclusive = false;
  bool retired = false;  // another file may have taken its name
  std::int64_t changes =
      0;  // of this process; records that were read ahead are of no use after one

  std::map<std::int64_t, HeldLock> held;
  // Notes that this process has changed a record; sequence 0: deleted.
  void note_change(std::int64_t lock, std::int64_t sequence);

  // Runs steps that only read or lock, in one round trip, unless there is a fault; also one that is
  // found while a lost connection comes back.
  int ask(std::span<const Step> steps, std::span<Rows> rows);

  // 0, or why no operation is possible, with its reason noted.
  int fault();
  void forget_fault() { fault_ = 0; }
  // No operation is possible from now on, if this process has the file open.
  void lose(int number, const std::string& reason);

  // After a new connection: takes the lock of the file, and those of its records.
  int restore(Connection& connection);

  Statement insert;
  Statement replace;
  Statement remove;
  // Locks the primary key $1 with the lock $2 if it has a record: rows of (LockOutcome).
  Statement lock_primary;
  Statement lock_any;  // locks $1 whatever it stands for: rows of (LockOutcome)
  Statement set_write;
  Statement set_remove;
  Statement count;

 private:
  void make_statements();
  void make_changes();
  int restore_lock(Connection& connection, std::int64_t lock, HeldLock& held_lock, bool& good);

  Schema& schema_;
  std::string name_;
  std::int64_t number_ = 0;
  std::int64_t id_ = 0;
  std::size_t record_length_ = 0;
  std::string key_bytes_;  // of the directory
  std::vector<TableKey> keys_;
  int fault_ = 0;
  std::string fault_reason_;
};

// Key descriptions, as the directory has them.
std::string pack_keys(std::span<const KeyDescription> keys);
// False for bytes that are none, or keys that do not fit the records.
bool unpack_keys(std::string_view bytes, int record_length, std::vector<KeyDescription>& keys);

}  // namespace marigold::inner::isam
