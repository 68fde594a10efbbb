// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/session.h"

#include <algorithm>
#include <utility>

#include "runtime/isam/cluster/table.h"
#include "runtime/isam/common/isam.h"
#include "runtime/isam/common/reason.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/process.h"

namespace marigold::inner::isam {
namespace {

// Connections last until the process ends: the server notices the end, and nothing has to be done
// for it. So the state has no destructor.
struct State {
  std::map<std::string, std::unique_ptr<Session>> sessions;  // by server and settings
};

State* state = nullptr;

std::int64_t random_number() {
  std::uint64_t bits = 0;
  for (const unsigned char byte : random_bytes())
    bits = bits << 8 | byte;
  return static_cast<std::int64_t>(bits);
}

constexpr const char* kLostChanges =
    "the server has come back without changes that had been done, but not flushed";

// Rows of sessions that ended this long ago are removed.
constexpr const char* kKept = "interval '1 day'";

}  // namespace

// ---- Sessions

int Session::find(const ClusterAddress& address, Schema*& schema) {
  if (state == nullptr) state = new State;
  const std::string settings = std::to_string(address.reconnect) + (address.each ? "each" : "");
  auto& own = state->sessions[address.server + " " + settings];
  // The session of the parent process stays there; its object is of no use here, and must not say
  // good-bye to the server.
  if (own != nullptr && !own->is_ours()) static_cast<void>(own.release());
  if (own == nullptr) {
    auto made = std::make_unique<Session>(address, random_number());
    static_cast<void>(made->schema(address).session());
    if (const int failed = made->connect_first()) return failed;
    own = std::move(made);
  }
  schema = &own->schema(address);
  return 0;
}

Session::Session(const ClusterAddress& address, std::int64_t number)
    : connection_(address.server, address.place),
      number_(number),
      patience_(address.reconnect),
      each_(address.each),
      take_own_lock_{.text = "SELECT pg_try_advisory_lock($1::bigint)"} {}

Session::~Session() = default;

Schema& Session::schema(const ClusterAddress& address) {
  auto& schema = schemas_[address.schema];
  if (schema == nullptr) schema = std::make_unique<Schema>(*this, address.schema);
  return *schema;
}

int Session::ask(std::span<const Step> steps, std::span<Rows> rows) {
  return repeat([&](Connection& connection) { return connection.run(steps, rows); });
}

// Gets the session's own lock, from the connection before if that still has it.
int Session::fence() {
  const Number number(number_);
  const Step take{&take_own_lock_, {number.bytes()}};
  // A user may end connections of the same user, whatever role the session has taken.
  const std::string end =
      "SET LOCAL ROLE NONE; SELECT pg_terminate_backend(pid) FROM pg_locks WHERE locktype = "
      "'advisory' AND granted AND objsubid = 1 AND ((classid::bigint << 32) | objid::bigint) = " +
      std::to_string(number_);
  for (int round = 0;; ++round) {
    Rows rows;
    if (const int failed = connection_.run({&take, 1}, {&rows, 1})) return failed;
    if (rows.number(0, 0) != 0) return 0;
    constexpr int kMostRounds = 250;
    if (round == kMostRounds)
      return connection_.refuse(kIsServer, "the server does not end the connection before");
    if (connection_.command(end) == kLost) return kLost;
    clock_sleep_milliseconds(round < 10 ? 2 : 20);
  }
}

int Session::restore() {
  for (const auto& [name, schema] : schemas_) {
    if (const int failed = schema->restore(connection_)) return failed;
  }
  return 0;
}

int Session::connect() {
  const std::string application = "marigold " + std::to_string(process_number());
  int failed = connection_.open(application);
  if (failed == 0 && each_) failed = connection_.command("SET synchronous_commit = on");
  if (failed == 0) failed = fence();
  return failed == 0 ? restore() : failed;
}

// A server that is starting, or restarted, is waited for; any other reason is for the user to
// remove.
int Session::connect_first() {
  const auto begin = Clock::now();
  for (bool waits = false;;) {
    const int failed = connect();
    if (failed == 0) return 0;
    waits = waits || failed == kLost || connection_.is_starting();
    if (!waits || Clock::now() - begin > std::chrono::seconds(patience_))
      return failed == kLost ? connection_.refuse(kIsServer, "the server ends each connection")
                             : failed;
    clock_sleep_milliseconds(100);
  }
}

int Session::reconnect() {
  const auto begin = Clock::now();
  for (int round = 0;; ++round) {
    const int failed = connect();
    if (failed == 0) return 0;
    if (Clock::now() - begin > std::chrono::seconds(patience_)) {
      return connection_.refuse(kIsServer,
                                "the connection was lost, and there was none to be had for " +
                                    std::to_string(patience_) + " s" +
                                    (failed == kLost ? "" : "; " + connection_.last_words()));
    }
    clock_sleep_milliseconds(std::min(20 * (round + 1), 500));
  }
}

int Session::recover(int result, Clock::time_point& first_loss) {
  if (result == kAgain) {
    clock_sleep_milliseconds(1);
    return 0;
  }
  if (result != kLost)
    return connection_.refuse(kIsServer, result == kNoTable
                                             ? "a table of the runtime is missing in the schema"
                                             : "an unexpected division by zero");
  const Clock::time_point now = Clock::now();
  if (first_loss == Clock::time_point{}) first_loss = now;
  // Connections that are to be had, but lost each time: to a server that takes no changes, too.
  if (now - first_loss > std::chrono::seconds(patience_))
    return connection_.refuse(kIsServer, "the connection was lost again and again for " +
                                             std::to_string(patience_) + " s; " +
                                             connection_.last_words());
  return reconnect();
}

// ---- Schemas

Schema::Schema(Session& session, std::string name) : session_(session), name_(std::move(name)) {
  const std::string files = quoted("marigold_files");
  const std::string rows = quoted("marigold_sessions");
  const std::string shape = "SELECT number, id, record_length, keys, (SELECT max(version) FROM " +
                            quoted("marigold_format") + ")";
  find_file.text = shape + " FROM " + files + " WHERE name = convert_from($1::bytea, 'UTF8')";
  lock_file.text = shape +
                   ", CASE WHEN $2::bigint = 1 THEN pg_try_advisory_lock(id) "
                   "ELSE pg_try_advisory_lock_shared(id) END FROM " +
                   files + " WHERE name = convert_from($1::bytea, 'UTF8')";
  unlock.text = "SELECT pg_advisory_unlock($1::bigint)";
  unlock_shared.text = "SELECT pg_advisory_unlock_shared($1::bigint)";
  try_lock.text = "SELECT pg_try_advisory_lock($1::bigint)";
  insert_row_.text =
      "WITH ended AS (DELETE FROM " + rows + " WHERE since < now() - " + kKept +
      " AND pg_try_advisory_xact_lock(session)) INSERT INTO " + rows +
      " (session, process, host, operation, sequence) VALUES ($1::bigint, $2::bigint,"
      " convert_from($3::bytea, 'UTF8'), $4::bigint, 0)";
  select_row_.text = "SELECT operation, sequence FROM " + rows + " WHERE session = $1::bigint";
  note.text =
      "UPDATE " + rows + " SET operation = $2::bigint, sequence = 0 WHERE session = $1::bigint";
  // A commit that waits for the disk, and for a synchronous standby, takes all before it along.
  flush_.text = "UPDATE " + rows +
                " SET operation = operation WHERE session = $1::bigint AND "
                "set_config('synchronous_commit', 'on', true) IS NOT NULL";
}

Schema::~Schema() = default;

std::string Schema::quoted(std::string_view name) const {
  return Connection::quoted_name(name_) + "." + Connection::quoted_name(name);
}

int Schema::make() {
  const std::string schema = Connection::quoted_name(name_);
  Statement find{.text =
                     "SELECT to_regclass(convert_from($1::bytea, 'UTF8')) IS NOT NULL, "
                     "to_regnamespace(convert_from($2::bytea, 'UTF8')) IS NOT NULL",
                 .once = true};
  const std::string last = quoted("marigold_format");  // what make() makes last
  Rows rows;
  const Step step{&find, {last, schema}};
  if (const int failed = session_.ask({&step, 1}, {&rows, 1})) return failed;
  if (rows.number(0, 0) != 0) return 0;
  // Programs that make the same schema at once take turns.
  std::string text = "SELECT pg_advisory_xact_lock(hashtext('marigold'));";
  if (rows.number(0, 1) == 0) text += "CREATE SCHEMA IF NOT EXISTS " + schema + ";";
  const auto table = [&](const char* name, const char* columns) {
    text += "CREATE TABLE IF NOT EXISTS " + quoted(name) + " (" + columns + ";";
  };
  text += "CREATE SEQUENCE IF NOT EXISTS " + quoted("marigold_numbers") + ";";
  table("marigold_files",
        "name text PRIMARY KEY, number bigint NOT NULL, id bigint NOT NULL, "
        "record_length bigint NOT NULL, keys bytea NOT NULL)");
  table("marigold_texts", "name text PRIMARY KEY, text bytea NOT NULL)");
  // A session changes its row with each change: room for the next form of the row on its page.
  table("marigold_sessions",
        "session bigint PRIMARY KEY, process bigint NOT NULL, host text NOT NULL, "
        "since timestamptz NOT NULL DEFAULT now(), operation bigint NOT NULL, "
        "sequence bigint NOT NULL) WITH (fillfactor = 10)");
  table("marigold_format", "version bigint PRIMARY KEY)");
  text += "INSERT INTO " + quoted("marigold_format") + " VALUES (" +
          std::to_string(kClusterFormat) + ") ON CONFLICT DO NOTHING";
  return session_.repeat([&](Connection& connection) { return connection.command(text); });
}

int Schema::write_row(Connection& connection) {
  const Number session(session_.number());
  const Number process(process_number());
  const Number operation(last_acknowledged_);
  const std::string host = host_name();
  const Step step{&insert_row_, {session.bytes(), process.bytes(), host, operation.bytes()}};
  Rows rows;
  return connection.run({&step, 1}, {&rows, 1});
}

int Schema::begin_changes() {
  if (changes_begun_) return 0;
  const int failed = session_.repeat([&](Connection& connection) {
    const int result = changes_begun_ ? 0 : write_row(connection);
    changes_begun_ = changes_begun_ || result == 0 || result == kIsDuplicate;
    return result == kIsDuplicate ? 0 : result;  // written before a loss
  });
  return failed;
}

int Schema::fault_of(Table* table) const {
  if (table != nullptr) return table->fault();
  return lost_changes_ ? session_.connection().refuse(kIsChangesLost, kLostChanges) : 0;
}

std::string Schema::note_text(std::int64_t operation) const {
  return "UPDATE " + quoted("marigold_sessions") + " SET operation = " + std::to_string(operation) +
         ", sequence = 0 WHERE session = " + std::to_string(session_.number());
}

int Schema::flush() {
  const Number number(session_.number());
  const Step step{&flush_, {number.bytes()}};
  Rows rows;
  return changes_begun_ ? session().ask({&step, 1}, {&rows, 1}) : 0;
}

// Compares the session's row with what this process knows to be done.
int Schema::read_row(Connection& connection) {
  const Number session(session_.number());
  const Step step{&select_row_, {session.bytes()}};
  Rows rows;
  if (const int failed = connection.run({&step, 1}, {&rows, 1})) return failed;
  const std::int64_t last = rows.count() == 0 ? 0 : rows.number(0, 0);
  if (last < last_acknowledged_) {
    lost_changes_ = true;
    for (const auto& [name, table] : tables_)
      table->lose(kIsChangesLost, connection.place() + ": " + kLostChanges);
    last_acknowledged_ = last;
  }
  if (pending_.operation != 0 && last == pending_.operation) {
    pending_.done = true;
    if (pending_.table != nullptr) pending_.table->note_change(pending_.lock, rows.number(0, 1));
  }
  return rows.count() == 0 ? write_row(connection) : 0;
}

int Schema::restore(Connection& connection) {
  if (changes_begun_) {
    if (const int failed = read_row(connection)) return failed;
  }
  for (const auto& [name, table] : tables_) {
    if (const int failed = table->restore(connection)) return failed;
  }
  return 0;
}

}  // namespace marigold::inner::isam
