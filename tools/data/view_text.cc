// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/data/view_text.h"

#include <numeric>
#include <vector>

#include "tools/records/record_text.h"

namespace marigold::inner {
namespace {

std::string quoted(std::string_view text, char quote) {
  std::string result(1, quote);
  for (const char character : text)
    result.append(character == quote ? 2 : 1, character);
  return result + quote;
}

// ---- The inner query: parts of the record

// Returns the number that the bytes make up, the first one counting most.
std::string unsigned_number(const std::vector<int>& offsets) {
  std::string text;
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    const std::size_t shift = 8 * (offsets.size() - 1 - i);
    text += (i == 0 ? "(get_byte(record, " : " | (get_byte(record, ") + std::to_string(offsets[i]) +
            ")::bigint << " + std::to_string(shift) + ")";
  }
  return "(" + text + ")";
}

// Integers are big-endian: "record # 2^n - 2^n" puts the sign bit right.
std::string integer(int offset, int bytes) {
  std::vector<int> offsets(static_cast<std::size_t>(bytes));
  std::iota(offsets.begin(), offsets.end(), offset);
  const std::string sign = bytes == 2 ? "32768" : "2147483648";
  return "((" + unsigned_number(offsets) + " # " + sign + ") - " + sign +
         ")::" + (bytes == 2 ? "smallint" : "integer");
}

// Bits of a double, which is little-endian.
std::string double_bits(int offset) {
  std::vector<int> offsets(sizeof(double));
  std::iota(offsets.rbegin(), offsets.rend(), offset);
  return unsigned_number(offsets);
}

std::string text_bytes(int offset, int bytes) {
  const std::string whole =
      "substring(record from " + std::to_string(offset + 1) + " for " + std::to_string(bytes) + ")";
  return "substring(" + whole + " for position('\\x00'::bytea in " + whole +
         " || '\\x00'::bytea) - 1)";
}

std::string part_of(const FieldDefinition& field, int offset) {
  switch (field.type) {
    case FieldType::kInt:
      return integer(offset, 2);
    case FieldType::kReal:
      return double_bits(offset);
    case FieldType::kChar:
    case FieldType::kString:
      return text_bytes(offset, field.size);
    default:
      return integer(offset, 4);
  }
}

// ---- The outer query: values

// The exponent and the mantissa give the value by powers of two, which is exact.
std::string double_value(const std::string& bits) {
  const std::string exponent = "((" + bits + " >> 52) & 2047)";
  const std::string mantissa = "(" + bits + " & 4503599627370495)";
  const std::string sign = "CASE WHEN " + bits + " < 0 THEN -1::float8 ELSE 1::float8 END";
  return "CASE " + exponent + " WHEN 2047 THEN CASE WHEN " + mantissa +
         " <> 0 THEN 'NaN'::float8 ELSE " + sign + " * 'Infinity'::float8 END WHEN 0 THEN (" +
         sign + ") * " + mantissa + "::float8 * power(2::float8, -1074) ELSE (" + sign + ") * (" +
         mantissa + " + 4503599627370496)::float8 * power(2::float8, " + exponent + " - 1075) END";
}

// A day beyond the end of its month would be one of the next month.
std::string date_value(const std::string& number, int first_year) {
  const std::string day = "(" + number + " / 10000)";
  const std::string month = "(" + number + " / 100 % 100)";
  const std::string year = "(" + std::to_string(first_year) + " + (" + number + " % 100 + " +
                           std::to_string(100 - first_year % 100) + ") % 100)";
  const std::string date = "(make_date(" + year + ", " + month + ", 1) + (" + day + " - 1))";
  return "CASE WHEN " + number + " > 0 AND " + number + " % 100 > 0 AND " + month +
         " BETWEEN 1 AND 12 AND " + day + " BETWEEN 1 AND 31 THEN CASE WHEN extract(month FROM " +
         date + ") = " + month + " THEN " + date + " END END";
}

std::string time_value(const std::string& number) {
  return "CASE WHEN " + number + " BETWEEN 0 AND 2359 AND " + number +
         " % 100 < 60 THEN make_time(" + number + " / 100, " + number + " % 100, 0) END";
}

// How the server makes text of bytes: it takes them for ISO 8859-1, in which each has a character,
// and exchanges the characters that the code set has in their places.
class TextValue {
 public:
  bool learn(const CodeSet& code_set, std::string& problem) {
    for (int byte = 128; byte < 256; ++byte) {
      const std::string bytes(1, static_cast<char>(byte));
      const std::string latin1 = latin1_as_utf8(bytes);
      std::string text;
      if (code_set.to_text(bytes, text) != std::string::npos) {
        if (begins_character(code_set, bytes)) {
          problem = "the code set " + code_set.name() +
                    " has characters of several bytes, of which a view can show nothing";
          return false;
        }
        text = "\xEF\xBF\xBD";  // no such character
      }
      if (text == latin1) continue;
      from_ += latin1;
      to_ += text;
    }
    return true;
  }

  [[nodiscard]] std::string operator()(const std::string& bytes) const {
    // The name of the character set would give the text its own order.
    const std::string text = "convert_from(" + bytes + ", 'LATIN1') COLLATE \"default\"";
    return from_.empty()
               ? text
               : "translate(" + text + ", " + sql_text(from_) + ", " + sql_text(to_) + ")";
  }

 private:
  static bool begins_character(const CodeSet& code_set, const std::string& first) {
    std::string text;
    for (int second = 64; second < 256; ++second) {
      if (code_set.to_text(first + static_cast<char>(second), text) == std::string::npos)
        return true;
    }
    return false;
  }

  std::string from_;
  std::string to_;
};

}  // namespace

std::string sql_name(std::string_view name) {
  return quoted(name, '"');
}

std::string sql_text(std::string_view text) {
  return quoted(text, '\'');
}

bool make_view_text(const FileDefinition& file, const std::string& table, const CodeSet& code_set,
                    int first_year, ViewText& view, std::string& problem) {
  TextValue text_value;
  if (!text_value.learn(code_set, problem)) return false;
  std::string parts;
  std::string values;
  int number = 0;
  for (const Column& column : columns_of(file)) {
    const FieldDefinition& field = *column.field;
    const std::string part = "p" + std::to_string(++number);
    const int offset = field.offset + (column.index - 1) * field.size;
    std::string name = latin1_as_utf8(field.name.view());
    if (field.times > 1) name += "_" + std::to_string(column.index);
    std::string value = part;
    if (is_text(field)) value = text_value(part);
    if (field.type == FieldType::kReal) value = double_value(part);
    if (field.type == FieldType::kDate) value = date_value(part, first_year);
    if (field.type == FieldType::kTime) value = time_value(part);
    parts += (number == 1 ? "\n    " : ",\n    ") + part_of(field, offset) + " AS " + part;
    values += (number == 1 ? "\n  " : ",\n  ") + value + " AS " + sql_name(name);
  }
  const std::string schema = table.substr(0, table.rfind('.'));
  view.name = schema + "." + sql_name(latin1_as_utf8(file.name.view()));
  view.columns = "SELECT" + values + "\nFROM (SELECT" + parts + "\n  FROM " + table +
                 "\n  WHERE get_byte(record, " + std::to_string(file.record_length - 1) +
                 ") = 0) AS record";
  return true;
}

}  // namespace marigold::inner
