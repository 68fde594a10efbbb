// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/table.h"

#include <algorithm>
#include <utility>

#include "runtime/isam/cluster/key_expression.h"
#include "runtime/isam/common/isam.h"
#include "runtime/isam/common/reason.h"

namespace marigold::inner::isam {
namespace {

constexpr std::size_t kPackedKey = 4 + kIsMostParts * 6;

std::string parameter(std::size_t number, const char* type) {
  return "$" + std::to_string(number) + "::" + type;
}

std::string column(std::size_t key) {
  return "k" + std::to_string(key + 1);
}

std::string key_parameters(std::size_t count) {
  std::string text;
  for (std::size_t key = 0; key < count; ++key)
    text.append(key == 0 ? "" : ", ").append(parameter(key + 1, "bytea"));
  return text;
}

// A search along a key: the conditions and the order of its rows.
struct Search {
  std::string where;
  std::string order;
  std::size_t parameters;
};

Search search(const TableKey& key, std::size_t number, bool forward) {
  const std::string name = column(number);
  const std::string compare = forward ? " >= " : " < ";
  const std::string direction = forward ? " ASC" : " DESC";
  if (!key.duplicates) return {name + compare + "$1::bytea", name + direction, 1};
  return {"(" + name + ", seq)" + compare + "($1::bytea, $2::bigint)",
          name + direction + ", seq" + direction, 2};
}

Search search_equal(const TableKey& key, std::size_t number) {
  return {column(number) + " = $1::bytea", key.duplicates ? "seq ASC" : "", 1};
}

Search search_current(const TableKey& key, std::size_t number) {
  if (!key.duplicates) return search_equal(key, number);
  return {column(number) + " = $1::bytea AND seq = $2::bigint", "", 2};
}

std::string rows_of(const std::string& table, const Search& search, int limit,
                    const char* wanted = "seq, record, lock") {
  return std::string("SELECT ") + wanted + " FROM " + table + " WHERE " + search.where +
         (search.order.empty() ? "" : " ORDER BY " + search.order) + " LIMIT " +
         std::to_string(limit);
}

// A LockOutcome. Who gets a shared lock besides meets only changes, which are soon done.
std::string try_lock(const std::string& lock) {
  return "CASE WHEN pg_try_advisory_lock(" + lock +
         ") THEN 1 WHEN pg_try_advisory_xact_lock_shared(" + lock + ") THEN 0 ELSE 2 END";
}

std::string locking(const std::string& table, const Search& search) {
  const std::string before = parameter(search.parameters + 1, "bigint");
  return "WITH found AS MATERIALIZED (" + rows_of(table, search, 1, "lock") +
         "), got AS MATERIALIZED (SELECT lock, " + try_lock("lock") +
         "::bigint AS outcome FROM found) SELECT lock, outcome, CASE WHEN outcome = 1 AND " +
         before + " <> 0 AND " + before + " <> lock THEN pg_advisory_unlock(" + before +
         ") END FROM got";
}

std::string be16(int value) {
  return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

std::int16_t from_be16(std::string_view bytes, std::size_t at) {
  return static_cast<std::int16_t>(static_cast<unsigned char>(bytes[at]) << 8 |
                                   static_cast<unsigned char>(bytes[at + 1]));
}

}  // namespace

// ---- Keys

std::string pack_keys(std::span<const KeyDescription> keys) {
  std::string bytes;
  for (const KeyDescription& key : keys) {
    bytes += be16(key.flags) + be16(key.part_count);
    for (const KeyPart& part : key.parts)
      bytes += be16(part.start) + be16(part.length) + be16(part.type);
  }
  return bytes;
}

bool unpack_keys(std::string_view bytes, int record_length, std::vector<KeyDescription>& keys) {
  keys.clear();
  if (bytes.empty() || bytes.size() % kPackedKey != 0 || bytes.size() / kPackedKey > kIsMostKeys)
    return false;
  for (; !bytes.empty(); bytes.remove_prefix(kPackedKey)) {
    KeyDescription& key = keys.emplace_back();
    key.flags = from_be16(bytes, 0);
    key.part_count = from_be16(bytes, 2);
    std::size_t at = 4;
    for (KeyPart& part : key.parts) {
      part = {from_be16(bytes, at), from_be16(bytes, at + 2), from_be16(bytes, at + 4)};
      at += 6;
    }
    if (validate_key(key, record_length) != 0) return false;
  }
  return keys.front().flags == 0;
}

std::string Table::key_of(const TableKey& key, const char* record) {
  std::string bytes(key.length, '\0');
  key_from_record(key.description, record, reinterpret_cast<std::byte*>(bytes.data()));
  return bytes;
}

// FNV-1a over the file's id and the key, and then a mixing of its bits.
std::int64_t Table::lock_of(std::string_view primary) const {
  std::uint64_t hash = 0xCBF29CE484222325U;
  const auto take = [&](unsigned char byte) { hash = (hash ^ byte) * 0x100000001B3U; };
  for (int shift = 56; shift >= 0; shift -= 8)
    take(static_cast<unsigned char>(static_cast<std::uint64_t>(id_) >> shift & 0xFF));
  for (const char byte : primary)
    take(static_cast<unsigned char>(byte));
  hash = (hash ^ hash >> 33) * 0xFF51AFD7ED558CCDU;
  hash = (hash ^ hash >> 33) * 0xC4CEB9FE1A85EC53U;
  return static_cast<std::int64_t>(hash ^ hash >> 33);
}

// ---- Shape and statements

std::string Table::quoted_table() const {
  return schema_.quoted("f" + std::to_string(number_));
}

std::string Table::quoted_sequence() const {
  return schema_.quoted("f" + std::to_string(number_) + "_seq");
}

std::string Table::columns() const {
  std::string text;
  for (std::size_t key = 0; key < keys_.size(); ++key)
    text += column(key) + ", ";
  return text + "seq, lock, record";
}

int Table::take_shape(const Rows& rows) {
  if (rows.is_null(0, kFormat) || rows.number(0, kFormat) != kClusterFormat)
    return refuse(
        kIsBadFile,
        schema_.session().connection().place() + ": the schema was made by version " +
            (rows.is_null(0, kFormat) ? "none" : std::to_string(rows.number(0, kFormat))) +
            " of the engine, this one knows version " + std::to_string(kClusterFormat));
  const std::string_view bytes = rows.bytes(0, kKeys);
  if (number_ == rows.number(0, kNumber) && key_bytes_ == bytes) return 0;
  const std::int64_t length = rows.number(0, kRecordLength);
  std::vector<KeyDescription> descriptions;
  if (length < 1 || length > kIsLongestRecord ||
      !unpack_keys(bytes, static_cast<int>(length), descriptions))
    return refuse(kIsBadFile, schema_.session().connection().place() + ": the directory entry of " +
                                  name_ + " is damaged");
  number_ = rows.number(0, kNumber);
  id_ = rows.number(0, kId);
  record_length_ = static_cast<std::size_t>(length);
  key_bytes_ = bytes;
  keys_.clear();
  for (const KeyDescription& description : descriptions) {
    TableKey& key = keys_.emplace_back();
    key.description = description;
    key.duplicates = description.flags != 0;
    key.length = key_length(description);
  }
  make_statements();
  make_changes();
  return 0;
}

std::string Table::walk_query(std::size_t key, bool forward, std::string_view from,
                              std::int64_t sequence, int limit) const {
  Search walk = search(keys_[key], key, forward);
  const auto put = [&](const std::string& parameter, const std::string& value) {
    if (const std::size_t at = walk.where.find(parameter); at != std::string::npos)
      walk.where.replace(at, parameter.size(), value);
  };
  put("$1::bytea", bytes_literal(from));
  put("$2::bigint", "'" + std::to_string(sequence) + "'::bigint");
  return rows_of(quoted_table(), walk, limit, "seq, record");
}

void Table::make_statements() {
  const std::string table = quoted_table();
  for (std::size_t number = 0; number < keys_.size(); ++number) {
    TableKey& key = keys_[number];
    const Search forward = search(key, number, true);
    const Search backward = search(key, number, false);
    for (std::size_t size = 0; size < kAhead.size(); ++size) {
      // Nobody locks what was read ahead, and a walk of many records is long enough.
      const char* const wanted = size == 0 ? "seq, record, lock" : "seq, record";
      key.forward[size] = {.text = rows_of(table, forward, kAhead[size], wanted)};
      key.backward[size] = {.text = rows_of(table, backward, kAhead[size], wanted)};
    }
    key.equal = {.text = rows_of(table, search_equal(key, number), 1)};
    key.current = {.text = rows_of(table, search_current(key, number), 1)};
    key.lock_forward = {.text = locking(table, forward)};
    key.lock_backward = {.text = locking(table, backward)};
    key.lock_equal = {.text = locking(table, search_equal(key, number))};
    key.lock_current = {.text = locking(table, search_current(key, number))};
  }
  lock_primary = {.text =
                      "WITH found AS MATERIALIZED (SELECT EXISTS (SELECT FROM " + table +
                      " WHERE k1 = $1::bytea) AS there), got AS MATERIALIZED (SELECT CASE WHEN "
                      "there THEN " +
                      try_lock("$2::bigint") +
                      " WHEN pg_try_advisory_xact_lock_shared($2::bigint) THEN 3 ELSE 2 "
                      "END::bigint AS outcome FROM found) SELECT outcome, CASE WHEN outcome = 1 "
                      "AND $3::bigint <> 0 AND $3::bigint <> $2::bigint "
                      "THEN pg_advisory_unlock($3::bigint) END FROM got"};
  lock_any = {.text = "SELECT (" + try_lock("$1::bigint") + ")::bigint"};
  count = {.text = "SELECT count(*) FROM " + table};
}

// A change takes the lock of its record shared, for the moment of the change: it is refused while
// another process has locked the record, and changes do not exclude each other.
void Table::make_changes() {
  const std::string table = quoted_table();
  const std::size_t n = keys_.size();
  const std::string lock = parameter(n + 1, "bigint");
  const std::string record = parameter(n + 2, "bytea");
  const std::string next = "nextval(" + Connection::quoted_text(quoted_sequence()) + ")";
  const std::string values = key_parameters(n) + ", " + next + ", " + lock + ", " + record;
  const std::string names = columns();
  std::string assignments = "seq = " + next + ", record = " + record;
  for (std::size_t key = 1; key < n; ++key)
    assignments += ", " + column(key) + " = " + parameter(key + 1, "bytea");
  const auto may = [](const std::string& of) {
    return "WITH may AS MATERIALIZED (SELECT pg_try_advisory_xact_lock_shared(" + of + ") AS ok), ";
  };
  const auto outcome = [&](std::size_t session, const char* sequence) {
    return "), noted AS (UPDATE " + schema_.quoted("marigold_sessions") +
           " SET operation = " + parameter(session + 1, "bigint") + ", sequence = " + sequence +
           " FROM done WHERE session = " + parameter(session, "bigint") +
           ") SELECT ok, (SELECT seq FROM done), NOT ok AND EXISTS (SELECT FROM " + table +
           " WHERE k1 = $1::bytea) FROM may";
  };
  insert = {.text = may(lock) + "done AS (INSERT INTO " + table + " (" + names + ") SELECT " +
                    values + " FROM may WHERE ok ON CONFLICT DO NOTHING RETURNING seq" +
                    outcome(n + 3, "done.seq")};
  replace = {.text = may(lock) + "done AS (UPDATE " + table + " SET " + assignments +
                     " WHERE k1 = $1::bytea AND (SELECT ok FROM may) RETURNING seq" +
                     outcome(n + 3, "done.seq")};
  remove = {.text = may("$2::bigint") + "done AS (DELETE FROM " + table +
                    " WHERE k1 = $1::bytea AND (SELECT ok FROM may) RETURNING seq" +
                    outcome(3, "0")};
  // In a set each record is locked for its process alone, and one that somebody else has locked
  // fails the whole transaction, by a division by zero.
  const auto must = [](const std::string& of) {
    return "WITH may AS MATERIALIZED (SELECT 1 / pg_try_advisory_xact_lock(" + of +
           ")::integer AS ok), ";
  };
  std::string excluded = "seq = excluded.seq, record = excluded.record";
  for (std::size_t key = 1; key < n; ++key)
    excluded += ", " + column(key) + " = excluded." + column(key);
  const std::string sequence = ") SELECT (SELECT seq FROM done) FROM may";
  set_write = {.text = must(lock) + "done AS (INSERT INTO " + table + " (" + names + ") SELECT " +
                       values + " FROM may WHERE ok = 1 ON CONFLICT (k1) DO UPDATE SET " +
                       excluded + " RETURNING seq" + sequence};
  set_remove = {.text = must("$2::bigint") + "done AS (DELETE FROM " + table +
                        " WHERE k1 = $1::bytea AND (SELECT ok FROM may) = 1 RETURNING seq" +
                        sequence};
}

// ---- Locks

void Table::note_change(std::int64_t lock, std::int64_t sequence) {
  ++changes;
  if (const auto found = held.find(lock); found != held.end()) found->second.sequence = sequence;
}

int Table::ask(std::span<const Step> steps, std::span<Rows> rows) {
  if (const int before = fault()) return before;
  const int failed = schema_.session().ask(steps, rows);
  return failed != 0 ? failed : fault();
}

int Table::fault() {
  return fault_ == 0 ? 0 : refuse(fault_, fault_reason_);
}

void Table::lose(int number, const std::string& reason) {
  if (users == 0 || fault_ == kIsChangesLost) return;
  fault_ = number;
  fault_reason_ = reason;
}

int Table::restore_lock(Connection& connection, std::int64_t lock, HeldLock& held_lock,
                        bool& good) {
  const Number number(lock);
  const Step steps[] = {{&schema_.try_lock, {number.bytes()}},
                        {&keys_.front().equal, {held_lock.key}}};
  Rows rows[2];
  if (const int failed = connection.run(steps, rows)) return failed;
  held_lock.count = rows[0].number(0, 0) != 0 ? 1 : 0;
  const std::int64_t sequence = rows[1].count() == 0 ? 0 : rows[1].number(0, 0);
  good = held_lock.count == 1 && (held_lock.sequence < 0 || sequence == held_lock.sequence);
  return 0;
}

int Table::restore(Connection& connection) {
  ++changes;
  if (users == 0 || retired) return 0;
  const std::string before = connection.place() + ": the connection was lost for a while, and ";
  const Number alone(exclusive ? 1 : 0);
  const Step step{&schema_.lock_file, {name_, alone.bytes()}};
  Rows rows;
  if (const int failed = connection.run({&step, 1}, {&rows, 1})) return failed;
  const bool same = rows.count() == 1 && rows.number(0, kNumber) == number_;
  if (!same) lose(kIsLockLost, before + "another file has taken the place of " + name_);
  if (same && rows.number(0, kGotLock) == 0)
    lose(kIsLockLost, before + "another process has taken the file for itself");
  for (auto& [lock, held_lock] : held) {
    bool good = false;
    if (const int failed = restore_lock(connection, lock, held_lock, good)) return failed;
    if (!good)
      lose(kIsLockLost,
           before + "another process has locked or changed a record that was locked here");
  }
  return 0;
}

}  // namespace marigold::inner::isam
