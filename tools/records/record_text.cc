// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/record_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <span>

#include "runtime/data/access/field_access.h"
#include "runtime/isam/common/isam.h"
#include "tools/common/json_text.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kLongestNumber = 32;
using NumberText = std::array<char, kLongestNumber>;

const char* place_of(const Column& column, const char* record) {
  return record + column.field->offset +
         static_cast<std::ptrdiff_t>(column.field->size) * (column.index - 1);
}

std::int32_t whole_number(const Column& column, const char* record) {
  const char* place = place_of(column, record);
  return column.field->type == FieldType::kInt ? isld_int2(place) : isld_int4(place);
}

std::ptrdiff_t digits_in_csv(FieldType type) {
  constexpr int kDateDigits = 6;
  constexpr int kTimeDigits = 4;
  return type == FieldType::kDate ? kDateDigits : type == FieldType::kTime ? kTimeDigits : 1;
}

void append_whole(std::int32_t number, std::ptrdiff_t digits, std::string& lines) {
  NumberText text;
  char* const end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  if (number >= 0 && end - text.data() < digits)
    lines.append(static_cast<std::size_t>(digits - (end - text.data())), '0');
  lines.append(text.data(), end);
}

void append_real(double number, std::string& lines) {
  NumberText text;
  // A reader of JSON would lose the sign of a whole number.
  if (number == 0 && std::signbit(number)) {
    lines += "-0.0";
    return;
  }
  lines.append(text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr);
}

// Characters that are the same in every code set and need no quoting in a line.
bool is_plain(char character) {
  constexpr char kLastPlain = '~';
  return character >= ' ' && character <= kLastPlain;
}

void append_csv_text(std::string_view text, std::string& lines) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    lines += text;
    return;
  }
  lines += '"';
  for (const char character : text) {
    if (character == '"') lines += '"';
    lines += character;
  }
  lines += '"';
}

void append_json_text(std::string_view text, std::string& lines) {
  const bool as_it_is = std::ranges::all_of(
      text, [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '"' && c != '\\'; });
  if (as_it_is) {
    lines.append(1, '"').append(text).append(1, '"');
  } else {
    lines += as_json_string(text);
  }
}

bool fail(std::string& reason, const Column& column, std::string what) {
  reason = column_name(column) + ": " + std::move(what);
  return false;
}

// Returns the text for a message: on one line, cut to a readable length.
std::string shown(std::string_view text) {
  constexpr std::size_t kShown = 40;
  std::string beginning(text.substr(0, kShown));
  std::ranges::replace_if(
      beginning, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
  while (text.size() > kShown && !beginning.empty() && !is_plain(beginning.back()))
    beginning.pop_back();  // perhaps half a character
  std::string quoted(1, '"');
  return quoted.append(beginning).append(text.size() > kShown ? "...\"" : "\"");
}

std::string size_limit(const Column& column) {
  const int size = column.field->size;
  return "longer than " + std::to_string(size) + (size == 1 ? " byte" : " bytes");
}

// Spreadsheets write whole numbers in this form: 22.0.
std::string_view without_zero_fraction(std::string_view text) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos || point == 0 || point + 1 == text.size()) return text;
  const bool zero = text.find_first_not_of('0', point + 1) == std::string_view::npos;
  return zero ? text.substr(0, point) : text;
}

template <typename Number>
bool parse(std::string_view text, Number& number, std::errc& error) {
  if (text.starts_with("+-")) return false;
  if (text.starts_with('+')) text.remove_prefix(1);
  const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
  error = failed;
  return end == text.data() + text.size() && !text.empty();
}

}  // namespace

bool is_text(const FieldDefinition& field) {
  return field.type == FieldType::kString || field.type == FieldType::kChar;
}

std::vector<Column> columns_of(const FileDefinition& file) {
  std::vector<Column> columns;
  for (const FieldDefinition& field : file.fields) {
    for (int index = 1; index <= field.times; ++index)
      columns.push_back({&field, index});
  }
  return columns;
}

