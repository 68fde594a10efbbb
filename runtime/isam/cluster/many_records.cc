// SPDX-License-Identifier: GPL-3.0-or-later
// Many records in one transaction: sets of changes, and loads.

#include <array>
#include <cerrno>
#include <utility>

#include "runtime/isam/cluster/cluster_engine.h"
#include "runtime/isam/cluster/cluster_file.h"
#include "runtime/isam/common/reason.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner::isam {
namespace {

// ---- Sets

// A change of a set with the bytes of its parameters.
struct Prepared {
  Table* table = nullptr;
  bool deletes = false;
  std::int64_t lock = 0;
  Number lock_number{0};
  std::array<std::string, kIsMostKeys> keys;
};

void prepare(const SetChange& change, Prepared& prepared, Step& step) {
  Table& table = static_cast<ClusterFile*>(change.file)->table();
  prepared.table = &table;
  prepared.deletes = change.deletes;
  step.statement = change.deletes ? &table.set_remove : &table.set_write;
  const std::size_t keys = change.deletes ? 1 : table.keys().size();
  for (std::size_t key = 0; key < keys; ++key) {
    prepared.keys[key] = Table::key_of(table.keys()[key], change.record);
    step.parameters.emplace_back(prepared.keys[key]);
  }
  prepared.lock = table.lock_of(prepared.keys.front());
  prepared.lock_number = Number(prepared.lock);
  step.parameters.push_back(prepared.lock_number.bytes());
  if (!change.deletes) step.parameters.emplace_back(change.record, table.record_length());
}

int fault_of(std::span<const Prepared> prepared) {
  for (const Prepared& change : prepared) {
    if (const int fault = change.table->fault()) return fault;
  }
  return 0;
}

// The sequences of records that this process has locked; -1: not known after a loss.
void note_changes(std::span<const Prepared> prepared, std::span<const Rows> rows,
                  bool done_before) {
  for (std::size_t i = 0; i < prepared.size(); ++i) {
    const Prepared& change = prepared[i];
    const std::int64_t known = done_before ? -1 : change.deletes ? 0 : rows[i].number(0, 0);
    change.table->note_change(change.lock, known);
  }
}

}  // namespace

int change_set(std::span<const SetChange> changes, std::size_t& locked) {
  locked = 0;
  if (changes.empty()) return 0;
  Schema& schema = static_cast<ClusterFile*>(changes.front().file)->table().schema();
  for (const SetChange& change : changes) {
    Table& table = static_cast<ClusterFile*>(change.file)->table();
    if (&table.schema().session() != &schema.session())
      return refuse(kIsBadArgument, "the files of a set lie in different databases");
    if (const int fault = table.fault()) return fault;
  }
  std::vector<Prepared> prepared(changes.size());
  std::vector<Step> steps(changes.size() + 2);
  for (std::size_t i = 0; i < changes.size(); ++i)
    prepare(changes[i], prepared[i], steps[i]);
  const Number session(schema.session().number());
  steps[changes.size()] = {&schema.sync, {}};
  std::vector<Rows> rows(steps.size());
  constexpr int kPatience = 60;
  for (int round = 0;; ++round) {
    if (round > 0) wait_a_little(round);
    const Number operation(schema.operation());
    steps.back() = {&schema.note, {session.bytes(), operation.bytes()}};
    bool done_before = false;
    const int failed = schema.change_by(
        [&](Connection& connection) {
          if (const int fault = fault_of(prepared)) return fault;
          const int result = connection.run(steps, rows);
          return result == kDivided ? kIsLocked : result;
        },
        nullptr, 0, done_before);
    if (failed == 0) {
      schema.acknowledge();
      note_changes(prepared, rows, done_before);
      return 0;
    }
    locked = std::min(schema.session().connection().failed_step(), changes.size() - 1);
    if (failed != kIsLocked) return failed;
    // A change without a lock holds its record for a moment.
    if (round == kPatience) return kIsLocked;
  }
}

