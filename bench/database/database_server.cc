// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/database/database_server.h"

#include <fcntl.h>
#include <libpq-fe.h>
#include <netinet/in.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

namespace marigold::inner::test {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

namespace {

constexpr int kDefaultPort = 5432;  // of libpq

// Makes a directory in $1 and prints its path. Once the pipe on standard input ends or has a line,
// ends what the server and the programs that make it have left; each of them has the name of the
// directory on its command line or in its title. A killed server leaves a System V segment, whose
// number is in the last field of line 7.
constexpr const char* kGuard = R"(
trap '' HUP INT TERM PIPE
directory=$(mktemp -d "$1/marigold-pg-XXXXXX") || exit
echo "$directory"
exec >"$directory/log" 2>&1
read -r _
found=yes
while [ $found ]; do
  found=
  for process in /proc/[0-9]*; do
    read -r name 2>/dev/null <"$process/comm" || continue
    case $name in setpriv | initdb | pg_basebackup | postgres) ;; *) continue ;; esac
    grep -qaF "${directory##*/}" "$process/cmdline" 2>/dev/null || continue
    kill -KILL "${process#/proc/}" 2>/dev/null && found=yes
  done
  [ ! $found ] || sleep 0.01
done
segment=$(sed -n '7s/.* //p' "$directory/data/postmaster.pid" 2>/dev/null) && [ "$segment" ] && ipcrm -m "$segment"
umount -l "$directory/data"  # a process that ends may still hold it
rm -rf "$directory"
)";

[[noreturn]] void fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::abort();
}

[[noreturn]] void fail_call(const std::string& call) {
  fail(call + ": " + std::strerror(errno));
}

std::string file_content(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

// Writes into a file that exists, which keeps its owner.
void write_lines(const std::string& path, const std::string& lines, std::ios::openmode mode) {
  std::ofstream file(path, mode);
  if (!(file << lines << std::flush)) fail_call(path);
}

bool has_server(const fs::path& directory) {
  return access((directory / "initdb").c_str(), X_OK) == 0 &&
         access((directory / "postgres").c_str(), X_OK) == 0;
}

std::string configured_directory() {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen("pg_config --bindir 2>/dev/null", "re"),
                                                   pclose);
  std::array<char, 4096> line{};
  if (pipe == nullptr || std::fgets(line.data(), line.size(), pipe.get()) == nullptr) return "";
  return {line.data(), std::strcspn(line.data(), "\n")};
}

// "" if there are none.
std::string find_programs() {
  if (const char* const chosen = std::getenv("POSTGRESQL_BIN"))
    return has_server(chosen) ? chosen : "";
  if (std::string configured = configured_directory(); has_server(configured)) return configured;
  std::string newest;
  int newest_version = 0;
  std::error_code none;
  for (const fs::directory_entry& entry : fs::directory_iterator("/usr/lib/postgresql", none)) {
    const int version = std::atoi(entry.path().filename().c_str());
    if (version <= newest_version || !has_server(entry.path() / "bin")) continue;
    newest_version = version;
    newest = (entry.path() / "bin").string();
  }
  return newest;
}

const std::string& programs() {
  static const std::string directory = find_programs();
  return directory;
}

std::string user_name() {
  const passwd* const user = getpwuid(geteuid());
  return user == nullptr ? std::to_string(geteuid()) : user->pw_name;
}

// The server refuses to run as root.
struct Account {
  uid_t user = geteuid();
  gid_t group = getegid();
};

Account server_account() {
  if (geteuid() != 0) return {};
  for (const char* const name : {"postgres", "nobody"}) {
    if (const passwd* const entry = getpwnam(name)) return {entry->pw_uid, entry->pw_gid};
  }
  fail("there is neither a user postgres nor a user nobody to run a server as");
}

