// SPDX-License-Identifier: GPL-3.0-or-later
// A session: what this process has at a server, whichever connection carries it. When the connection
// is lost, the session gets another one, finds out what became of the last change, and takes its
// locks again.
//
// How a change is done once and never twice: each session has a row in the table of sessions of
// each schema. A change writes its number into that row, in its own transaction, so the row tells
// whether the change was done. Each session also holds a lock of its own on the server. The old
// connection is gone, with everything that it was still doing, once the new one has got that lock;
// only then is the row final.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "runtime/isam/cluster/connection.h"
#include "runtime/isam/common/cluster_address.h"

namespace marigold::inner::isam {

class Schema;
class Table;

// Version of the tables' form; see docs/formats/cluster.md.
inline constexpr int kClusterFormat = 1;

class Session {
 public:
  using Clock = std::chrono::steady_clock;

  // Gives the schema of the address, in the session of this process at its server, connected; a
  // forked child gets its own.
  static int find(const ClusterAddress& address, Schema*& schema);

  Session(const ClusterAddress& address, std::int64_t number);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Returns the schema of the address.
  Schema& schema(const ClusterAddress& address);

  // Runs `attempt(connection)`, which returns 0, kLost, kAgain or a number, until it returns no
  // kLost or kAgain. Each attempt can be the second one, so it only reads, or finds out what is done.
  template <typename Attempt>
  int repeat(Attempt attempt) {
    for (Clock::time_point first_loss{};;) {
      const int result = attempt(connection_);
      if (result >= 0) return result;
      if (const int failed = recover(result, first_loss)) return failed;
    }
  }
  // Runs steps that only read or lock, in one round trip.
  int ask(std::span<const Step> steps, std::span<Rows> rows);

  [[nodiscard]] Connection& connection() { return connection_; }
  [[nodiscard]] bool is_ours() const { return connection_.is_ours(); }
  [[nodiscard]] std::int64_t number() const { return number_; }
  [[nodiscard]] bool syncs_each() const { return each_; }

  // Ends an attempt whose connection was lost, or whose transaction the server has undone: 0 when
  // another attempt can be made. `first_loss`: of the same operation.
  int recover(int result, Clock::time_point& first_loss);

 private:
  int connect();
  int connect_first();
  int reconnect();
  int fence();
  int restore();

  Connection connection_;
  std::int64_t number_;
  int patience_;  // seconds
  bool each_;
  std::map<std::string, std::unique_ptr<Schema>> schemas_;
  Statement take_own_lock_;
};

// A change under way, for the case that the connection is lost meanwhile.
struct PendingChange {
  std::int64_t operation = 0;  // 0: none
  std::int64_t lock = 0;       // of its record; 0 for a set
  Table* table = nullptr;
  bool done = false;  // the server has done it, although it could not tell
};

// A schema with its files, texts and sessions.
class Schema {
 public:
  Schema(Session& session, std::string name);
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;
  ~Schema();

  // The session, whose reasons of failures then name this schema.
  [[nodiscard]] Session& session() {
    session_.connection().speak_of(name_);
    return session_;
  }
  // Returns "SCHEMA"."NAME".
  [[nodiscard]] std::string quoted(std::string_view name) const;

  // Makes the schema and its tables if they are missing.
  int make();
  // Begins the use for changes: writes the session's row.
  int begin_changes();

  // Runs steps that change something and write `operation()` into the session's row, as one
  // transaction in one round trip, and are done once. `done_before`: they were done although the
  // connection was lost, and there are no rows. The caller acknowledges steps that have changed
  // something.
  int change(std::span<const Step> steps, std::span<Rows> rows, Table* table, std::int64_t lock,
             bool& done_before) {
    return change_by([&](Connection& connection) { return connection.run(steps, rows); }, table,
                     lock, done_before);
  }
  // The same for any transaction: `attempt(connection)`.
  template <typename Attempt>
  int change_by(Attempt attempt, Table* table, std::int64_t lock, bool& done_before) {
    pending_ = {.operation = ++last_operation_, .lock = lock, .table = table};
    lost_changes_ = false;
    const int failed = session_.repeat([&](Connection& connection) {
      if (pending_.done) return 0;
      if (const int fault = fault_of(table)) return fault;
      return attempt(connection);
    });
    done_before = pending_.done;
    pending_ = {};
    if (done_before) acknowledge();
    return failed;
  }
  // Note an operation in a transaction: as SQL, and as a statement.
  [[nodiscard]] std::string note_text(std::int64_t operation) const;
  Statement note;  // $1 the session, $2 the operation
  // Lets the commit of its transaction wait until the server's disk has it.
  Statement sync{.text = "SELECT set_config('synchronous_commit', 'on', true)"};
  void acknowledge() { last_acknowledged_ = last_operation_; }
  // The number that the next change writes.
  [[nodiscard]] std::int64_t operation() const { return last_operation_ + 1; }
  // Puts everything that was done before, by any session, on the server's disk.
  int flush();

  // After a new connection: finds out what was done, and takes the locks of all open tables again.
  int restore(Connection& connection);

  [[nodiscard]] std::map<std::string, std::shared_ptr<Table>>& tables() { return tables_; }

  Statement find_file;
  Statement lock_file;  // $2: 1 for the file alone
  Statement unlock;
  Statement unlock_shared;
  Statement try_lock;

 private:
  int fault_of(Table* table) const;
  int write_row(Connection& connection);
  int read_row(Connection& connection);

  Session& session_;
  std::string name_;
  std::map<std::string, std::shared_ptr<Table>> tables_;  // by the names of their files
  bool changes_begun_ = false;
  std::int64_t last_operation_ = 0;     // given to a change
  std::int64_t last_acknowledged_ = 0;  // known to be done
  PendingChange pending_;
  bool lost_changes_ = false;  // since the change under way began
  Statement insert_row_;
  Statement select_row_;
  Statement flush_;
};

}  // namespace marigold::inner::isam