std::string column_name(const Column& column) {
  std::string name(column.field->name.view());
  if (column.field->times > 1) name.append("[").append(std::to_string(column.index)).append("]");
  return name;
}

std::vector<Column> key_columns(const FileDefinition& file, const KeyDefinition& key) {
  std::vector<Column> columns;
  for (const KeySegment& segment :
       std::span(key.segments).first(static_cast<std::size_t>(key.segment_count))) {
    const auto field = std::ranges::find(file.fields, segment.start, &FieldDefinition::offset);
    columns.push_back({&*field, 1});
  }
  return columns;
}

RecordText::RecordText(const FileDefinition& file, const CodeSet& code_set)
    : file_(file), code_set_(code_set), columns_(columns_of(file)) {
  for (const Column& column : columns_) {
    const std::string name = column_name(column);
    // A name that is no text in the code set stays as it is: that is better than no dump.
    names_.push_back(code_set.to_text(name, converted_) == std::string::npos ? converted_ : name);
  }
}

std::string_view RecordText::field_name(std::size_t column) const {
  constexpr std::string_view kFirst = "[1]";
  std::string_view name = names_[column];
  if (columns_[column].field->times > 1) name.remove_suffix(kFirst.size());
  return name;
}

// ---- Writing

bool RecordText::take_text(const Column& column, const char* record, std::string_view& text,
                           std::string& reason) {
  field_get(*column.field, column.index, record, text);
  const char* place = place_of(column, record);
  const std::string_view rest(
      text.data() + text.size(),
      static_cast<std::size_t>(place + column.field->size - (text.data() + text.size())));
  if (rest.find_first_not_of('\0') != std::string_view::npos)
    return fail(reason, column, "there are bytes after the zero byte that ends the text");
  if (std::ranges::all_of(text, is_plain)) return true;
  if (code_set_.to_text(text, converted_) != std::string::npos)
    return fail(reason, column, "its bytes are not text in the code set " + code_set_.name());
  text = converted_;
  return true;
}

bool RecordText::append_csv_element(const Column& column, const char* record, std::string& lines,
                                    std::string& reason) {
  if (column.field->type == FieldType::kReal) {
    append_real(isld_double(place_of(column, record)), lines);
  } else if (!is_text(*column.field)) {
    append_whole(whole_number(column, record), digits_in_csv(column.field->type), lines);
  } else {
    std::string_view text;
    if (!take_text(column, record, text, reason)) return false;
    // An empty line would be skipped.
    if (text.empty() && columns_.size() == 1) lines += "\"\"";
    append_csv_text(text, lines);
  }
  return true;
}

bool RecordText::append_json_element(const Column& column, const char* record, std::string& lines,
                                     std::string& reason) {
  if (column.field->type == FieldType::kReal) {
    const double number = isld_double(place_of(column, record));
    if (!std::isfinite(number)) lines += '"';
    append_real(number, lines);
    if (!std::isfinite(number)) lines += '"';
  } else if (!is_text(*column.field)) {
    append_whole(whole_number(column, record), 1, lines);
  } else {
    std::string_view text;
    if (!take_text(column, record, text, reason)) return false;
    append_json_text(text, lines);
  }
  return true;
}

void RecordText::append_csv_header(std::string& lines) const {
  for (const std::string& name : names_) {
    append_csv_text(name, lines);
    lines += ',';
  }
  lines.back() = '\n';
}

bool RecordText::append_csv(const char* record, std::string& lines, std::string& reason) {
  const std::size_t before = lines.size();
  for (const Column& column : columns_) {
    if (!append_csv_element(column, record, lines, reason)) {
      lines.resize(before);
      return false;
    }
    lines += ',';
  }
  lines.back() = '\n';
  return true;
}