// ---- Loads

namespace {

constexpr std::string_view kCopyHead{"PGCOPY\n\xFF\r\n\0\0\0\0\0\0\0\0\0", 19};
constexpr std::string_view kCopyEnd{"\xFF\xFF", 2};
constexpr std::size_t kPieceOfCopy = std::size_t{1} << 16;
constexpr std::uint64_t kWatchedEvery = 1024;  // records

void append_field(std::string_view bytes, std::string& to) {
  const auto length = static_cast<std::uint32_t>(bytes.size());
  for (int shift = 24; shift >= 0; shift -= 8)
    to += static_cast<char>(length >> shift & 0xFF);
  to += bytes;
}

void append_row(Table& table, const char* record, std::int64_t sequence, std::string& to) {
  const auto columns = static_cast<char>(table.keys().size() + 3);
  to.append({'\0', columns});
  std::string primary;
  for (const TableKey& key : table.keys()) {
    const std::string bytes = Table::key_of(key, record);
    if (primary.empty()) primary = bytes;
    append_field(bytes, to);
  }
  append_field(Number(sequence).bytes(), to);
  append_field(Number(table.lock_of(primary)).bytes(), to);
  append_field({record, table.record_length()}, to);
}

// Sends all records. EINTR when `watch` stops it.
int copy_records(Table& table, Connection& connection,
                 const std::function<bool(char* record)>& next,
                 const std::function<bool(std::uint64_t records)>& watch, std::int64_t& sequence) {
  std::string record(table.record_length(), '\0');
  std::string piece(kCopyHead);
  for (std::uint64_t count = 0; next(record.data());) {
    append_row(table, record.data(), ++sequence, piece);
    if (piece.size() >= kPieceOfCopy) {
      if (const int failed = connection.copy_in(piece)) return failed;
      piece.clear();
    }
    if (++count % kWatchedEvery == 0 && watch && !watch(count)) return EINTR;
  }
  piece += kCopyEnd;
  return connection.copy_in(piece);
}

}  // namespace

int load(OpenIsam& file, const std::function<bool(char* record)>& next,
         const std::function<bool(std::uint64_t records)>& watch) {
  Table& table = static_cast<ClusterFile&>(file).table();
  if (!table.exclusive) return kIsNotExclusive;
  Schema& schema = table.schema();
  Connection& connection = schema.session().connection();
  const std::string sequence_name = Connection::quoted_text(table.quoted_sequence());
  Statement last{.text = "SELECT last_value FROM " + table.quoted_sequence(), .once = true};
  const Step step{&last, {}};
  Rows rows;
  if (const int failed = table.ask({&step, 1}, {&rows, 1})) return failed;
  std::int64_t sequence = rows.number(0, 0);
  ++table.changes;
  // The records come only once, so a lost connection ends the load.
  int failed = connection.command("BEGIN");
  if (failed == 0)
    failed = connection.copy_in_begin("COPY " + table.quoted_table() + " (" + table.columns() +
                                      ")" + " FROM STDIN WITH (FORMAT binary)");
  if (failed == 0) {
    failed = copy_records(table, connection, next, watch, sequence);
    if (failed != kLost) {
      const int ended = connection.copy_in_end(failed == 0);
      if (failed == 0) failed = ended;
    }
  }
  if (failed == 0)
    failed = connection.command("SELECT setval(" + sequence_name + ", " + std::to_string(sequence) +
                                "); COMMIT");
  else if (failed != kLost && connection.command("ROLLBACK") != 0)
    failed = kLost;
  if (failed != kLost && failed != kAgain) return failed;
  Session::Clock::time_point first_loss{};
  const int recovered = schema.session().recover(failed, first_loss);
  return recovered != 0 ? recovered
                        : connection.refuse(kIsServer, "the connection was lost during a load");
}

}  // namespace marigold::inner::isam
