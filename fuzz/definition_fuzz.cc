// SPDX-License-Identifier: GPL-3.0-or-later
// Definition sets of any bytes.
//
// Promised: the scanner ends with consistent definitions, or with errors of its own numbers in the
// order of their lines; scanning on after an error changes neither the first error nor the result
// for a set without errors; scanning tokens without sections ends too.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "runtime/data/definition/definition_set.h"

namespace marigold::inner::fuzz {
namespace {

constexpr int kErrors[] = {7, 9, 10, 11, 13, 14, 15, 16, 19, 20, 56, 57, 58, 59, 60};

bool holds_text(const Preset& preset) {
  return std::holds_alternative<std::string>(preset);
}

void check_preset(const FieldDefinition& field, const Preset& preset) {
  const bool text = field.type == FieldType::kChar || field.type == FieldType::kString;
  require(holds_text(preset) == text);
  require(std::holds_alternative<double>(preset) == (field.type == FieldType::kReal));
  require(!text || std::get<std::string>(preset).size() <= static_cast<std::size_t>(field.size));
  require(field.type != FieldType::kChainHead || preset == Preset(-1));
}

void check_fields(const FileDefinition& file) {
  std::int64_t offset = 0;
  for (const FieldDefinition& field : file.fields) {
    require(field.offset == offset && field.size > 0 && field.times > 0);
    require(field.presets.size() == static_cast<std::size_t>(field.times));
    require(file.find_field(field.name.view()) == &field);
    require(field.key_number == kNoKey || field.key_number <= kMostDefinedKeys);
    for (const std::optional<Preset>& preset : field.presets) {
      if (preset) check_preset(field, *preset);
    }
    offset += std::int64_t{field.size} * field.times;
  }
  require(offset == file.used_length && offset <= file.record_length);
}

void check_key(const FileDefinition& file, const KeyDefinition& key) {
  require(key.segment_count >= 1 && key.segment_count <= kMostKeySegments);
  std::int64_t length = 0;
  for (const KeySegment& segment : std::span(key.segments).first(key.segment_count)) {
    require(segment.length > 0 && segment.start >= 0);
    require(std::int64_t{segment.start} + segment.length <= file.used_length);
    length += segment.length;
  }
  require(length <= kLongestDefinedKey);
}

void check_file(const FileDefinition& file) {
  require(!file.name.empty() && file.version >= 0 && file.record_length > 0);
  require(file.path_class >= 0 && file.path_class <= 30);
  check_fields(file);
  const KeyTable& table = file.keys;
  require((file.type == FileType::kIsam) == (table.key_count > 0));
  require(table.key_count <= kMostDefinedKeys);
  for (const KeyDefinition& key : std::span(table.keys).first(table.key_count))
    check_key(file, key);
}

void check_scan(const DefinitionScan& scan) {
  int line = 1;
  for (const ScanError& error : scan.errors) {
    require(std::ranges::count(kErrors, error.number) == 1 && !error.expected.empty());
    require(error.line >= line);
    line = error.line;
  }
  for (const ScannedFile& file : scan.files)
    check_file(*file.definition);
}

bool same(const ScanError& one, const ScanError& other) {
  return one.number == other.number && one.line == other.line && one.found == other.found;
}

void check_set(std::string_view text) {
  const DefinitionScan first = scan_definitions(text, AfterScanError::kStop);
  const DefinitionScan all = scan_definitions(text, AfterScanError::kNextDefinition);
  check_scan(first);
  check_scan(all);
  require(first.errors.size() <= 1 && first.errors.empty() == all.errors.empty());
  require(all.files.size() >= first.files.size());
  if (first.errors.empty()) {
    require(first.files.size() == all.files.size());
  } else {
    require(same(first.errors[0], all.errors[0]));
  }
}

// Reads tokens as the reader of version tables does.
void check_tokens(std::string_view text) {
  TokenReader reader(text);
  Token token;
  std::size_t characters = 0;
  for (int error = 0; error != kScanUnexpectedEnd; error = reader.read_value(token)) {
    require(error == 0 || error == kScanValueTooLong);
    characters += token.text.size();
  }
  require(characters <= text.size());
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  marigold::inner::fuzz::check_set(text);
  marigold::inner::fuzz::check_tokens(text);
  return 0;
}
