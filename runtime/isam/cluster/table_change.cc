// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/table_change.h"

#include <algorithm>
#include <array>

#include "runtime/isam/cluster/key_expression.h"
#include "runtime/isam/common/reason.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner::isam {
namespace {

// Columns of the rows of a change: whether no other process has the record locked, the sequence of
// the changed record, and whether there is a record that somebody else has locked.
enum { kMayChange, kChanged, kIsLockedThere };

// Rounds in which the changes of others, which hold a lock for a moment, are waited for.
constexpr int kPatience = 300;

int run_change(Table& table, const Step& step, std::int64_t lock, bool deletes, Rows& rows,
               bool& changed) {
  Schema& schema = table.schema();
  bool done_before = false;
  const int failed = schema.change({&step, 1}, {&rows, 1}, &table, lock, done_before);
  changed = failed == 0 && (done_before || !rows.is_null(0, kChanged));
  if (!changed || done_before) return failed;
  schema.acknowledge();
  table.note_change(lock, deletes ? 0 : rows.number(0, kChanged));
  return 0;
}

bool is_locked(const Rows& rows) {
  return rows.number(0, kIsLockedThere) != 0;
}

}  // namespace

int table_change(Table& table, Statement& statement, const char* record, bool inserts) {
  std::array<std::string, kIsMostKeys> keys;
  Step step{&statement, {}};
  for (std::size_t key = 0; key < table.keys().size(); ++key) {
    keys[key] = Table::key_of(table.keys()[key], record);
    step.parameters.emplace_back(keys[key]);
  }
  const std::int64_t lock = table.lock_of(keys.front());
  const Number lock_number(lock);
  const Number session(table.schema().session().number());
  const Number operation(table.schema().operation());
  for (const std::string_view more :
       {lock_number.bytes(), std::string_view(record, table.record_length()), session.bytes(),
        operation.bytes()})
    step.parameters.push_back(more);
  Rows rows;
  bool changed = false;
  const int failed = run_change(table, step, lock, false, rows, changed);
  if (changed || failed != 0) return failed;
  if (!inserts) return is_locked(rows) ? kIsLocked : kIsNoRecord;
  return rows.number(0, kMayChange) != 0 || is_locked(rows) ? kIsDuplicate : kIsLocked;
}

int table_remove(Table& table, const char* record) {
  const std::string key = Table::key_of(table.keys().front(), record);
  const std::int64_t lock = table.lock_of(key);
  const Number lock_number(lock);
  const Number session(table.schema().session().number());
  const Number operation(table.schema().operation());
  const Step step{&table.remove, {key, lock_number.bytes(), session.bytes(), operation.bytes()}};
  Rows rows;
  bool changed = false;
  const int failed = run_change(table, step, lock, true, rows, changed);
  if (changed || failed != 0) return failed;
  return is_locked(rows) ? kIsLocked : kIsNoRecord;
}

namespace {

// Equal keys are in the order of writing.
std::string make_index(Table& table, std::size_t key, bool unique) {
  return std::string("CREATE ") + (unique ? "UNIQUE " : "") + "INDEX ON " + table.quoted_table() +
         " (k" + std::to_string(key) + (unique ? " ASC)" : " ASC, seq ASC)") + "; ";
}

}  // namespace

int table_set_indexes(Table& table, bool wanted) {
  Statement find{.text = "SELECT indexrelid::regclass::text FROM pg_index WHERE indrelid = " +
                         Connection::quoted_text(table.quoted_table()) + "::regclass",
                 .once = true};
  std::string make;
  for (std::size_t key = 1; key <= table.keys().size(); ++key)
    make += make_index(table, key, !table.keys()[key - 1].duplicates);
  const Step step{&find, {}};
  return table.schema().session().repeat([&](Connection& connection) {
    Rows rows;
    if (const int failed = connection.run({&step, 1}, {&rows, 1})) return failed;
    std::string remove;
    for (int row = 0; row < rows.count(); ++row)
      remove.append("DROP INDEX ").append(rows.bytes(row, 0)).append("; ");
    // After a lost connection the work may be done already.
    if (wanted == !remove.empty()) return 0;
    return connection.command(wanted ? make : remove);
  });
}

int table_add_key(Table& table, const KeyDescription& key) {
  Schema& schema = table.schema();
  std::vector<KeyDescription> keys;
  for (const TableKey& known : table.keys())
    keys.push_back(known.description);
  keys.push_back(key);
  const std::string of = table.quoted_table();
  const std::string name = "k" + std::to_string(keys.size());
  // The new column is filled while the server writes the table once more, so that no old forms of
  // the records stay behind.
  const std::string text =
      "ALTER TABLE " + of + " ADD COLUMN " + name + " bytea; ALTER TABLE " + of + " ALTER COLUMN " +
      name + " TYPE bytea USING " + key_expression(key) + ", ALTER COLUMN " + name +
      " SET NOT NULL; " + make_index(table, keys.size(), key.flags == 0) + "UPDATE " +
      schema.quoted("marigold_files") + " SET keys = " + bytes_literal(pack_keys(keys)) +
      " WHERE number = " + std::to_string(table.number());
  const Step find{&schema.find_file, {table.name()}};
  return schema.session().repeat([&](Connection& connection) {
    Rows rows;
    int failed = connection.run({&find, 1}, {&rows, 1});
    if (failed == 0 && rows.bytes(0, kKeys) != pack_keys(keys)) {
      failed = connection.command(text);
      if (failed == 0) failed = connection.run({&find, 1}, {&rows, 1});
    }
    return failed == 0 ? table.take_shape(rows) : failed;
  });
}

