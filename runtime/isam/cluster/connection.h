// SPDX-License-Identifier: GPL-3.0-or-later
// A connection to the server: statements and their results. Knows nothing of files; session.h gets
// a lost connection back.
//
// Results: 0, kLost when the connection is gone, or the number for iserrno with its reason noted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/isam/cluster/client_library.h"

namespace marigold::inner::isam {

// The connection is gone, or leads to a host that no longer takes changes. Whether the server has
// carried out what was sent last is not known.
inline constexpr int kLost = -1;
// The server has undone the transaction because of another one; it can be repeated.
inline constexpr int kAgain = -2;
// A step of a transaction has found a record locked, by its division by zero; see locked_step.
inline constexpr int kDivided = -3;
// The server does not know the table or the schema.
inline constexpr int kNoTable = -4;

// A statement with a name, which the server plans once a connection.
struct Statement {
  std::string text;   // parameters as $1::bytea; all values are binary
  bool once = false;  // without a name: the server forgets it
  std::string name = {};
  std::uint64_t connection = 0;  // the connection that knows it
};

// A number as a parameter.
class Number {
 public:
  explicit Number(std::int64_t value);
  [[nodiscard]] std::string_view bytes() const { return {bytes_.data(), bytes_.size()}; }

 private:
  std::array<char, 8> bytes_;
};

// A statement with its parameters, which outlive the call.
struct Step {
  Statement* statement = nullptr;
  std::vector<std::string_view> parameters = {};
};

// Rows that a statement has returned.
class Rows {
 public:
  Rows() = default;
  Rows(const ClientLibrary& library, PGresult* result) : library_(&library), result_(result) {}
  Rows(Rows&& other) noexcept;
  Rows& operator=(Rows&& other) noexcept;
  ~Rows() { clear(); }

  [[nodiscard]] int count() const;
  [[nodiscard]] bool is_null(int row, int column) const;
  // Bytes of a value; valid as long as this object.
  [[nodiscard]] std::string_view bytes(int row, int column) const;
  // A bigint, integer or boolean.
  [[nodiscard]] std::int64_t number(int row, int column) const;

 private:
  void clear();

  const ClientLibrary* library_ = nullptr;
  PGresult* result_ = nullptr;
};

class RowStream;

class Connection {
 public:
  // `place`, hosts and database, begins the reasons of failures.
  Connection(std::string server, std::string place)
      : server_(std::move(server)), place_(std::move(place)) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { close(); }

  // Connects, after closing. `application` is the name under which the server shows the connection.
  // kIsServer, with the reason.
  int open(const std::string& application);
  void close();
  // False after a loss, and in a forked child that has inherited the object.
  [[nodiscard]] bool is_open() const;
  // Whether this process has made the object.
  [[nodiscard]] bool is_ours() const;
  // Whether the server that could not be connected to is only starting, or ending.
  [[nodiscard]] bool is_starting() const { return starting_; }

  // Runs the steps as one transaction in one round trip; `rows` gets a result for each.
  int run(std::span<const Step> steps, std::span<Rows> rows);
  // Index of the step that has failed.
  [[nodiscard]] std::size_t failed_step() const { return failed_step_; }

  // Runs SQL without parameters, several statements as one transaction.
  int command(const std::string& text, Rows& rows);
  int command(const std::string& text);

  // Sends rows to COPY ... FROM STDIN.
  int copy_in_begin(const std::string& text);
  int copy_in(std::string_view bytes);
  int copy_in_end(bool keep);

  // Gets rows from COPY ... TO STDOUT. `reader` keeps those that are left when other work comes.
  int copy_out_begin(const std::string& text, RowStream& reader);
  // Gives the next message; false after the last one, and after a failure.
  bool copy_out(std::string& message);
  void forget_reader() { reader_ = nullptr; }

  // Returns a text quoted for SQL.
  static std::string quoted_name(std::string_view name);
  static std::string quoted_text(std::string_view text);

  [[nodiscard]] const std::string& server() const { return server_; }
  // Names a schema in the reasons of failures from now on.
  void speak_of(const std::string& schema) { schema_ = &schema; }
  [[nodiscard]] std::string place() const;
  // Notes "PLACE: REASON" and returns the number.
  [[nodiscard]] int refuse(int number, std::string_view reason) const;
  // The same, 105, for a record of a file with a wrong length.
  [[nodiscard]] int refuse_record(const std::string& file) const;
  // The same, 120, for a table that others have not left for long enough.
  [[nodiscard]] int refuse_table_in_use() const;
  // Returns the reason that was noted last, without the place.
  [[nodiscard]] std::string last_words() const;

 private:
  int send(const Step& step, bool sync);
  int take(PGresult* result, Rows& rows);
  int end_results();
  int end_pipeline();
  int judge(PGresult* result);
  int check_copy(PGresult* result, ExecStatusType wanted);
  int settle();
  void end_copy_out();
  int lose();
  [[nodiscard]] std::string words() const;

  std::string server_;
  std::string place_;
  const std::string* schema_ = nullptr;
  const ClientLibrary* library_ = nullptr;
  PGconn* connection_ = nullptr;
  std::uint64_t number_ = 0;  // differs for every connection of the process
  std::size_t failed_step_ = 0;
  unsigned owner_ = 0;  // see private_descriptors.h
  bool starting_ = false;
  bool copies_out_ = false;
  RowStream* reader_ = nullptr;  // of the rows that come; null: nobody wants them any more
};

}  // namespace marigold::inner::isam
