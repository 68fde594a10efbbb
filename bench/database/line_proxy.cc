// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/database/line_proxy.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <list>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "bench/database/database_server.h"

namespace marigold::inner::test {

namespace {

using Clock = std::chrono::steady_clock;

// Bytes that one way of a connection keeps before it reads on; more than 2.5 ms of the fastest line.
constexpr std::size_t kMostKept = 64U << 20;

// A processor that has been idle takes some 30 us to wake the thread, and twice that after some
// milliseconds. So the thread wakes for a first time, then sleeps a little, and looks without sleep
// for the rest.
constexpr std::chrono::microseconds kFirstWake{200};
constexpr std::chrono::microseconds kLastWake{40};

[[noreturn]] void fail(const char* call) {
  std::perror(call);
  std::abort();
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ < 0) return;
    // A forked process may have a copy; the other side has to see the end all the same.
    shutdown(number_, SHUT_RDWR);
    close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

sockaddr_un socket_address(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    fail(path.c_str());
  }
  path.copy(address.sun_path, path.size());
  return address;
}

Descriptor new_socket(int flags) {
  Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  if (made.number() < 0) fail("socket");
  return made;
}

struct Chunk {
  std::string bytes;
  std::size_t passed;  // of these bytes
  Clock::time_point due;
};

// Bytes on their way from one side to the other one.
struct Way {
  std::deque<Chunk> chunks = {};
  std::size_t kept = 0;  // bytes
  bool ended = false;    // the side sends no more, or nobody is left to take it
  bool lost = false;     // nobody is left to take it
  bool blocked = false;  // the other side takes no more at present
};

struct Connection {
  std::uint64_t number;
  Descriptor client;
  Descriptor server;
  Way from_client = {};
  Way from_server = {};
  bool is_answered = true;  // the client has got something since it sent something
  bool is_over = false;
};

// What the test has asked for, for one side.
struct Wishes {
  bool hold = false;
  std::chrono::nanoseconds delay{0};
};

struct Cut {
  From side;
  std::uint64_t left;  // bytes that still pass
  // Bytes of this connection count; without a number those of any.
  std::optional<std::uint64_t> connection;
};

}  // namespace

class LineProxy::Line {
 public:
  explicit Line(const std::string& server_socket);
  ~Line();
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  // Changes what the thread works by, and lets the thread look at it.
  template <typename Change>
  void change(Change make_change) {
    {
      const std::scoped_lock lock(mutex_);
      make_change(*this);
    }
    wake();
  }
  [[nodiscard]] LineCounts counts() {
    const std::scoped_lock lock(mutex_);
    return counts_;
  }
  bool wait_for_held(From side);

  // Under the mutex:
  Wishes& wishes(From side) { return side == From::kClient ? for_client_ : for_server_; }
  void cut_all();

  std::string directory;
  std::optional<Cut> cut = {};
  std::uint64_t accepted = 0;
  bool ending = false;

 private:
  void run();
  void wake();
  std::vector<pollfd> wanted();
  std::optional<timespec> time_left(Clock::time_point now);
  void work();
  void accept_all();
  void read_all(Connection& connection, From side);
  void pass_all(Connection& connection, From side, Clock::time_point now);
  bool pass(Connection& connection, From side, std::string_view bytes, std::size_t& passed);
  static Way& way(Connection& connection, From side) {
    return side == From::kClient ? connection.from_client : connection.from_server;
  }

  std::string server_socket_;
  Descriptor listener_ = new_socket(SOCK_NONBLOCK);
  Descriptor event_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  std::mutex mutex_;
  std::condition_variable held_;
  std::list<Connection> connections_;
  Wishes for_client_;
  Wishes for_server_;
  LineCounts counts_;
  std::vector<char> buffer_ = std::vector<char>(1U << 18);
  std::thread thread_;
};

LineProxy::Line::Line(const std::string& server_socket)
    : directory(std::filesystem::path(server_socket).parent_path() / "line-XXXXXX"),
      server_socket_(server_socket) {
  if (mkdtemp(directory.data()) == nullptr) fail(directory.c_str());
  const sockaddr_un address = socket_address(directory + "/.s.PGSQL.5432");
  if (event_.number() < 0) fail("eventfd");
  if (bind(listener_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener_.number(), SOMAXCONN) != 0)
    fail("bind");
  thread_ = std::thread([this] { run(); });
}

