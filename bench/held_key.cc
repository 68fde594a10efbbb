// SPDX-License-Identifier: GPL-3.0-or-later
// How long the screen lags behind a held arrow key at 9,600 baud.
//
//   held_key [WINDOWS...]     programs to compare, builds of the sample program windows; without
//                             one the build's own
//
// Each program gets an arrow key 30 times a second for two seconds: in a window, which moves with
// each of them, and in a list. Standard output gets CSV: program, line, mode, scene, milliseconds
// from the last key until the terminal shows the last byte, bytes from the first key on, and whether
// the screen is then the one of a fast line.
//
// There are two lines. `serial`: held_key_line.cc answers for the driver, which a pty lacks (its
// backlog is always 0, and it hides 20 KB). `pty`: the benchmark reads 960 bytes a second from a
// pty, so that the program knows no more than the speed in the terminal's modes and TERM=vt100.

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "bench/held_key_line.h"
#include "tests/support/emulator.h"

namespace marigold::inner::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kBytesPerSecond = 960;
constexpr int kKeys = 60;
constexpr double kKeySeconds = 1.0 / 30;
constexpr double kQuietSeconds = 1.0;  // without a byte: the program has shown everything

enum class Line { kFast, kSerial, kPty };
constexpr const char* kLineNames[] = {"fast", "serial", "pty"};

struct Scene {
  const char* name;
  std::string_view before;  // keys that lead to it
  std::string_view first;   // of the first half of the keys
  std::string_view second;
};
// From 15 columns further left the window can go 30 to the right and back.
constexpr Scene kScenes[] = {
    {"window",
     "\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D\x1b[D"
     "\x1b[D",
     "\x1b[C", "\x1b[D"},
    {"list", "\x1bOQ", "\x1b[B", "\x1b[B"}};

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

double seconds_since(Clock::time_point start) {
  return Seconds(Clock::now() - start).count();
}

// A program at a line, and the terminal at the line's other end.
class Session {
 public:
  Session(const char* program, Line line, bool vt100)
      : line_(line), emulator_(kScreenColumns, kScreenRows, !vt100) {
    const int memory = memfd_create("line", 0);
    if (memory < 0 || ftruncate(memory, sizeof(HeldKeyLine)) != 0) fail("line");
    counts_ = map_line(memory);
    termios modes{};
    winsize size{};
    size.ws_row = kScreenRows;
    size.ws_col = kScreenColumns;
    child_ = forkpty(&master_, nullptr, nullptr, &size);
    if (child_ < 0 || counts_ == nullptr) fail("pty");
    if (child_ == 0) {
      tcgetattr(STDIN_FILENO, &modes);
      if (line != Line::kFast) cfsetospeed(&modes, B9600);
      tcsetattr(STDIN_FILENO, TCSANOW, &modes);
      setenv("TERM", line == Line::kPty ? "vt100" : "xterm", 1);
      setenv("LC_ALL", "C.UTF-8", 1);
      if (vt100) setenv("COMFAXUSEVT100", "", 1);
      if (line == Line::kSerial) {
        dup2(memory, kLineDescriptor);
        setenv("LD_PRELOAD", LINE_PATH, 1);
      }
      close(STDERR_FILENO);
      open("/dev/null", O_WRONLY);
      execl(program, program, nullptr);
      std::_Exit(1);
    }
    close(memory);
  }
  ~Session() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    close(master_);
    munmap(counts_, sizeof(HeldKeyLine));
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void type(std::string_view keys) {
    if (write(master_, keys.data(), keys.size()) < 0) fail("key");
  }
  void pass(double seconds) {
    for (const auto start = Clock::now(); seconds_since(start) < seconds;)
      pump();
  }
  // Waits until the line has been silent for a while.
  void settle() {
    pass(kQuietSeconds);
    while (seconds_since(shown_at_) < kQuietSeconds)
      pump();
  }
  // Time at which the terminal has shown the last byte.
  Clock::time_point shown_at() const { return shown_at_; }
  long bytes() const { return bytes_; }
  std::string screen() const {
    std::string text;
    for (int row = 1; row <= kScreenRows; ++row)
      text += emulator_.row_text(row) + '\n';
    return text;
  }

