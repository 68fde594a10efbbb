// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/definition/definition_scanner.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace marigold::inner {
namespace {

constexpr std::int32_t kMostInt32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLastPathClass = 30;

// An empty chain. Every record begins with an empty chain, whatever value the set gives.
constexpr std::int32_t kNoChain = -1;

struct FileTypeRow {
  std::string_view keyword;
  FileType type;
};

constexpr FileTypeRow kFileTypes[] = {
    {"ISAM", FileType::kIsam}, {"RANDOM", FileType::kRandom}, {"KETT", FileType::kChained}};

// Returns the row of a table whose keyword is the token, or null.
template <typename Table>
auto row_of(const Table& table, const Token& token) -> decltype(std::begin(table)) {
  const auto row =
      std::ranges::find_if(table, [&token](const auto& entry) { return token.is(entry.keyword); });
  return row == std::end(table) ? nullptr : row;
}

// Returns the text that the reader expected when it met an error of its own.
std::string_view expected_by_reader(int error) {
  switch (error) {
    case kScanWordTooLong:
      return "at most 8 characters";
    case kScanValueTooLong:
      return "at most 249 characters";
    case kScanIfdefUnexpected:
      return "$ENDIF first";
    case kScanElseUnexpected:
      return "one $ELSE after $IFDEF";
    case kScanEndifUnexpected:
      return "$IFDEF first";
    case kScanBadQualifier:
      return "MSDOS";
    default:
      return "END.";
  }
}

std::string number_between(std::int32_t least, std::int32_t most) {
  return "a number from " + std::to_string(least) + " to " + std::to_string(most);
}

bool text_preset(const FieldDefinition& field, std::string_view token, Preset& preset) {
  std::string text;
  if (!token_unquote(token, text)) return false;
  text.resize(std::min(text.size(), static_cast<std::size_t>(field.size)));
  preset = std::move(text);
  return true;
}

// Takes the character after the opening quote and gives underscores no meaning. The author writes a
// quote as two quotes and an underscore as two underscores, because the reader of tokens finds the
// token's end by these characters.
bool character_preset(std::string_view token, Preset& preset) {
  if (token.size() < 2 || token[0] != '\'') return false;
  preset = std::string(1, token[1]);
  return true;
}

bool real_preset(std::string_view token, Preset& preset) {
  double number = 0;
  const bool good = token_real(token, number);
  preset = number;
  return good;
}

template <typename Integer>
bool integer_preset(std::string_view token, Preset& preset) {
  std::int32_t number = 0;
  const bool good = token_integer(token, std::numeric_limits<Integer>::min(),
                                  std::numeric_limits<Integer>::max(), number);
  preset = number;
  return good;
}

bool to_preset(const FieldDefinition& field, std::string_view token, Preset& preset) {
  switch (field.type) {
    case FieldType::kInt:
      return integer_preset<std::int16_t>(token, preset);
    case FieldType::kReal:
      return real_preset(token, preset);
    case FieldType::kChar:
      return character_preset(token, preset);
    case FieldType::kString:
      return text_preset(field, token, preset);
    case FieldType::kChainHead:
      preset = kNoChain;
      return true;
    default:
      return integer_preset<std::int32_t>(token, preset);
  }
}

std::string_view expected_preset(FieldType type) {
  switch (type) {
    case FieldType::kInt:
      return "a number from -32768 to 32767, or NIL";
    case FieldType::kReal:
      return "a number, or NIL";
    case FieldType::kChar:
      return "a character in quotes, or NIL";
    case FieldType::kString:
      return "a text in quotes, or NIL";
    default:
      return "a whole number of 32 bits, or NIL";
  }
}

}  // namespace

DefinitionScan DefinitionScanner::run() {
  bool good = next_word();
  while (good ? !token_.is("END.") : may_go_on()) {
    if (!good) {
      good = resumes_here() || next_word();
    } else {
      good = (!token_.is("BEGINFIL") || scan_file()) && next_word();
    }
  }
  return std::move(scan_);
}

