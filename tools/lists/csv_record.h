// SPDX-License-Identifier: GPL-3.0-or-later
// Rows of comma-separated values as the records that a list prints.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/lists.h"
#include "runtime/texte/code_set.h"
#include "tools/common/csv_rows.h"
#include "tools/common/input_file.h"

namespace marigold {

// The first row names the fields; those with several elements as "PHONE[1]" and so on. Cells are
// UTF-8; lists print ISO 8859-1.
class CsvRecord : public ListRecord {
 public:
  enum class Outcome { kRecord, kFault, kUnusable, kEnd };

  // The stream outlives it.
  explicit CsvRecord(std::istream& input) : rows_(input, kLongestLine) {}

  // Takes the names of the fields. False with the reason.
  bool begin(std::string& reason);
  // The next record; for a fault the reason, and the next call goes on behind it. kUnusable
  // has a reason, too, and is the last.
  Outcome next(std::string& reason);
  [[nodiscard]] int line() const { return rows_.line(); }

  // A cell is a number when it looks like one; printed without a mask it stays as it stands. An
  // empty one is empty, also under a mask.
  bool get(std::string_view field, int element, ListFieldValue& value) const override;

  // Sets a variable for each cell, by its column's name and without "[1]", with the same value.
  void set_variables() const;

 private:
  struct Cell {
    std::string text;
    bool is_number = false;
    double number = 0;
  };

  bool take_cells(std::string& reason);

  CsvRows rows_;
  CodeSet latin1_;
  std::map<std::string, std::size_t, std::less<>> columns_;
  std::vector<Cell> cells_;
};

// Whether all of a text is a decimal number, with a point or a comma before its fraction; also the
// forms that data files are written out with, 1e-07. Not when the digits before the fraction are
// more than a number can keep: masks would show others.
bool decimal_number(std::string_view text, double& number);

}  // namespace marigold