// ---- Locks

int table_lock(Table& table, const std::string& key, std::int64_t lock, std::int64_t& sequence) {
  const Number number(lock);
  const Step steps[] = {{&table.lock_any, {number.bytes()}}, {&table.keys().front().equal, {key}}};
  for (int round = 0; round < kPatience; ++round) {
    if (round > 0) wait_a_little(round);
    std::array<Rows, 2> rows;
    if (const int failed = table.ask(steps, rows)) return failed;
    const std::int64_t outcome = rows[0].number(0, 0);
    sequence = rows[1].count() == 0 ? 0 : rows[1].number(0, 0);
    if (outcome != kBusy) return outcome == kGot ? 0 : kIsLocked;
  }
  return kIsLocked;
}

namespace {

// Gives so many locks back in one round trip.
constexpr std::size_t kAtOnce = 256;

// Gives locks back, all of which are this process's own.
int give_back(Schema& schema, std::span<const std::int64_t> locks) {
  while (!locks.empty()) {
    const auto part = locks.first(std::min(locks.size(), kAtOnce));
    const std::vector<Number> numbers(part.begin(), part.end());
    std::vector<Step> steps;
    steps.reserve(numbers.size());
    for (const Number& number : numbers)
      steps.push_back({&schema.unlock, {number.bytes()}});
    std::vector<Rows> rows(steps.size());
    if (const int failed = schema.session().ask(steps, rows)) return failed;
    locks = locks.subspan(part.size());
  }
  return 0;
}

}  // namespace

int table_release(Table& table) {
  std::vector<std::int64_t> locks;
  for (const auto& [lock, held] : table.held)
    locks.insert(locks.end(), static_cast<std::size_t>(held.count), lock);
  // A connection that comes back meanwhile does not take them again.
  table.held.clear();
  return give_back(table.schema(), locks);
}

int table_close(Table& table) {
  Schema& schema = table.schema();
  const Number id(table.id());
  Step step{table.exclusive ? &schema.unlock : &schema.unlock_shared, {id.bytes()}};
  table.exclusive = false;
  table.retired = false;
  if (const int failed = table_release(table)) return failed;
  Rows rows;
  return schema.session().ask({&step, 1}, {&rows, 1});
}

// ---- Properties

IsamInfo table_shape(Table& table) {
  IsamInfo shape{.record_length = static_cast<int>(table.record_length()),
                 .key_count = static_cast<int>(table.keys().size())};
  std::ranges::transform(table.keys(), shape.keys.begin(), &TableKey::description);
  return shape;
}

int table_info(Table& table, IsamInfo& info) {
  const std::string name = Connection::quoted_text(table.quoted_table());
  Statement sizes{.text = "SELECT count(*), pg_table_size(" + name + "), pg_indexes_size(" + name +
                          ") FROM " + table.quoted_table(),
                  .once = true};
  const Step step{&sizes, {}};
  Rows rows;
  if (const int failed = table.ask({&step, 1}, {&rows, 1})) return failed;
  info = table_shape(table);
  info.record_count = rows.number(0, 0);
  info.data_bytes = static_cast<std::uint64_t>(rows.number(0, 1));
  info.index_bytes = static_cast<std::uint64_t>(rows.number(0, 2));
  return 0;
}

namespace {

// Verifies a row of (keys, lock, record).
void verify_row(Table& table, const Rows& rows, int row, std::vector<std::string>& findings) {
  const auto keys = static_cast<int>(table.keys().size());
  const std::string_view record = rows.bytes(row, keys + 1);
  const std::string which = "record " + bytes_literal(rows.bytes(row, 0)) + ": ";
  if (record.size() != table.record_length()) {
    findings.push_back(which + "its length is " + std::to_string(record.size()));
    return;
  }
  for (int key = 0; key < keys; ++key) {
    if (rows.bytes(row, key) !=
        Table::key_of(table.keys()[static_cast<std::size_t>(key)], record.data()))
      findings.push_back(which + "key " + std::to_string(key + 1) + " is not that of the record");
  }
  if (rows.number(row, keys) != table.lock_of(rows.bytes(row, 0)))
    findings.push_back(which + "its lock is not that of its primary key");
}

}  // namespace

int table_check(Table& table, std::vector<std::string>& findings, const IsWatch& watch) {
  findings.clear();
  IsamInfo info;
  if (const int failed = table_info(table, info)) return failed;
  std::string columns;
  for (std::size_t key = 1; key <= table.keys().size(); ++key)
    columns += "k" + std::to_string(key) + ", ";
  Statement walk{.text = "SELECT " + columns + "lock, record FROM " + table.quoted_table() +
                         " WHERE k1 >= $1::bytea ORDER BY k1 LIMIT 1000",
                 .once = true};
  std::string from;
  std::uint64_t done = 0;
  for (;;) {
    const Step step{&walk, {from}};
    Rows rows;
    if (const int failed = table.ask({&step, 1}, {&rows, 1})) return failed;
    for (int row = 0; row < rows.count(); ++row)
      verify_row(table, rows, row, findings);
    done += static_cast<std::uint64_t>(rows.count());
    if (watch) watch(done, std::max(done, static_cast<std::uint64_t>(info.record_count)));
    if (rows.count() == 0) return 0;
    from = std::string(rows.bytes(rows.count() - 1, 0)) + '\0';
  }
}

}  // namespace marigold::inner::isam
