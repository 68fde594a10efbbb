// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/lists/csv_record.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace marigold::inner {

namespace {

// Whether a number beyond 2 to the 53rd, which stands for several whole numbers, has exactly these
// digits.
bool keeps_whole(std::string_view digits, double value) {
  constexpr double kLargestWhole = 9007199254740992;
  if (std::abs(value) <= kLargestWhole || digits.find('e') != std::string_view::npos) return true;
  std::array<char, 400> form{};
  char* const end =
      std::to_chars(form.data(), form.data() + form.size(), value, std::chars_format::fixed).ptr;
  const std::size_t sign = digits.starts_with('-') ? 1 : 0;
  std::string_view whole = digits.substr(sign, digits.find('.') - sign);
  whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
  return whole == std::string_view(form.data() + sign, end);
}

}  // namespace

bool decimal_number(std::string_view text, double& number) {
  std::string digits(text);
  std::ranges::replace(digits, ',', '.');
  const bool plain = digits.find_first_not_of("-.0123456789e+") == std::string::npos;
  const char* end = digits.data() + digits.size();
  double value = 0;
  const auto [stopped, error] = std::from_chars(digits.data(), end, value);
  if (!plain || error != std::errc() || stopped != end || !keeps_whole(digits, value)) return false;
  number = value;
  return true;
}

bool CsvRecord::begin(std::string& reason) {
  if (!latin1_.open("8859", reason)) return false;
  if (!rows_.next_header(reason)) return false;
  for (std::size_t column = 0; column < rows_.size(); ++column) {
    const std::string name(rows_.cell(column));
    if (columns_.emplace(name, column).second) continue;
    reason = "the column " + name + " occurs twice";
    return false;
  }
  return true;
}

CsvRecord::Outcome CsvRecord::next(std::string& reason) {
  switch (rows_.next(reason)) {
    case CsvRows::Outcome::kFault:
      return Outcome::kFault;
    case CsvRows::Outcome::kUnusable:
      return Outcome::kUnusable;
    case CsvRows::Outcome::kEnd:
      return Outcome::kEnd;
    case CsvRows::Outcome::kRow:
      break;
  }
  const bool taken = rows_.has_values(columns_.size(), reason) && take_cells(reason);
  return taken ? Outcome::kRecord : Outcome::kFault;
}

bool CsvRecord::take_cells(std::string& reason) {
  cells_.resize(columns_.size());
  for (std::size_t column = 0; column < cells_.size(); ++column) {
    const std::string_view text = rows_.cell(column);
    Cell& cell = cells_[column];
    cell.text.clear();
    const std::size_t lacking = latin1_.to_bytes(text, cell.text);
    if (lacking != std::string_view::npos) {
      reason = "column " + std::to_string(column + 1) + ": " +
               (is_utf8(text) ? latin1_.describe_lacking(text, lacking) : "is not valid UTF-8");
      return false;
    }
    cell.is_number = decimal_number(cell.text, cell.number);
  }
  return true;
}

bool CsvRecord::get(std::string_view field, int element, ListFieldValue& value) const {
  auto column = columns_.find(field);
  if (column == columns_.end() || element != 1) {
    const std::string name =
        std::string(field).append("[").append(std::to_string(element)).append("]");
    column = columns_.find(name);
  }
  if (column == columns_.end()) return false;
  const Cell& cell = cells_[column->second];
  value = {.is_number = cell.is_number, .number = cell.number, .text = cell.text};
  return true;
}

void CsvRecord::set_variables() const {
  constexpr std::string_view kFirst = "[1]";
  for (const auto& [column, index] : columns_) {
    std::string_view name = column;
    if (name.ends_with(kFirst)) name.remove_suffix(kFirst.size());
    const Cell& cell = cells_[index];
    if (cell.text.empty())
      list_set_empty(name);
    else if (cell.is_number)
      list_set(name, cell.number, cell.text);
    else
      list_set(name, cell.text);
  }
}

}  // namespace marigold::inner
