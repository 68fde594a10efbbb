// SPDX-License-Identifier: GPL-3.0-or-later
// Reads rows of comma-separated values (RFC 4180), with their line numbers.
#pragma once

#include <csv.h>

#include <algorithm>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner {

// Commas separate cells. A cell may be in double quotes, with inner quotes doubled. Blanks count.
// Line ends are LF or CR LF; empty lines are skipped.
class CsvRows {
 public:
  enum class Outcome {
    kRow,
    kFault,     // the line is no row; reading goes on after it
    kUnusable,  // the line is too long, and no more rows can be read
    kEnd,
  };

  // The stream outlives this object. A row has at most `longest` bytes.
  CsvRows(std::istream& input, std::size_t longest);
  ~CsvRows() { csv_free(&parser_); }
  CsvRows(const CsvRows&) = delete;
  CsvRows& operator=(const CsvRows&) = delete;

  // Reads the next row. Without a row, and not at the end, gives the reason.
  Outcome next(std::string& reason);

  // Reads the first row, which names the columns. Returns false and the reason without such a row.
  bool next_header(std::string& reason);

  // Whether the row has a value for each of so many columns; otherwise gives the reason.
  [[nodiscard]] bool has_values(std::size_t columns, std::string& reason) const;

  // Cells of the row, valid until the next row.
  [[nodiscard]] std::size_t size() const { return ends_.size(); }
  [[nodiscard]] std::string_view cell(std::size_t number) const;

  // Line in which the row or fault begins, from 1.
  [[nodiscard]] int line() const { return std::max(first_line_, 1); }

 private:
  static void take_cell(void* bytes, std::size_t length, void* rows) noexcept;
  static void take_row(int terminator, void* rows) noexcept;

  bool parse_line(std::string& reason);
  void forget();

  std::istream& input_;
  std::size_t longest_;
  csv_parser parser_{};
  std::string physical_;
  std::string bytes_;              // of all cells
  std::vector<std::size_t> ends_;  // end of each cell in `bytes_`
  int rows_ = 0;                   // complete since the last returned one
  int line_ = 0;                   // number of the line read last
  int first_line_ = 0;
};

}  // namespace marigold::inner
