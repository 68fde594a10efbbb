// SPDX-License-Identifier: GPL-3.0-or-later
// Rows of comma-separated values (RFC 4180), with the lines in which they stand.
#pragma once

#include <csv.h>

#include <algorithm>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace marigold {

// Cells are separated by commas and may stand in double quotes, doubled within. Blanks count. Line
// ends are LF or CR LF; empty lines are passed over.
class CsvRows {
 public:
  enum class Outcome {
    kRow,
    kFault,     // the line is no row; reading goes on behind it
    kUnusable,  // nor can any other be read: it is longer than it may be
    kEnd,
  };

  // The stream outlives it. A row has at most so many bytes.
  CsvRows(std::istream& input, std::size_t longest);
  ~CsvRows() { csv_free(&parser_); }
  CsvRows(const CsvRows&) = delete;
  CsvRows& operator=(const CsvRows&) = delete;

  // The next row; for anything but a row or the end the reason.
  Outcome next(std::string& reason);

  // The first row, which names the columns: false with the reason when there is none.
  bool next_header(std::string& reason);

  // Whether the row has a value for each of so many columns; else the reason.
  [[nodiscard]] bool has_values(std::size_t columns, std::string& reason) const;

  // Of the row, valid until the next one.
  [[nodiscard]] std::size_t size() const { return ends_.size(); }
  [[nodiscard]] std::string_view cell(std::size_t number) const;

  // In which the row or fault begins, from 1.
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
  std::vector<std::size_t> ends_;  // of the cells in it
  int rows_ = 0;                   // complete ones since the last that was delivered
  int line_ = 0;                   // read last
  int first_line_ = 0;
};

}  // namespace marigold
