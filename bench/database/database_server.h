// SPDX-License-Identifier: GPL-3.0-or-later
// A private PostgreSQL server for tests and benchmarks, in a new directory below $TMPDIR or /tmp.
//
// It listens on a unix socket in that directory, which nobody but its user and root can enter. Its
// superuser has the name of the user of this process, and access is by trust, so an address needs
// neither user nor password. A process of root runs the server as the user postgres, or as nobody
// without one; any other user runs it as himself.
//
// The server survives neither its object nor its process: a shell that waits for the end of a pipe
// ends it and removes the directory, also after the process was killed; a forked process that lives
// on, with a copy of the pipe, delays that. Nothing here needs GoogleTest: a benchmark compiles
// database_server.cc itself and links libpq. A server that does not do what is asked (start, stop,
// take a statement) ends the process by abort() with the end of the server's log, for every test
// after that would fail as well.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct pg_conn;

namespace marigold::inner::test {

// Returns a text as a part of an address.
std::string percent_encoded(std::string_view text);

// A session of its own, for statements beside the code under test.
class SqlSession {
 public:
  explicit SqlSession(const std::string& address);
  // Returns the first value of the last result, "" for none or NULL. Aborts on an error.
  std::string run(const std::string& statements);
  // Returns the five letters of SQLSTATE, "00000" without an error, "08006" if the connection is
  // lost.
  std::string state_of(const std::string& statements);
  // Number of the server's process for this session.
  [[nodiscard]] pid_t backend() const;

 private:
  struct Finish {
    void operator()(pg_conn* connection) const;
  };
  std::unique_ptr<pg_conn, Finish> connection_;
};

struct ServerOptions {
  // Lines of postgresql.conf. Without any, the server does not wait for the disk (fsync = off): a
  // crash of the server is as real as ever, for bytes that it has written outlive it, but a power
  // failure is not. A benchmark of durable changes says "fsync = on\n".
  std::string settings = {};
  // Listens on a free port of 127.0.0.1 too. Any user of the machine can connect to it.
  bool tcp = false;
  // Above 0: the data directory is on a disk of this size, in MiB (an empty server takes 40), if
  // this process may mount one; see has_small_disk.
  int disk = 0;
};

struct StandbyOptions {
  bool synchronous = true;  // a commit of the primary waits until this standby has it on its disk
  bool slot = true;         // the primary keeps what this standby has not yet got
};

class DatabaseServer {
 public:
  // Makes and starts a server; about a second. PG* variables of the environment, which would direct
  // libpq elsewhere, are removed before the first one.
  explicit DatabaseServer(const ServerOptions& options = {});
  ~DatabaseServer();
  DatabaseServer(const DatabaseServer&) = delete;
  DatabaseServer& operator=(const DatabaseServer&) = delete;

  // Whether there are programs to make a server with: in the directory $POSTGRESQL_BIN, else in that
  // of pg_config, else in the newest of /usr/lib/postgresql/*/bin. If not, tests skip with kMissing.
  static bool is_installed();
  static constexpr const char* kMissing = "PostgreSQL's server programs are not installed";

  // Each returns when the server is in the state asked for.
  void start();             // takes connections, after a recovery if there was a crash
  void stop();              // sessions are ended, everything is written
  void stop_immediately();  // sessions are ended, nothing is written: the next start recovers
  void kill();              // every process of the server gets SIGKILL
  [[nodiscard]] bool is_running() const { return process_ != 0; }

  // Makes and starts a server that follows this one. A second synchronous one takes the place of
  // the first; while it does not run, commits wait. The settings of this server apply to it, but it
  // waits for no standby of its own.
  std::unique_ptr<DatabaseServer> make_standby(const StandbyOptions& options = {});
  // Lets a standby take changes.
  void promote();

  // Runs statements in a session of their own; see SqlSession.
  std::string sql(const std::string& statements, const std::string& database = "postgres") const;
  // Makes an empty database of a new name, and returns its name.
  std::string make_database();

  // The first part of an address, encoded: "%2Ftmp%2Fx", or with a port. Several, with commas
  // between them, make the address of a cluster.
  [[nodiscard]] std::string host() const;
  // postgresql://HOST/DATABASE
  [[nodiscard]] std::string address(std::string_view database = "postgres") const;
  // postgresql://127.0.0.1:PORT/DATABASE; for a server with ServerOptions::tcp.
  [[nodiscard]] std::string tcp_address(std::string_view database = "postgres") const;
  // Path of the unix socket.
  [[nodiscard]] std::string socket() const;
  // What the server has logged.
  [[nodiscard]] std::string log() const;

  // Appends lines to postgresql.conf. Sessions that begin after the return have them, others soon.
  void configure(const std::string& lines);
  // Replaces pg_hba.conf, for sessions that begin after the return.
  void allow(const std::string& lines);
  static constexpr const char* kAllowAll =
      "local all,replication all trust\nhost all all 127.0.0.1/32 trust\n";

  // Whether ServerOptions::disk has had its effect; if not, a test of a full disk is to be skipped.
  [[nodiscard]] bool has_small_disk() const { return small_disk_; }
  // Leaves no free byte on the small disk, or makes room again.
  void fill_disk();
  void free_disk();

 private:
  struct Standby;  // what a standby follows, and how
  explicit DatabaseServer(const Standby& standby);
  void make_directory();
  void start_guard();
  void mount_disk(int size);
  void write_settings(const std::string& settings) const;
  void run(const std::vector<std::string>& words) const;
  void end_by(int signal);
  void reload();
  [[noreturn]] void give_up(const std::string& reason) const;
  [[nodiscard]] std::string data() const;

  std::string directory_;
  pid_t owner_ = 0;      // this process; a forked copy of the object does nothing
  pid_t process_ = 0;    // the postmaster; 0: not running
  pid_t guard_ = 0;      // the shell that cleans up
  int guard_pipe_ = -1;  // its end cleans up
  int port_ = 5432;      // names the socket, too
  int standbys_ = 0;
  int databases_ = 0;
  bool tcp_ = false;
  bool small_disk_ = false;
};

// The server of this program, made at the first call and ended with the program. A test makes a
// database or a schema of its own in it, and leaves it running.
DatabaseServer& shared_server();

}  // namespace marigold::inner::test
