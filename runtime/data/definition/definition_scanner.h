// SPDX-License-Identifier: GPL-3.0-or-later
// The grammar of definition sets, by recursive descent. definition_set.cc uses the scanner;
// definition_set.h describes the results.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/data/definition/definition_set.h"

namespace marigold::inner {

class DefinitionScanner {
 public:
  DefinitionScanner(std::string_view text, AfterScanError after_error)
      : reader_(text, TokenReader::Sections::kHonoured), after_error_(after_error) {}

  // Call it once.
  DefinitionScan run();

 private:
  // Each step takes tokens and returns true, with its last token as the current one. After an error
  // a step notes the error and returns false.
  bool scan_file();
  bool scan_head(FileDefinition& file);
  bool scan_access(FileDefinition& file);
  bool scan_file_type(FileDefinition& file);
  bool scan_fields(FileDefinition& file);
  bool scan_field(FileDefinition& file, DictionaryTree& names);
  bool scan_field_name(FieldDefinition& field, DictionaryTree& names);
  bool scan_field_type(const FileDefinition& file, FieldDefinition& field);
  bool scan_options(FieldDefinition& field);
  bool place(FileDefinition& file, FieldDefinition& field);
  bool scan_presets(FieldDefinition& field);
  bool scan_keys(FileDefinition& file);
  bool scan_segment(FileDefinition& file);
  bool check_keys(const KeyTable& table);
  bool check_key(const KeyDefinition& key, int number);

  bool next_word();
  bool next_name();
  bool next_value();
  bool next_list_token();
  bool expect(std::string_view keyword);       // the next word is this
  bool expect_here(std::string_view keyword);  // the current word is this
  bool expect_number(std::int32_t least, std::int32_t most, std::int32_t& number);
  bool expect_key_number(int most, std::int32_t& number);

  bool took(int error);
  bool fail(int number, std::string_view expected) { return fail(number, expected, token_.text); }
  bool fail(int number, std::string_view expected, std::string_view found);
  [[nodiscard]] bool may_go_on() const;
  bool resumes_here();

  TokenReader reader_;
  AfterScanError after_error_;
  Token token_;
  Dictionary<FileDefinition> names_;  // of the files in scan_
  DefinitionScan scan_;
};

}  // namespace marigold::inner
