// SPDX-License-Identifier: GPL-3.0-or-later
// Records as text: the form of each element of a field, and the lines of CSV and JSON.
//
//   whole numbers  decimal. In CSV a DATE has at least six digits (DDMMYY) and a TIME four (HHMM),
//                  as in definition sets; no check that such a day exists
//   REAL           the shortest decimal number that reads back as the same; "inf", "-inf", "nan",
//                  in JSON as strings
//   texts          the characters before the first zero byte, converted from the code set
//
// Every element written here reads back as the same element.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/data/definition/definition.h"
#include "runtime/texte/code_set.h"

namespace marigold::inner {

// An element of a field: NAME, or NAME[1], NAME[2] of a field with several.
struct Column {
  const FieldDefinition* field = nullptr;
  int index = 1;
};

// Returns all elements in the order of the definition.
std::vector<Column> columns_of(const FileDefinition& file);

std::string column_name(const Column& column);

// Returns the elements of a key's segments.
std::vector<Column> key_columns(const FileDefinition& file, const KeyDefinition& key);

class RecordText {
 public:
  // Both arguments outlive this object.
  RecordText(const FileDefinition& file, const CodeSet& code_set);

  // ---- Writing. Each function appends a whole line with its line end. Returns false and the
  // reason, and appends nothing, for a text that is none in the code set or has bytes after its
  // end.

  void append_csv_header(std::string& lines) const;
  bool append_csv(const char* record, std::string& lines, std::string& reason);
  bool append_json(const char* record, std::string& lines, std::string& reason);

  // Returns the elements for a message: "NUMBER=12, NAME=Anna". Never fails.
  std::string describe(const std::vector<Column>& columns, const char* record);

  // ---- Reading into a record. Returns false and the reason, and leaves the record as it was.

  bool put(const Column& column, std::string_view text, char* record, std::string& reason);
  bool put(const Column& column, std::int64_t number, char* record, std::string& reason);
  bool put(const Column& column, double number, char* record, std::string& reason);

  [[nodiscard]] const FileDefinition& file() const { return file_; }
  [[nodiscard]] const std::vector<Column>& columns() const { return columns_; }
  // Returns the names of the columns, in UTF-8.
  [[nodiscard]] const std::vector<std::string>& names() const { return names_; }
  // Returns the name of the field whose first column this is.
  [[nodiscard]] std::string_view field_name(std::size_t column) const;

 private:
  bool take_text(const Column& column, const char* record, std::string_view& text,
                 std::string& reason);
  bool append_csv_element(const Column& column, const char* record, std::string& lines,
                          std::string& reason);
  bool append_json_element(const Column& column, const char* record, std::string& lines,
                           std::string& reason);
  bool put_text(const Column& column, std::string_view text, char* record, std::string& reason);

  const FileDefinition& file_;
  const CodeSet& code_set_;
  std::vector<Column> columns_;
  std::vector<std::string> names_;
  std::string converted_;
};

bool is_text(const FieldDefinition& field);

}  // namespace marigold::inner