// Starts a program in `directory`, in a session of its own, which a terminal's signals do not reach.
// Without descriptors, it reads nothing and writes to the log there.
pid_t spawn(const Words& words, const std::string& directory, int input = -1, int output = -1) {
  std::vector<char*> arguments;
  for (const std::string& word : words)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  const auto redirect = [&actions](int from, int to, const char* path, int flags) {
    if (from >= 0)
      posix_spawn_file_actions_adddup2(&actions, from, to);
    else
      posix_spawn_file_actions_addopen(&actions, to, path, flags, 0600);
  };
  redirect(input, 0, "/dev/null", O_RDONLY);
  redirect(output, 1, "log", O_WRONLY | O_APPEND | O_CREAT);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t process = 0;
  errno =
      posix_spawnp(&process, words[0].c_str(), &actions, &attributes, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (errno != 0) fail_call(words[0]);
  return process;
}

// Returns the status as waitpid has it; nothing if the process is still there.
std::optional<int> ended(pid_t process, int flags) {
  int status = 0;
  pid_t result = 0;
  while ((result = waitpid(process, &status, flags)) < 0 && errno == EINTR) {
  }
  if (result < 0) fail_call("waitpid");
  return result == 0 ? std::nullopt : std::optional(status);
}

// A program of the server, as the user whom it runs as.
Words server_command(const std::string& program, const Words& words) {
  Words command;
  if (geteuid() == 0) {
    const Account account = server_account();
    command = {"setpriv", "--reuid=" + std::to_string(account.user),
               "--regid=" + std::to_string(account.group), "--clear-groups"};
  }
  command.push_back(programs() + "/" + program);
  command.insert(command.end(), words.begin(), words.end());
  return command;
}

// A free one below those that the system gives to connections, which would take it while the server
// is down.
int free_port() {
  for (int port = 20000 + getpid() % 10000; port < 32768; ++port) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool is_free = bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    if (is_free) return port;
  }
  fail("there is no free port of 127.0.0.1");
}

// Variables of the user's environment that would direct libpq elsewhere.
void clear_environment() {
  static bool done = false;
  if (std::exchange(done, true)) return;
  Words names;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (std::strncmp(*entry, "PG", 2) == 0) names.emplace_back(*entry, std::strcspn(*entry, "="));
  }
  for (const std::string& name : names)
    unsetenv(name.c_str());
}

// State and parent of a process; a process without a state has gone.
struct ProcessState {
  char state = 0;
  pid_t parent = 0;
};

ProcessState process_state(const fs::path& process) {
  const std::string line = file_content((process / "stat").string());
  ProcessState found;
  // The name before them may have any characters.
  if (const std::size_t name_end = line.rfind(')'); name_end != std::string::npos)
    std::sscanf(line.c_str() + name_end, ") %c %d", &found.state, &found.parent);
  return found;
}

std::vector<pid_t> children_of(pid_t parent) {
  std::vector<pid_t> children;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
    const pid_t process = std::atoi(entry.path().filename().c_str());
    if (process > 0 && process_state(entry.path()).parent == parent) children.push_back(process);
  }
  return children;
}

bool is_gone(pid_t process) {
  const char state = process_state("/proc/" + std::to_string(process)).state;
  return state == 0 || state == 'Z' || state == 'X';
}

template <typename Condition>
bool wait_until(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace

// ---- Sessions

void SqlSession::Finish::operator()(pg_conn* connection) const {
  PQfinish(connection);
}

SqlSession::SqlSession(const std::string& address) : connection_(PQconnectdb(address.c_str())) {
  if (PQstatus(connection_.get()) != CONNECTION_OK)
    fail(address + ": " + PQerrorMessage(connection_.get()));
  PQsetNoticeProcessor(
      connection_.get(), [](void*, const char*) {}, nullptr);
}

using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

std::string SqlSession::run(const std::string& statements) {
  const Result result(PQexec(connection_.get(), statements.c_str()), PQclear);
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK && status != PGRES_EMPTY_QUERY)
    fail(statements + ": " + PQerrorMessage(connection_.get()));
  return PQntuples(result.get()) == 0 ? "" : PQgetvalue(result.get(), 0, 0);
}

std::string SqlSession::state_of(const std::string& statements) {
  const Result result(PQexec(connection_.get(), statements.c_str()), PQclear);
  if (PQresultStatus(result.get()) != PGRES_FATAL_ERROR && result != nullptr) return "00000";
  const char* const state = PQresultErrorField(result.get(), PG_DIAG_SQLSTATE);
  return state == nullptr ? "08006" : state;
}

pid_t SqlSession::backend() const {
  return PQbackendPID(connection_.get());
}

// ---- Start and end

struct DatabaseServer::Standby {
  const DatabaseServer& primary;
  std::string slot;  // "" for none
};

bool DatabaseServer::is_installed() {
  return !programs().empty();
}

DatabaseServer::DatabaseServer(const ServerOptions& options)
    : port_(options.tcp ? free_port() : kDefaultPort), tcp_(options.tcp) {
  make_directory();
  if (options.disk > 0) mount_disk(options.disk);
  run(server_command("initdb", {"-D", data(), "-A", "trust", "-U", user_name(), "-E", "UTF8",
                                "--locale=C", "--no-sync", "--no-instructions"}));
  write_settings("fsync = off\n" + options.settings);
  start();
}

