// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "runtime/platform/command_pipe.h"
#include "runtime/platform/posix/descriptor_posix.h"
#include "runtime/platform/stream.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr int kSignalStatus = 128;
constexpr int kLookMilliseconds = 50;

// A command gets the default signal handling, whatever this process has set.
struct SpawnSettings {
  // A negative output leaves the command the streams of this process.
  SpawnSettings(int input, int output) {
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
      if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, stream);
    posix_spawnattr_init(&attributes);
    sigset_t pipe_signal;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &pipe_signal);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

// Makes a write to a pipe that the command has closed a failed write that does not end this
// process.
void ignore_broken_pipes() {
  struct sigaction now {};
  if (sigaction(SIGPIPE, nullptr, &now) == 0 && now.sa_handler == SIG_DFL)
    std::signal(SIGPIPE, SIG_IGN);
}

// Enlarges the pipe, so that the command and this process wait for each other less often. A smaller
// pipe works as well.
void enlarge(const FileHandle& end) {
#ifdef F_SETPIPE_SZ
  constexpr int kPipeBytes = 1 << 20;
  static_cast<void>(fcntl(descriptor_of(end), F_SETPIPE_SZ, kPipeBytes));
#else
  static_cast<void>(end);
#endif
}

int spawn(const char* command, int input, int output, pid_t& process) {
  const SpawnSettings settings(input, output);
  const char* const arguments[] = {"sh", "-c", command, nullptr};
  // The call does not change its arguments; its type is older than const.
  return system_result(posix_spawn(&process, "/bin/sh", &settings.actions, &settings.attributes,
                                   const_cast<char* const*>(arguments), environ));
}

// The two ends of a pipe.
struct PipeEnds {
  int open() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return system_error();
    reading = FileHandle(ends[0]);
    writing = FileHandle(ends[1]);
    return 0;
  }

  FileHandle reading;
  FileHandle writing;
};

// Makes this process's ends non-blocking: a process that waits for two ends must not block on one.
void do_not_wait(const FileHandle& end) {
  const int descriptor = descriptor_of(end);
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

bool comes_later(int error) {
  return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

// Returns false while the process runs; after that gives its exit status as the command processor
// reports it.
bool has_ended(std::intptr_t process, int options, int& exit_status) {
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(static_cast<pid_t>(process), &status, options);
  } while (ended < 0 && errno == EINTR);
  if (ended == 0) return false;
  exit_status = ended < 0             ? 0  // another waiter has its status
                : WIFSIGNALED(status) ? kSignalStatus + WTERMSIG(status)
                                      : WEXITSTATUS(status);
  return true;
}

}  // namespace

CommandPipe::CommandPipe(CommandPipe&& other) noexcept
    : input_(std::move(other.input_)),
      output_end_(std::move(other.output_end_)),
      process_(std::exchange(other.process_, kNoProcess)),
      output_(std::exchange(other.output_, {})) {}

CommandPipe& CommandPipe::operator=(CommandPipe&& other) noexcept {
  if (this == &other) return *this;
  close();
  drop_output();
  input_ = std::move(other.input_);
  output_end_ = std::move(other.output_end_);
  process_ = std::exchange(other.process_, kNoProcess);
  output_ = std::exchange(other.output_, {});
  return *this;
}

CommandPipe::~CommandPipe() {
  close();
  static_cast<void>(stream_write(Stream::kError, output_));
  drop_output();
}

int CommandPipe::start(const char* command, CommandOutput output) {
  close();
  drop_output();
  ignore_broken_pipes();
  PipeEnds input;
  if (const int failed = input.open(); failed != 0) return failed;
  PipeEnds back;
  const bool collecting = output == CommandOutput::kCollected;
  if (const int failed = collecting ? back.open() : 0; failed != 0) return failed;
  pid_t process = -1;
  const int failed =
      spawn(command, descriptor_of(input.reading), descriptor_of(back.writing), process);
  if (failed != 0) return failed;
  input_ = std::move(input.writing);
  output_end_ = std::move(back.reading);
  process_ = process;
  enlarge(input_);
  if (!collecting) return 0;
  do_not_wait(input_);
  do_not_wait(output_end_);
  return 0;
}

// Reads the available output; returns false at its end. Drops output beyond the bound, so that no
// command waits for ever.
bool CommandPipe::collect() {
  std::array<char, 4096> bytes{};
  while (output_end_.is_open()) {
    const ssize_t count = read(descriptor_of(output_end_), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && comes_later(errno)) return true;
    if (count <= 0) break;
    const std::size_t room = kMostCommandOutput - output_.size();
    output_.append(bytes.data(), std::min(static_cast<std::size_t>(count), room));
  }
  drop_output_end();
  return false;
}

// Collects output while it writes: a command that waits until its output is read must not wait for
// this process while this process waits for the command.
int CommandPipe::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_of(input_), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
      continue;
    }
    if (!comes_later(errno)) return system_error();
    std::array<pollfd, 2> ends = {
        {{.fd = descriptor_of(input_), .events = POLLOUT, .revents = 0},
         {.fd = descriptor_of(output_end_), .events = POLLIN, .revents = 0}}};
    poll(ends.data(), ends.size(), -1);
    if (ends[1].revents != 0) collect();
  }
  return 0;
}

int CommandPipe::close() {
  if (!is_open()) return 0;
  static_cast<void>(input_.close());
  const std::intptr_t process = std::exchange(process_, kNoProcess);
  int status = 0;
  while (collect()) {
    pollfd output{.fd = descriptor_of(output_end_), .events = POLLIN, .revents = 0};
    // Checks again for the command's end, because a background process may keep the output open.
    poll(&output, 1, kLookMilliseconds);
    if (!has_ended(process, WNOHANG, status)) continue;
    collect();
    return status;
  }
  has_ended(process, 0, status);
  return status;
}

std::string CommandPipe::take_output() {
  collect();
  return std::exchange(output_, {});
}

void CommandPipe::drop_output() {
  drop_output_end();
  output_.clear();
}

void CommandPipe::drop_output_end() {
  static_cast<void>(output_end_.close());
}

std::string command_path(std::string_view variable, std::string_view rest) {
  return std::string("\"$").append(variable).append("\"").append(rest);
}

bool command_exists(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 && S_ISREG(status.st_mode) && access(path, X_OK) == 0;
}

}  // namespace marigold::inner