LineProxy::Line::~Line() {
  change([](Line& line) { line.ending = true; });
  thread_.join();
  std::error_code gone;  // with the server
  std::filesystem::remove_all(directory, gone);
}

void LineProxy::Line::wake() {
  const std::uint64_t one = 1;
  if (write(event_.number(), &one, sizeof one) != sizeof one && errno != EAGAIN) fail("eventfd");
}

void LineProxy::Line::run() {
  // The system would wake the thread up to 50 us late.
  if (prctl(PR_SET_TIMERSLACK, 1UL) != 0) fail("prctl");
  std::unique_lock lock(mutex_);
  while (!ending) {
    work();
    std::vector<pollfd> files = wanted();
    const std::optional<timespec> left = time_left(Clock::now());
    lock.unlock();
    if (ppoll(files.data(), files.size(), left ? &*left : nullptr, nullptr) < 0 && errno != EINTR)
      fail("ppoll");
    lock.lock();
  }
}

std::vector<pollfd> LineProxy::Line::wanted() {
  std::vector<pollfd> files = {{listener_.number(), POLLIN, 0}, {event_.number(), POLLIN, 0}};
  const auto add = [&files](const Descriptor& file, const Way& in, const Way& out) {
    const bool reads = !in.ended && in.kept < kMostKept;
    const int events = (reads ? POLLIN : 0) | (out.blocked ? POLLOUT : 0);
    // A file that has ended would wake the thread again and again.
    if (events != 0) files.push_back({file.number(), static_cast<short>(events), 0});
  };
  for (const Connection& connection : connections_) {
    add(connection.client, connection.from_client, connection.from_server);
    add(connection.server, connection.from_server, connection.from_client);
  }
  return files;
}

// Time to sleep for, because of delayed bytes.
std::optional<timespec> LineProxy::Line::time_left(Clock::time_point now) {
  auto next = Clock::time_point::max();
  for (Connection& connection : connections_) {
    for (const From side : {From::kClient, From::kServer}) {
      const Way& one = way(connection, side);
      if (!one.chunks.empty() && !one.blocked && !wishes(side).hold)
        next = std::min(next, one.chunks.front().due);
    }
  }
  if (next == Clock::time_point::max()) return std::nullopt;
  std::chrono::nanoseconds left = next - now;
  left -= left > 2 * kFirstWake ? kFirstWake : kLastWake;
  const auto count = std::max(left, std::chrono::nanoseconds(0)).count();
  return timespec{count / 1'000'000'000, count % 1'000'000'000};
}

// Does all that can be done now; which file has woken the thread does not matter.
void LineProxy::Line::work() {
  std::uint64_t events = 0;
  if (read(event_.number(), &events, sizeof events) < 0 && errno != EAGAIN) fail("eventfd");
  accept_all();
  for (Connection& connection : connections_) {
    for (const From side : {From::kClient, From::kServer}) {
      read_all(connection, side);
      pass_all(connection, side, Clock::now());
    }
  }
  std::erase_if(connections_, [](const Connection& connection) { return connection.is_over; });
  held_.notify_all();
}

