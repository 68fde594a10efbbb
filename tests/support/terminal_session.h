// SPDX-License-Identifier: GPL-3.0-or-later
// A program that uses the terminal, in a pty with an emulator and a simple shell.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/emulator.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

inline void write_all(int descriptor, const void* bytes, std::size_t size) {
  if (write(descriptor, bytes, size) != static_cast<ssize_t>(size)) std::_Exit(3);
}

// Starts the program in the foreground, without a death report of sanitizers and without core
// dumps.
[[noreturn]] inline void start_program(int report, void (*program)()) {
  std::signal(SIGTTOU, SIG_IGN);
  setpgid(0, 0);
  const pid_t self = getpid();
  tcsetpgrp(STDIN_FILENO, self);
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
    std::signal(signal, SIG_DFL);
  const stack_t no_stack{.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
  sigaltstack(&no_stack, nullptr);
  const rlimit nothing{};
  setrlimit(RLIMIT_CORE, &nothing);
  setenv("LC_ALL", "C.UTF-8", 1);
  write_all(report, &self, sizeof self);
  program();
  std::_Exit(0);
}

// A simple shell in a pty, which starts the program and reports its wait statuses: without a shell
// a stop has no effect.
[[noreturn]] inline void run_shell(int report, void (*program)()) {
  const pid_t child = fork();
  if (child == 0) start_program(report, program);
  std::signal(SIGHUP, SIG_IGN);
  for (int status = 0; waitpid(child, &status, WUNTRACED) == child;)
    write_all(report, &status, sizeof status);
  pause();
  std::_Exit(0);
}

class TerminalSession {
 public:
  explicit TerminalSession(void (*program)(), unsigned short columns = 90, unsigned short rows = 30)
      : emulator(columns, rows) {
    std::array<int, 2> report{};
    int slave = -1;
    if (pipe(report.data()) != 0 || openpty(&master_, &slave, nullptr, nullptr, nullptr) != 0)
      std::abort();
    resize(columns, rows);
    modes_before_ = modes();
    if ((shell_ = fork()) < 0) std::abort();
    if (shell_ == 0) {
      close(master_);
      login_tty(slave);
      run_shell(report[1], program);
    }
    close(slave);
    close(report[1]);
    report_ = report[0];
    program_ = next_report();
  }
  ~TerminalSession() {
    send(SIGKILL);
    kill(shell_, SIGKILL);
    waitpid(shell_, nullptr, 0);
    hang_up();
    close(report_);
  }

  void type(std::string_view keys) { write_all(master_, keys.data(), keys.size()); }
  void send(int signal) {
    if (program_ > 0) kill(program_, signal);
  }
  // The program's process, until outcome() has returned its end.
  [[nodiscard]] pid_t process() const { return program_; }
  void hang_up() {
    if (master_ != -1) close(master_);
    master_ = -1;
  }
  void resize(unsigned short columns, unsigned short rows) {
    const winsize size{rows, columns, 0, 0};
    emulator.resize(columns, rows);
    ioctl(master_, TIOCSWINSZ, &size);
  }
  bool wait_until(const auto& holds, int milliseconds = 20'000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!holds()) {
      if (std::chrono::steady_clock::now() > end) return false;
      read_output(10);
    }
    return true;
  }
  bool shows_in_row(int row, const std::string& text) {
    return wait_until([&] { return emulator.row_text(row).find(text) != std::string::npos; });
  }
  bool shows_only(const std::string& row) {
    return wait_until([&] { return emulator.row_text(1) == row && emulator.row_text(2).empty(); });
  }
  // Returns the program's next wait status; a core dump does not count. -1: there is none yet.
  int outcome() {
    pollfd waiting{report_, POLLIN, 0};
    if (!wait_until([&] { return poll(&waiting, 1, 0) == 1; })) return -1;
    const int status = next_report();
    if (!WIFSTOPPED(status)) program_ = 0;  // its number may be reused soon
    return status & ~WCOREFLAG;
  }
  bool restored() {
    while (read_output(0)) {
    }
    return !emulator.alternate_screen() && emulator.cursor_visible() && modes() == modes_before_;
  }
  // Bytes that the terminal has got.
  long received() const { return received_; }

  Emulator emulator;

 private:
  int next_report() {
    int value = -1;
    return read(report_, &value, sizeof value) == sizeof value ? value : -1;
  }
  bool read_output(int milliseconds) {
    pollfd waiting{master_, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) != 1) return false;
    char bytes[4096];
    const ssize_t count = read(master_, bytes, sizeof bytes);
    if (count > 0) emulator.feed({bytes, static_cast<std::size_t>(count)});
    if (count > 0) received_ += count;
    return count > 0;
  }
  std::string modes() const {
    termios now;
    std::memset(&now, 0, sizeof now);  // its padding too
    tcgetattr(master_, &now);
    return {reinterpret_cast<const char*>(&now), sizeof now};
  }

  long received_ = 0;
  int master_ = -1;
  int report_ = -1;
  pid_t shell_ = -1;
  pid_t program_ = -1;
  std::string modes_before_;
};

// A session of 80 by 24 in a directory of its own.
struct OwnDirectory {
  const WorkDirectory directory;
};
struct ApplicationSession : OwnDirectory, TerminalSession {
  explicit ApplicationSession(void (*program)()) : TerminalSession(program, 80, 24) {}
};

}  // namespace marigold::inner::test