bool RecordText::append_json(const char* record, std::string& lines, std::string& reason) {
  const std::size_t before = lines.size();
  char separator = '{';
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    const bool repeated = column.field->times > 1;
    lines += separator;
    separator = ',';
    if (column.index == 1) {
      append_json_text(field_name(i), lines);
      lines += repeated ? ":[" : ":";
    }
    if (!append_json_element(column, record, lines, reason)) {
      lines.resize(before);
      return false;
    }
    if (repeated && column.index == column.field->times) lines += ']';
  }
  lines += "}\n";
  return true;
}

std::string RecordText::describe(const std::vector<Column>& columns, const char* record) {
  std::string text;
  std::string reason;
  for (const Column& column : columns) {
    if (!text.empty()) text += ", ";
    text.append(column_name(column)).append("=");
    if (!append_csv_element(column, record, text, reason)) text += "?";
  }
  return text;
}

// ---- Reading

bool RecordText::put_text(const Column& column, std::string_view text, char* record,
                          std::string& reason) {
  std::string_view bytes = text;
  if (!std::ranges::all_of(text, is_plain)) {
    const std::size_t failed = code_set_.to_bytes(text, converted_);
    if (failed != std::string::npos)
      return fail(reason, column,
                  is_utf8(text) ? code_set_.describe_lacking(text, failed) : "is not valid UTF-8");
    bytes = converted_;
  }
  switch (field_put(*column.field, column.index, record, bytes)) {
    case kFieldDone:
      return true;
    case kFieldTextTooLong:
      return fail(reason, column, shown(text) + " is " + size_limit(column));
    default:
      return fail(reason, column, "has a zero byte in it");
  }
}

bool RecordText::put(const Column& column, std::string_view text, char* record,
                     std::string& reason) {
  if (is_text(*column.field)) return put_text(column, text, record, reason);
  std::errc error{};
  if (column.field->type == FieldType::kReal) {
    double number = 0;
    if (!parse(text, number, error)) return fail(reason, column, shown(text) + " is no number");
    if (error == std::errc::result_out_of_range)
      return fail(reason, column, shown(text) + " is out of range");
    return put(column, number, record, reason);
  }
  std::int64_t number = 0;
  if (!parse(without_zero_fraction(text), number, error))
    return fail(reason, column, shown(text) + " is no whole number");
  if (error == std::errc::result_out_of_range)
    return fail(reason, column, shown(text) + " is out of range");
  return put(column, number, record, reason);
}

bool RecordText::put(const Column& column, std::int64_t number, char* record, std::string& reason) {
  if (is_text(*column.field)) return fail(reason, column, "a number where a text is expected");
  if (column.field->type == FieldType::kReal)
    return put(column, static_cast<double>(number), record, reason);
  const bool is_short = column.field->type == FieldType::kInt;
  const std::int64_t least = is_short ? std::numeric_limits<std::int16_t>::min()
                                      : std::numeric_limits<std::int32_t>::min();
  const std::int64_t most = is_short ? std::numeric_limits<std::int16_t>::max()
                                     : std::numeric_limits<std::int32_t>::max();
  if (number < least || number > most)
    return fail(reason, column,
                std::to_string(number) + " is not between " + std::to_string(least) + " and " +
                    std::to_string(most));
  if (is_short) {
    field_put(*column.field, column.index, record, static_cast<std::int16_t>(number));
  } else {
    field_put(*column.field, column.index, record, static_cast<std::int32_t>(number));
  }
  return true;
}

bool RecordText::put(const Column& column, double number, char* record, std::string& reason) {
  constexpr double kMost = 2147483648;  // above all whole numbers of fields
  const bool is_whole = std::abs(number) <= kMost && std::trunc(number) == number;
  if (is_whole && !is_text(*column.field) && column.field->type != FieldType::kReal)
    return put(column, static_cast<std::int64_t>(number), record, reason);
  if (field_put(*column.field, column.index, record, number) == kFieldDone) return true;
  if (is_text(*column.field)) return fail(reason, column, "a number where a text is expected");
  std::string shown_number;
  append_real(number, shown_number);
  return fail(reason, column, shown_number + " is no whole number in range");
}

}  // namespace marigold::inner
