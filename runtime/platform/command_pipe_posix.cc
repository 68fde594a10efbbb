#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "runtime/platform/command_pipe.h"

namespace marigold {
namespace {

constexpr int kSignalStatus = 128;

// A command gets the signals' usual meanings, whatever this process has made of them.
struct SpawnSettings {
  explicit SpawnSettings(int input) {
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
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

// A pipe that the command closed is a failed write, not our death.
void ignore_broken_pipes() {
  struct sigaction now {};
  if (sigaction(SIGPIPE, nullptr, &now) == 0 && now.sa_handler == SIG_DFL)
    std::signal(SIGPIPE, SIG_IGN);
}

// Lets the command and this process wait for each other less often. A smaller pipe does as well.
void enlarge(int descriptor) {
#ifdef F_SETPIPE_SZ
  constexpr int kPipeBytes = 1 << 20;
  static_cast<void>(fcntl(descriptor, F_SETPIPE_SZ, kPipeBytes));
#else
  static_cast<void>(descriptor);
#endif
}

int spawn(const char* command, int input, pid_t& process) {
  const SpawnSettings settings(input);
  const char* const arguments[] = {"sh", "-c", command, nullptr};
  // The call does not change its arguments; its type is older than const.
  return posix_spawn(&process, "/bin/sh", &settings.actions, &settings.attributes,
                     const_cast<char* const*>(arguments), environ);
}

}  // namespace

CommandPipe::CommandPipe(CommandPipe&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      process_(std::exchange(other.process_, -1)) {}

CommandPipe& CommandPipe::operator=(CommandPipe&& other) noexcept {
  if (this == &other) return *this;
  close();
  descriptor_ = std::exchange(other.descriptor_, -1);
  process_ = std::exchange(other.process_, -1);
  return *this;
}

int CommandPipe::start(const char* command) {
  close();
  ignore_broken_pipes();
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return errno;
  pid_t process = -1;
  const int failed = spawn(command, ends[0], process);
  ::close(ends[0]);
  if (failed != 0) {
    ::close(ends[1]);
    return failed;
  }
  descriptor_ = ends[1];
  process_ = process;
  enlarge(descriptor_);
  return 0;
}

int CommandPipe::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int CommandPipe::close() {
  if (!is_open()) return 0;
  ::close(std::exchange(descriptor_, -1));
  const pid_t process = static_cast<pid_t>(std::exchange(process_, -1));
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return 0;  // somebody else has waited for it
  }
  return WIFSIGNALED(status) ? kSignalStatus + WTERMSIG(status) : WEXITSTATUS(status);
}

bool command_exists(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 && S_ISREG(status.st_mode) && access(path, X_OK) == 0;
}

}  // namespace marigold
