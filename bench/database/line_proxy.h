// SPDX-License-Identifier: GPL-3.0-or-later
// The line between a client and a database server, for tests and benchmarks: counts what passes,
// cuts, holds back, delays.
//
// A proxy listens on a unix socket, under the name that libpq expects, in a new directory beside the
// server's socket, so that it goes with the server. It has a connection to the server for each one
// of a client. A thread of this process does the work; it sleeps while nothing passes. All
// operations may be called at any time from any thread, and hold for bytes that reach the proxy
// after the return. An end of one side reaches the other one after the bytes before it. A client of
// a server that does not run is cut at once.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace marigold::inner::test {

enum class From { kClient, kServer };

// Sums over all connections.
struct LineCounts {
  // Times that a client has sent something at its start, or after it has got something: what a
  // client that waits for each answer pays in latency.
  std::uint64_t round_trips = 0;
  std::uint64_t client_bytes = 0;  // passed on to the server
  std::uint64_t server_bytes = 0;  // passed on to clients
  std::uint64_t connections = 0;   // accepted
  std::uint64_t cuts = 0;
};

class LineProxy {
 public:
  // The path of the server's socket, as of DatabaseServer::socket.
  explicit LineProxy(const std::string& server_socket);
  ~LineProxy();  // cuts every connection
  LineProxy(const LineProxy&) = delete;
  LineProxy& operator=(const LineProxy&) = delete;

  // As of DatabaseServer.
  [[nodiscard]] std::string host() const;
  [[nodiscard]] std::string address(std::string_view database = "postgres") const;

  [[nodiscard]] LineCounts counts() const;

  // Arms one cut: both sides of a connection are closed when n bytes from one side have passed since
  // then, and not one more; with 0 when the first byte comes, which does not pass. So the server has
  // done its work and the client hears nothing of it after cut_after(From::kServer, 0), and after
  // cut_after(From::kClient, n) for the bytes of a whole statement. Bytes of all connections count;
  // the one that has passed the last byte is cut. A second call replaces the first.
  void cut_after(From side, std::uint64_t bytes);
  // The same for bytes of the connection that is accepted next.
  void cut_next_after(From side, std::uint64_t bytes);
  // Cuts every connection now.
  void cut_all();
  void disarm();

  // Keeps bytes of one side back, in order, until release.
  void hold(From side);
  void release(From side);
  // Waits until the proxy keeps bytes back. False after 30 s without any.
  bool wait_for_held(From side);

  // Delays bytes of one side, in order and without a limit of bandwidth, as a longer line does.
  void delay(From side, std::chrono::nanoseconds time);

 private:
  class Line;
  std::unique_ptr<Line> line_;
};

}  // namespace marigold::inner::test
