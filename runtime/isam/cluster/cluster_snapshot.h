// SPDX-License-Identifier: GPL-3.0-or-later
// Snapshots: the records that files had at one moment, read while others change them. A snapshot has
// a connection of its own, whose transaction sees nothing that is changed later.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "runtime/isam/cluster/connection.h"
#include "runtime/isam/cluster/table.h"

namespace marigold::inner::isam {

// The connection of snapshots of one moment. It is not got back when it is lost: another one would
// see another moment.
class Moment {
 public:
  explicit Moment(const Connection& like) : connection_(like.server(), like.place()) {}

  int begin();
  int run(const Step& step, Rows& rows);
  int command(const std::string& text);
  [[nodiscard]] const Connection& connection() const { return connection_; }
  // Returns a new name, quoted.
  std::string new_cursor() { return Connection::quoted_name("c" + std::to_string(++cursors_)); }

 private:
  int judge(int result);

  Connection connection_;
  int cursors_ = 0;
};

class TableSnapshot {
 public:
  TableSnapshot(std::shared_ptr<Moment> moment, const Table& table);

  int begin();
  // Reads the next record in the order of writing; 110 after the last one.
  int next(char* record);
  [[nodiscard]] std::int64_t count() const { return count_; }

 private:
  std::shared_ptr<Moment> moment_;
  std::string table_;   // quoted
  std::string cursor_;  // quoted
  std::size_t record_length_;
  Statement fetch_;
  std::int64_t count_ = 0;
  Rows rows_;
  int next_ = 0;  // row to be delivered next
};

}  // namespace marigold::inner::isam
