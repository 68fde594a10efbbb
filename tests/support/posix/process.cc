// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/posix/fork.h"

namespace marigold::inner::test {

namespace {

[[noreturn]] void give_up(const char* call) {
  std::perror(call);
  std::abort();
}

int status_of(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) give_up("waitpid");
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

static_assert(kKilled == -SIGKILL && kStopped == -SIGTERM && kTooLate == -SIGALRM);

Process::Process(const char* name, const Words& words) {
  std::vector<const char*> arguments = {"test"};
  if (is_long_run()) arguments.push_back("--long");
  arguments.insert(arguments.end(), {"--child", name});
  for (const std::string& word : words)
    arguments.push_back(word.c_str());
  arguments.push_back(nullptr);
  pid_t process = 0;
  errno = posix_spawn(&process, "/proc/self/exe", nullptr, nullptr,
                      const_cast<char**>(arguments.data()), environ);
  if (errno != 0) give_up("posix_spawn");
  handle_ = process;
}

int Process::wait() {
  return status_of(static_cast<pid_t>(std::exchange(handle_, 0)));
}

int Process::kill() {
  if (handle_ == 0) return 0;
  ::kill(static_cast<pid_t>(handle_), SIGKILL);
  return wait();
}

bool Process::is_running() const {
  siginfo_t ended{};
  return handle_ != 0 &&
         waitid(P_PID, static_cast<id_t>(handle_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         ended.si_pid == 0;
}

bool is_slow_system() {
  return false;
}

bool aborted(int status) {
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

void ask_to_stop() {
  raise(SIGTERM);
}

void die_now() {
  raise(SIGKILL);
  std::abort();
}

void end_within(int seconds) {
  alarm(static_cast<unsigned>(seconds));
}

int run_forked(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child < 0) give_up("fork");
  if (child != 0) return status_of(child);
  body();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

long leave_copy() {
  int ends[2];
  char begun = 1;
  if (pipe2(ends, O_CLOEXEC) != 0) give_up("pipe2");
  const pid_t copy = fork();
  if (copy < 0) give_up("fork");
  if (copy == 0 && write(ends[1], &begun, 1) != 1) give_up("write");
  while (copy == 0)
    pause();
  // From then on it has given up what a forked child does not keep.
  if (read(ends[0], &begun, 1) != 1) give_up("read");
  close(ends[0]);
  close(ends[1]);
  return copy;
}

void adopt_copies() {
  if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) give_up("prctl");
}

void end_copy(long number) {
  ::kill(static_cast<pid_t>(number), SIGKILL);
  status_of(static_cast<pid_t>(number));
}

void become_a_reader() {
  constexpr uid_t kNobody = 65534;
  if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) give_up("setresuid");
}

void place_child_command(const std::string& path, const char* name) {
  const std::string program = std::filesystem::canonical("/proc/self/exe").string();
  std::ofstream(path) << "#!/bin/sh\nexec '" << program << "' --child '" << name << "' \"$@\"\n";
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

void* shared_memory_map(const char* name, std::size_t bytes, bool& made) {
  int file = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  made = file >= 0;
  if (!made) file = open(name, O_RDWR | O_CLOEXEC);
  if (file < 0 || (made && ftruncate(file, static_cast<off_t>(bytes)) != 0)) give_up(name);
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) give_up(name);
  close(file);
  return memory;
}

void shared_memory_unmap(void* memory, std::size_t bytes) {
  munmap(memory, bytes);
}

}  // namespace marigold::inner::test
