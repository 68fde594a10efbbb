// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <optional>

#include "runtime/data/access/field_access.h"
#include "tools/common/csv_rows.h"
#include "tools/common/input_file.h"
#include "tools/records/record_lines.h"

namespace marigold::inner {
namespace {

class CsvLines : public RecordLines {
 public:
  CsvLines(RecordText& text, std::istream& input)
      : text_(text),
        rows_(input, longest_line_of(text.file().record_length)),
        presets_(preset_record(text.file())),
        required_(required_fields(text.file())) {}

  Outcome next(char* record, std::string& reason) override;
  [[nodiscard]] int line() const override { return rows_.line(); }

 private:
  bool take_header(std::string& reason);
  bool take_column(std::string_view name, std::string& reason);
  bool take_row(char* record, std::string& reason);
  [[nodiscard]] bool is_left_out(const Column& column, std::string_view cell) const;

  RecordText& text_;
  CsvRows rows_;
  std::string presets_;
  std::vector<const FieldDefinition*> required_;
  std::vector<Column> columns_;  // in the order of the input
};

bool CsvLines::take_column(std::string_view name, std::string& reason) {
  const auto known = std::ranges::find(text_.names(), name);
  if (known == text_.names().end()) {
    reason = "there is no field \"" + std::string(name) + "\"";
    return false;
  }
  const Column column = text_.columns()[static_cast<std::size_t>(known - text_.names().begin())];
  if (std::ranges::any_of(columns_, [&](const Column& other) {
        return other.field == column.field && other.index == column.index;
      })) {
    reason = "the column " + std::string(name) + " occurs twice";
    return false;
  }
  columns_.push_back(column);
  return true;
}

bool CsvLines::take_header(std::string& reason) {
  if (!rows_.next_header(reason)) return false;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (!take_column(rows_.cell(i), reason)) return false;
  }
  for (const FieldDefinition* field : required_) {
    // A key uses the first element of its field.
    const Column wanted{field, 1};
    if (std::ranges::any_of(columns_,
                            [&](const Column& c) { return c.field == field && c.index == 1; }))
      continue;
    reason = "the column " + column_name(wanted) + " of the primary key is missing";
    return false;
  }
  return true;
}

// A number that the row lacks gets its preset; a key needs a value.
bool CsvLines::is_left_out(const Column& column, std::string_view cell) const {
  return cell.empty() && !is_text(*column.field) &&
         std::ranges::find(required_, column.field) == required_.end();
}

bool CsvLines::take_row(char* record, std::string& reason) {
  if (!rows_.has_values(columns_.size(), reason)) return false;
  std::ranges::copy(presets_, record);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (is_left_out(columns_[i], rows_.cell(i))) continue;
    if (!text_.put(columns_[i], rows_.cell(i), record, reason)) return false;
  }
  return true;
}

RecordLines::Outcome CsvLines::next(char* record, std::string& reason) {
  if (columns_.empty() && !take_header(reason)) return Outcome::kUnusable;
  switch (rows_.next(reason)) {
    case CsvRows::Outcome::kRow:
      return take_row(record, reason) ? Outcome::kRecord : Outcome::kRejected;
    case CsvRows::Outcome::kFault:
      return Outcome::kRejected;
    case CsvRows::Outcome::kUnusable:
      return Outcome::kUnusable;
    default:
      return Outcome::kEnd;
  }
}

}  // namespace

std::vector<const FieldDefinition*> required_fields(const FileDefinition& file) {
  std::vector<const FieldDefinition*> fields;
  if (file.type != FileType::kIsam) return fields;
  for (const Column& column : key_columns(file, file.keys.keys.front()))
    fields.push_back(column.field);
  return fields;
}

std::string preset_record(const FileDefinition& file) {
  std::string record(static_cast<std::size_t>(file.record_length), '\0');
  fields_preset(file, record);
  return record;
}

std::unique_ptr<RecordLines> csv_lines(RecordText& text, std::istream& input) {
  return std::make_unique<CsvLines>(text, input);
}

}  // namespace marigold::inner