DatabaseServer::DatabaseServer(const Standby& standby)
    : port_(standby.primary.tcp_ ? free_port() : kDefaultPort), tcp_(standby.primary.tcp_) {
  make_directory();
  Words words = {"-D",       data(),
                 "-h",       standby.primary.directory_,
                 "-p",       std::to_string(standby.primary.port_),
                 "-U",       user_name(),
                 "-R",       "--checkpoint=fast",
                 "--no-sync"};
  if (!standby.slot.empty()) words.insert(words.end(), {"-C", "-S", standby.slot});
  run(server_command("pg_basebackup", words));
  // The primary may have been a standby with a slot itself.
  write_lines(data() + "/postgresql.auto.conf", "primary_slot_name = '" + standby.slot + "'\n",
              std::ios::app);
  // Those of the primary stand before them.
  // A statement here, such as the one that promotes, is not ended for the sake of what comes from the
  // primary.
  write_settings("synchronous_standby_names = ''\nmax_standby_streaming_delay = -1\n");
  start();
}

DatabaseServer::~DatabaseServer() {
  if (owner_ != getpid()) return;  // of a process that was forked, without an exec
  if (is_running()) stop_immediately();
  // A forked process may have a copy of the pipe, whose end would come late.
  if (write(guard_pipe_, "\n", 1) != 1) fail_call("the guard of a server");
  close(guard_pipe_);
  ended(guard_, 0);
}

void DatabaseServer::make_directory() {
  if (!is_installed()) fail(kMissing);
  clear_environment();
  owner_ = getpid();
  const Account account = server_account();
  start_guard();
  if (chown(directory_.c_str(), account.user, account.group) != 0) fail_call(directory_);
}

// The guard makes the directory, or a process killed in between would leave one.
void DatabaseServer::start_guard() {
  const char* const parent = std::getenv("TMPDIR");
  // The path of a socket has at most 107 bytes.
  const bool fits = parent != nullptr && std::strlen(parent) <= 40;
  std::array<int, 2> input{};
  std::array<int, 2> output{};
  if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0)
    fail_call("pipe2");
  guard_ = spawn({"sh", "-c", kGuard, "sh", fits ? parent : "/tmp"}, "/", input[0], output[1]);
  guard_pipe_ = input[1];
  close(input[0]);
  close(output[1]);
  const std::unique_ptr<FILE, int (*)(FILE*)> line(fdopen(output[0], "r"), std::fclose);
  std::array<char, 4096> path{};
  if (line == nullptr || std::fgets(path.data(), path.size(), line.get()) == nullptr)
    fail("the directory of a server cannot be made");
  directory_.assign(path.data(), std::strcspn(path.data(), "\n"));
}

void DatabaseServer::mount_disk(int size) {
  const Account account = server_account();
  const std::string options = "size=" + std::to_string(size) +
                              "m,mode=0700,uid=" + std::to_string(account.user) +
                              ",gid=" + std::to_string(account.group);
  if (mkdir(data().c_str(), 0700) != 0) fail_call(data());
  if (chown(data().c_str(), account.user, account.group) != 0) fail_call(data());
  small_disk_ = mount("tmpfs", data().c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) == 0;
}

// The last of equal settings counts.
void DatabaseServer::write_settings(const std::string& settings) const {
  const std::string name = fs::path(directory_).filename();
  write_lines(data() + "/postgresql.conf",
              "unix_socket_directories = '" + directory_ + "'\nlisten_addresses = '" +
                  (tcp_ ? "127.0.0.1" : "") + "'\nport = " + std::to_string(port_) +
                  "\ncluster_name = '" + name +  // in the title of each process; see kGuard
                  "'\ndynamic_shared_memory_type = mmap\n"  // files that go with the directory
                  "wal_retrieve_retry_interval = 100ms\n" +
                  settings,
              std::ios::app);
}

void DatabaseServer::run(const Words& words) const {
  if (ended(spawn(words, directory_), 0) != 0) give_up(words.back() + ": failed");
}

void DatabaseServer::start() {
  process_ = spawn(server_command("postgres", {"-D", data()}), directory_);
  // The first line of the file is the number of the process, the eighth its state. A crash leaves
  // the file of another process.
  const bool is_up = wait_until([this] {
    if (ended(process_, WNOHANG)) give_up("the server has ended at its start");
    std::istringstream file(file_content(data() + "/postmaster.pid"));
    Words lines(8);
    for (std::string& line : lines)
      std::getline(file, line);
    return lines[0] == std::to_string(process_) &&
           (lines[7].starts_with("ready") || lines[7].starts_with("standby"));
  });
  if (!is_up) give_up("the server does not start");
}

