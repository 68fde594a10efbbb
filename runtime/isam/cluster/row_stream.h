// SPDX-License-Identifier: GPL-3.0-or-later
// Rows of a query that come while the program uses them, without a round trip for each part of them.
// A connection that gets other work meanwhile reads the rest into memory first, so a query has a
// limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner::isam {

class Connection;

class RowStream {
 public:
  RowStream() = default;
  RowStream(const RowStream&) = delete;
  RowStream& operator=(const RowStream&) = delete;
  ~RowStream() { forget(); }

  // Begins to read the rows of a query, which are (bigint, bytea) and not more than the limit. The
  // connection outlives the object. Returns false if the server refuses, or is lost.
  bool begin(Connection& connection, const std::string& query, std::size_t limit);
  // Gives the next row; the bytes are valid until the next call. False after the last row, and when
  // there are no more because the server has failed.
  bool next(std::int64_t& number, std::string_view& bytes);
  // Whether no query has begun, or the limit has ended its rows: there may be more of them.
  [[nodiscard]] bool is_used_up() const { return rows_ == limit_; }
  void forget();

 private:
  friend class Connection;

  bool next_message();
  bool parse(std::int64_t& number, std::string_view& bytes);

  void end();

  std::size_t rows_ = 0;  // given
  std::size_t limit_ = 0;
  bool at_head_ = false;
  Connection* connection_ = nullptr;  // from which rows are still to come
  std::string message_;
  std::vector<std::string> kept_;  // the rest of the messages
  std::size_t next_kept_ = 0;
};

}  // namespace marigold::inner::isam