// Whether the scan continues after an error.
bool DefinitionScanner::may_go_on() const {
  return after_error_ == AfterScanError::kNextDefinition &&
         scan_.errors.back().number != kScanUnexpectedEnd;
}

// Whether the next definition begins, or the set ends, at the token at fault. After a token that is
// too long, reading resumes after its line.
bool DefinitionScanner::resumes_here() {
  const int error = scan_.errors.back().number;
  const bool too_long = error == kScanWordTooLong || error == kScanValueTooLong;
  if (too_long) reader_.resume_after_line_of(token_);
  return !too_long && (token_.is("BEGINFIL") || token_.is("END."));
}

bool DefinitionScanner::scan_file() {
  ScannedFile scanned{.definition = std::make_unique<FileDefinition>(), .line = token_.line};
  FileDefinition& file = *scanned.definition;
  const bool good = scan_head(file) && scan_fields(file) &&
                    (file.type != FileType::kIsam || scan_keys(file)) && expect("ENDFILE") &&
                    names_.insert(file.name.view(), file);
  if (good) scan_.files.push_back(std::move(scanned));
  return good;
}

bool DefinitionScanner::scan_head(FileDefinition& file) {
  std::int32_t path_class = 0;
  if (!expect("NAME") || !next_name()) return false;
  file.name.assign_cut(dictionary_cut(token_.text));
  if (file.name.empty() || names_.find(file.name.view()) != nullptr)
    return fail(kScanSyntax, "a name that no other file of the set has");
  if (!expect("VERSION") || !expect_number(0, kMostInt32, file.version) || !expect("PATH") ||
      !expect_number(0, kLastPathClass, path_class) || !expect("LEN") ||
      !expect_number(1, kMostInt32, file.record_length))
    return false;
  file.path_class = static_cast<std::int8_t>(path_class);
  return next_word() && scan_access(file) && expect_here("TYPE") && scan_file_type(file);
}

bool DefinitionScanner::scan_access(FileDefinition& file) {
  if (!token_.is("ACCESS")) return true;
  if (!next_word()) return false;
  file.read_only = token_.is("READONLY");
  return next_word();
}

bool DefinitionScanner::scan_file_type(FileDefinition& file) {
  if (!next_word()) return false;
  const FileTypeRow* row = row_of(kFileTypes, token_);
  if (row == nullptr) return fail(kScanFileType, "ISAM, RANDOM or KETT");
  file.type = row->type;
  return true;
}

bool DefinitionScanner::scan_fields(FileDefinition& file) {
  DictionaryTree names;  // index_fields makes the index, once the fields move no more
  if (!expect("BEGINFIE") || !next_word()) return false;
  while (token_.is("FIELD")) {
    if (!scan_field(file, names)) return false;
  }
  if (!token_.is("ENDFIELD")) return fail(kScanSyntax, "FIELD or ENDFIELD");
  if (file.type == FileType::kRandom && file.fields.empty())
    return fail(kScanRecordNumberField, "the field SNR");
  return file.index_fields();
}

// Scans from "FIELD" to the word after the presets.
bool DefinitionScanner::scan_field(FileDefinition& file, DictionaryTree& names) {
  FieldDefinition field;
  if (!scan_field_name(field, names) || !scan_field_type(file, field) || !scan_options(field) ||
      !place(file, field) || !expect_here("PREVAL") || !scan_presets(field))
    return false;
  file.fields.push_back(std::move(field));
  return next_word();
}

bool DefinitionScanner::scan_field_name(FieldDefinition& field, DictionaryTree& names) {
  if (!next_name()) return false;
  field.name.assign_cut(dictionary_cut(token_.text));
  if (field.name.empty() || names.insert(field.name.view()) == nullptr)
    return fail(kScanSyntax, "a name that no other field of the file has");
  return true;
}

