// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/csv_rows.h"

#include "tools/common/input_file.h"
#include "tools/common/report.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kCellGrowth = 4096;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

int counts_as_text(unsigned char /*blank*/) {
  return 0;
}

}  // namespace

CsvRows::CsvRows(std::istream& input, std::size_t longest) : input_(input), longest_(longest) {
  csv_init(&parser_, CSV_STRICT);
  csv_set_space_func(&parser_, counts_as_text);
  csv_set_blk_size(&parser_, kCellGrowth);
}

void CsvRows::take_cell(void* bytes, std::size_t length, void* rows) noexcept {
  auto& self = *static_cast<CsvRows*>(rows);
  self.bytes_.append(static_cast<const char*>(bytes), length);
  self.ends_.push_back(self.bytes_.size());
}

void CsvRows::take_row(int /*terminator*/, void* rows) noexcept {
  ++static_cast<CsvRows*>(rows)->rows_;
}

bool CsvRows::next_header(std::string& reason) {
  const Outcome outcome = next(reason);
  if (outcome == Outcome::kEnd) reason = "there is no header with the names of the columns";
  return outcome == Outcome::kRow;
}

bool CsvRows::has_values(std::size_t columns, std::string& reason) const {
  if (size() == columns) return true;
  reason = counted(size(), "value") + " for " + counted(columns, "column");
  return false;
}

std::string_view CsvRows::cell(std::size_t number) const {
  const std::size_t start = number == 0 ? 0 : ends_[number - 1];
  return std::string_view(bytes_).substr(start, ends_[number] - start);
}

void CsvRows::forget() {
  bytes_.clear();
  ends_.clear();
  rows_ = 0;
}

// Parses line by line, so that the line is known in which a row begins.
bool CsvRows::parse_line(std::string& reason) {
  const std::size_t taken =
      csv_parse(&parser_, physical_.data(), physical_.size(), take_cell, take_row, this);
  if (taken == physical_.size() && rows_ <= 1) return true;
  if (taken == physical_.size()) {
    reason = "a carriage return that is not in quotes";
  } else if (csv_error(&parser_) == CSV_EPARSE) {
    reason = "a double quote out of place at byte " + std::to_string(taken + 1);
  } else {
    reason = csv_strerror(csv_error(&parser_));
  }
  csv_fini(&parser_, nullptr, nullptr, nullptr);  // the next line is parsed from the start
  return false;
}

CsvRows::Outcome CsvRows::next(std::string& reason) {
  forget();
  bool within = false;  // a cell in quotes
  for (std::size_t left = longest_;; left -= std::min(left, physical_.size())) {
    const LineRead read = read_line(input_, left, physical_);
    if (read == LineRead::kEnd) break;
    if (line_++ == 0 && physical_.starts_with(kByteOrderMark))
      physical_.erase(0, kByteOrderMark.size());
    if (!within) first_line_ = line_;
    if (read == LineRead::kTooLong) {
      reason = too_long(longest_);
      return Outcome::kUnusable;
    }
    physical_ += '\n';
    if (!parse_line(reason)) return Outcome::kFault;
    if (rows_ == 1) return Outcome::kRow;
    within = within || physical_.find_first_not_of("\r\n") != std::string::npos;
  }
  if (!within) return Outcome::kEnd;
  csv_fini(&parser_, nullptr, nullptr, nullptr);
  reason = "the double quote that begins a cell is not closed";
  return Outcome::kFault;
}

}  // namespace marigold::inner