void LineProxy::Line::accept_all() {
  const sockaddr_un address = socket_address(server_socket_);
  int client = 0;
  while ((client = accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
    Connection connection{++accepted, Descriptor(client), new_socket(0)};
    ++counts_.connections;
    if (connect(connection.server.number(), reinterpret_cast<const sockaddr*>(&address),
                sizeof address) == 0)
      connections_.push_back(std::move(connection));
  }
  if (errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) fail("accept4");
}

void LineProxy::Line::read_all(Connection& connection, From side) {
  Way& one = way(connection, side);
  const Descriptor& from = side == From::kClient ? connection.client : connection.server;
  while (!connection.is_over && !one.ended && one.kept < kMostKept) {
    const ssize_t count = recv(from.number(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) {
      one.ended = true;
      return;
    }
    auto due = Clock::now() + wishes(side).delay;
    if (!one.chunks.empty()) due = std::max(due, one.chunks.back().due);
    const auto bytes = static_cast<std::size_t>(count);
    one.chunks.push_back({std::string(buffer_.data(), bytes), 0, due});
    one.kept += bytes;
    if (side == From::kClient && std::exchange(connection.is_answered, false))
      ++counts_.round_trips;
    if (bytes < buffer_.size()) return;
  }
}

void LineProxy::Line::pass_all(Connection& connection, From side, Clock::time_point now) {
  Way& one = way(connection, side);
  one.blocked = false;
  while (!connection.is_over && !one.chunks.empty() && !wishes(side).hold &&
         one.chunks.front().due <= now) {
    Chunk& chunk = one.chunks.front();
    const std::size_t passed_before = chunk.passed;
    if (!pass(connection, side, std::string_view(chunk.bytes).substr(chunk.passed), chunk.passed))
      return;
    one.kept -= chunk.passed - passed_before;
    if (chunk.passed == chunk.bytes.size()) one.chunks.pop_front();
  }
  if (one.ended && one.chunks.empty() && !one.lost) connection.is_over = true;
}

// Passes some of the bytes. False if none can be passed now.
bool LineProxy::Line::pass(Connection& connection, From side, std::string_view bytes,
                           std::size_t& passed) {
  Way& one = way(connection, side);
  const Descriptor& to = side == From::kClient ? connection.server : connection.client;
  const bool counts =
      cut && cut->side == side && (!cut->connection || *cut->connection == connection.number);
  if (counts) bytes = bytes.substr(0, cut->left);
  ssize_t count = 0;
  if (!bytes.empty()) {
    count = send(to.number(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
      one.blocked = true;
      return false;
    }
    if (count < 0) {
      // The other side has gone; its last words may still be on their way.
      one = {.ended = true, .lost = true};
      return false;
    }
  }
  passed += static_cast<std::size_t>(count);
  (side == From::kClient ? counts_.client_bytes : counts_.server_bytes) +=
      static_cast<std::uint64_t>(count);
  if (side == From::kServer) connection.is_answered = true;
  if (counts) {
    cut->left -= static_cast<std::uint64_t>(count);
    if (cut->left == 0) {
      cut.reset();
      ++counts_.cuts;
      connection.is_over = true;
    }
  }
  return !connection.is_over;
}

void LineProxy::Line::cut_all() {
  counts_.cuts += connections_.size();
  connections_.clear();
}

bool LineProxy::Line::wait_for_held(From side) {
  std::unique_lock lock(mutex_);
  return held_.wait_for(lock, std::chrono::seconds(30), [&] {
    return wishes(side).hold && std::ranges::any_of(connections_, [&](Connection& connection) {
             return !way(connection, side).chunks.empty();
           });
  });
}

// ---- What a test calls

LineProxy::LineProxy(const std::string& server_socket)
    : line_(std::make_unique<Line>(server_socket)) {}

LineProxy::~LineProxy() = default;

std::string LineProxy::host() const {
  return percent_encoded(line_->directory);
}

std::string LineProxy::address(std::string_view database) const {
  return "postgresql://" + host() + "/" + percent_encoded(database);
}

LineCounts LineProxy::counts() const {
  return line_->counts();
}

void LineProxy::cut_after(From side, std::uint64_t bytes) {
  line_->change([&](Line& line) { line.cut = {side, bytes, std::nullopt}; });
}

void LineProxy::cut_next_after(From side, std::uint64_t bytes) {
  line_->change([&](Line& line) { line.cut = {side, bytes, line.accepted + 1}; });
}

void LineProxy::cut_all() {
  line_->change([](Line& line) { line.cut_all(); });
}

void LineProxy::disarm() {
  line_->change([](Line& line) { line.cut.reset(); });
}

void LineProxy::hold(From side) {
  line_->change([&](Line& line) { line.wishes(side).hold = true; });
}

void LineProxy::release(From side) {
  line_->change([&](Line& line) { line.wishes(side).hold = false; });
}

bool LineProxy::wait_for_held(From side) {
  return line_->wait_for_held(side);
}

void LineProxy::delay(From side, std::chrono::nanoseconds time) {
  line_->change([&](Line& line) { line.wishes(side).delay = time; });
}

}  // namespace marigold::inner::test