bool DefinitionScanner::scan_field_type(const FileDefinition& file, FieldDefinition& field) {
  if (!expect("TYPE") || !next_word()) return false;
  const FieldTypeRow* row = row_of(kFieldTypes, token_);
  if (row == nullptr)
    return fail(kScanFieldType, "INT, LONGINT, REAL, CHAR, STRING, DATE, TIME or KETTHEAD");
  field.type = row->type;
  field.size = row->size;
  const bool record_number = field.name.view() == "SNR" && field.type == FieldType::kLongint;
  if (file.type == FileType::kRandom && file.fields.empty() && !record_number)
    return fail(kScanRecordNumberField, "SNR of type LONGINT as the first field",
                std::string(field.name.view()) + " of type " + std::string(row->keyword));
  if (field.type == FieldType::kString) return expect_number(1, kMostInt32, field.size);
  if (field.type != FieldType::kChainHead) return true;
  if (!next_value()) return false;
  field.mask = token_.text;
  return true;
}

// Scans the options and the word after them.
bool DefinitionScanner::scan_options(FieldDefinition& field) {
  if (!next_word()) return false;
  if (token_.is("TIMES") && !(expect_number(1, kMostInt32, field.times) && next_word()))
    return false;
  // The mask of a chain head already holds the name of the chained file.
  if (!token_.is("MASK") || field.type == FieldType::kChainHead) return true;
  if (!next_value()) return false;
  if (!token_unquote(token_.text, field.mask)) return fail(kScanSyntax, "a text in quotes");
  return next_word();
}

// Runs before the presets are read, so that the scanner keeps no more presets than the record has
// room for.
bool DefinitionScanner::place(FileDefinition& file, FieldDefinition& field) {
  field.offset = file.used_length;
  const std::int64_t used = file.used_length + std::int64_t{field.size} * field.times;
  if (used > file.record_length)
    return fail(kScanRecordTooLarge,
                "at most " + std::to_string(file.record_length) + " bytes of fields",
                std::to_string(used) + " with " + std::string(field.name.view()));
  file.used_length = static_cast<std::int32_t>(used);
  return true;
}

bool DefinitionScanner::scan_presets(FieldDefinition& field) {
  for (std::int32_t index = 0; index < field.times; ++index) {
    if (index > 0) {
      if (!next_list_token()) return false;
      if (token_.text != ",")
        return fail(kScanSyntax, "\",\" and " + std::to_string(field.times) + " values in all");
    }
    if (!next_list_token()) return false;
    Preset preset;
    const bool none = token_.text.starts_with("NIL") && field.type != FieldType::kChainHead;
    if (token_.text == "," || !(none || to_preset(field, token_.text, preset)))
      return fail(kScanSyntax, expected_preset(field.type));
    field.presets.push_back(none ? std::nullopt : std::optional(std::move(preset)));
  }
  return true;
}

bool DefinitionScanner::next_word() {
  return took(reader_.read_word(token_));
}
bool DefinitionScanner::next_name() {
  return took(reader_.read_name(token_));
}
bool DefinitionScanner::next_value() {
  return took(reader_.read_value(token_));
}
bool DefinitionScanner::next_list_token() {
  return took(reader_.read_list_token(token_));
}

bool DefinitionScanner::took(int error) {
  return error == 0 || fail(error, expected_by_reader(error));
}

bool DefinitionScanner::expect(std::string_view keyword) {
  return next_word() && expect_here(keyword);
}

bool DefinitionScanner::expect_here(std::string_view keyword) {
  return token_.is(keyword) || fail(kScanSyntax, keyword);
}

bool DefinitionScanner::expect_number(std::int32_t least, std::int32_t most, std::int32_t& number) {
  if (!next_value()) return false;
  return token_integer(token_.text, least, most, number) ||
         fail(kScanSyntax, number_between(least, most));
}

bool DefinitionScanner::fail(int number, std::string_view expected, std::string_view found) {
  scan_.errors.push_back({.number = number,
                          .line = token_.line,
                          .expected = std::string(expected),
                          .found = std::string(found)});
  return false;
}

}  // namespace marigold::inner