 private:
  // Takes the bytes that the line has brought meanwhile.
  void pump() {
    pollfd waiting{.fd = master_, .events = POLLIN, .revents = 0};
    if (line_ == Line::kPty || poll(&waiting, 1, 2) == 0) usleep(2000);
    const auto now = Clock::now();
    std::array<char, 4096> bytes{};
    std::size_t most = bytes.size();
    if (line_ == Line::kPty) {
      const double due = Seconds(now - pumped_at_).count() * kBytesPerSecond;
      most = std::min(most, static_cast<std::size_t>(due));
    }
    const bool has_bytes = most > 0 && poll(&waiting, 1, 0) == 1;
    const ssize_t count = has_bytes ? read(master_, bytes.data(), most) : 0;
    // An idle line saves nothing up; of a busy one no part of a byte is lost.
    if (count <= 0 && most > 0) pumped_at_ = now;
    if (count > 0) take({bytes.data(), static_cast<std::size_t>(count)}, now);
    const double ahead = std::max(0.0, Seconds(shown_at_ - Clock::now()).count());
    if (line_ == Line::kSerial)
      counts_->sent = bytes_ - static_cast<long>(std::ceil(ahead * kBytesPerSecond));
  }
  void take(std::string_view bytes, Clock::time_point now) {
    const auto time = std::chrono::duration_cast<Clock::duration>(
        Seconds(static_cast<double>(bytes.size()) / kBytesPerSecond));
    pumped_at_ += time;
    shown_at_ = line_ == Line::kSerial ? std::max(now, shown_at_) + time : now;
    bytes_ += static_cast<long>(bytes.size());
    emulator_.feed(bytes);
  }

  Line line_;
  int master_ = -1;
  pid_t child_ = -1;
  HeldKeyLine* counts_ = nullptr;
  test::Emulator emulator_;
  long bytes_ = 0;
  Clock::time_point shown_at_ = Clock::now();
  Clock::time_point pumped_at_ = Clock::now();
};

struct Measured {
  double lag_ms = 0;
  long bytes = 0;
  std::string screen;
};

Measured measure(const char* program, Line line, bool vt100, const Scene& scene) {
  Session session(program, line, vt100);
  session.settle();
  session.type(scene.before);
  session.settle();
  const long before = session.bytes();
  auto next = Clock::now();
  auto last = next;
  for (int key = 0; key < kKeys; ++key) {
    session.pass(Seconds(next - Clock::now()).count());
    last = Clock::now();
    session.type(key < kKeys / 2 ? scene.first : scene.second);
    next += std::chrono::duration_cast<Clock::duration>(Seconds(kKeySeconds));
  }
  session.settle();
  const double lag = Seconds(session.shown_at() - last).count();
  return {std::max(0.0, lag) * 1000, session.bytes() - before, session.screen()};
}

void compare(const char* program) {
  for (const bool vt100 : {false, true}) {
    for (const Scene& scene : kScenes) {
      const Measured fast = measure(program, Line::kFast, vt100, scene);
      for (const Line line : {Line::kSerial, Line::kPty}) {
        const Measured slow = measure(program, line, vt100, scene);
        std::printf("%s,%s,%s,%s,%.0f,%ld,%s\n", program, kLineNames[static_cast<int>(line)],
                    vt100 ? "VT100" : "console", scene.name, slow.lag_ms, slow.bytes,
                    slow.screen == fast.screen ? "same" : "another");
        std::fflush(stdout);
      }
    }
  }
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  namespace files = std::filesystem;
  std::vector<std::string> programs;
  for (int index = 1; index < argc; ++index)
    programs.push_back(files::absolute(argv[index]).string());
  if (programs.empty()) programs.emplace_back(WINDOWS_PATH);
  // The programs write a status file.
  std::string directory = (files::temp_directory_path() / "held_key.XXXXXX").string();
  if (mkdtemp(directory.data()) == nullptr || chdir(directory.c_str()) != 0) return 1;
  std::printf("program,line,mode,scene,lag_ms,bytes,screen\n");
  for (const std::string& program : programs)
    marigold::inner::bench::compare(program.c_str());
  files::remove_all(directory);
  return 0;
}