void DatabaseServer::end_by(int signal) {
  if (::kill(process_, signal) != 0) fail_call("kill");
  if (!wait_until([this] { return ended(process_, WNOHANG).has_value(); }))
    give_up("the server does not stop");
  process_ = 0;
}

void DatabaseServer::stop() {
  end_by(SIGINT);
}

void DatabaseServer::stop_immediately() {
  end_by(SIGQUIT);
}

void DatabaseServer::kill() {
  // Each process of the server has a process group of its own. The postmaster stands still, or it
  // would make more of them.
  if (::kill(process_, SIGSTOP) != 0) fail_call("kill");
  const std::vector<pid_t> children = children_of(process_);
  for (const pid_t child : children)
    ::kill(child, SIGKILL);
  end_by(SIGKILL);
  if (!wait_until([&] { return std::ranges::all_of(children, is_gone); }))
    give_up("processes of the server do not end");
}

void DatabaseServer::give_up(const std::string& reason) const {
  const std::string text = log();
  fail(directory_ + ": " + reason + "\n" +
       text.substr(text.size() - std::min<std::size_t>(text.size(), 2000)));
}

// ---- Standbys

std::unique_ptr<DatabaseServer> DatabaseServer::make_standby(const StandbyOptions& options) {
  const std::string slot = options.slot ? "standby_" + std::to_string(++standbys_) : "";
  std::unique_ptr<DatabaseServer> standby(new DatabaseServer(Standby{*this, slot}));
  const std::string name = fs::path(standby->directory_).filename();
  if (options.synchronous) configure("synchronous_standby_names = '\"" + name + "\"'\n");
  const std::string question =
      "SELECT 1 FROM pg_stat_replication WHERE state = 'streaming' AND "
      "application_name = '" +
      name + "' AND sync_state = '" + (options.synchronous ? "sync'" : "async'");
  if (!wait_until([&] { return sql(question) == "1"; })) standby->give_up("does not follow");
  return standby;
}

void DatabaseServer::promote() {
  if (sql("SELECT pg_promote()") != "t") give_up("cannot be promoted");
}

// ---- Questions and settings

std::string percent_encoded(std::string_view text) {
  std::string encoded;
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    std::array<char, 4> code{byte};
    if (std::isalnum(value) == 0 && std::strchr("-._", byte) == nullptr)
      std::snprintf(code.data(), code.size(), "%%%02X", value);
    encoded += code.data();
  }
  return encoded;
}

std::string DatabaseServer::sql(const std::string& statements, const std::string& database) const {
  return SqlSession(address(database)).run(statements);
}

std::string DatabaseServer::make_database() {
  std::string name = "test_" + std::to_string(++databases_);
  sql("CREATE DATABASE " + name);
  return name;
}

std::string DatabaseServer::host() const {
  return percent_encoded(directory_) + (port_ == kDefaultPort ? "" : ":" + std::to_string(port_));
}

std::string DatabaseServer::address(std::string_view database) const {
  return "postgresql://" + host() + "/" + percent_encoded(database);
}

std::string DatabaseServer::tcp_address(std::string_view database) const {
  return "postgresql://127.0.0.1:" + std::to_string(port_) + "/" + percent_encoded(database);
}

std::string DatabaseServer::socket() const {
  return directory_ + "/.s.PGSQL." + std::to_string(port_);
}

std::string DatabaseServer::data() const {
  return directory_ + "/data";
}

std::string DatabaseServer::log() const {
  return file_content(directory_ + "/log");
}

void DatabaseServer::configure(const std::string& lines) {
  write_lines(data() + "/postgresql.conf", lines, std::ios::app);
  reload();
}

void DatabaseServer::allow(const std::string& lines) {
  write_lines(data() + "/pg_hba.conf", lines, std::ios::trunc);
  reload();
}

// The postmaster heeds the signal before it accepts a session that begins after this.
void DatabaseServer::reload() {
  if (is_running() && ::kill(process_, SIGHUP) != 0) fail_call("kill");
}

void DatabaseServer::fill_disk() {
  const int file =
      open((data() + "/ballast").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::array<char, 4096> page{};  // the unit of the disk's space
  while (write(file, page.data(), page.size()) > 0) {
  }
  if (errno != ENOSPC) fail_call("ballast");
  close(file);
}

void DatabaseServer::free_disk() {
  if (unlink((data() + "/ballast").c_str()) != 0) fail_call("ballast");
}

DatabaseServer& shared_server() {
  static DatabaseServer server;
  return server;
}

}  // namespace marigold::inner::test
