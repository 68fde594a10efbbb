// SPDX-License-Identifier: GPL-3.0-or-later
// Rows of comma-separated values, as the records that a list prints.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/lists.h"
#include "runtime/texte/code_set.h"
#include "tools/common/csv_rows.h"
#include "tools/common/input_file.h"

namespace marigold::inner {

// The first row names the fields, a field with several elements as "PHONE[1]" and so on. Cells are
// UTF-8; lists print ISO 8859-1.
class CsvRecord : public ListRecord {
 public:
  enum class Outcome { kRecord, kFault, kUnusable, kEnd };

  // The stream outlives this object.
  explicit CsvRecord(std::istream& input) : rows_(input, kLongestLine) {}

  // Reads the names of the fields. Returns false and the reason on a failure.
  bool begin(std::string& reason);
  // Reads the next record. Gives the reason of a fault; the next call goes on after it. kUnusable
  // has a reason too and is the last outcome.
  Outcome next(std::string& reason);
  [[nodiscard]] int line() const { return rows_.line(); }

  // A cell with the form of a number is a number; without a mask it is printed as it is in the
  // file. An empty cell is empty, also by a mask.
  bool get(std::string_view field, int element, ListFieldValue& value) const override;

  // Sets a variable for each cell, with its column's name without "[1]" and with the same value.
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

// Whether a whole text is a decimal number, with a point or a comma before its fraction; also in
// the forms of dumped data files, 1e-07. False if the digits before the fraction are more than a
// number can hold: masks would show others.
bool decimal_number(std::string_view text, double& number);

}  // namespace marigold::inner
