// SPDX-License-Identifier: GPL-3.0-or-later
// The key section of a definition: the segments of each key.

#include <algorithm>
#include <limits>

#include "runtime/data/definition/definition_scanner.h"

namespace marigold::inner {
namespace {

std::string segment_name(int key, int segment) {
  return "segment " + std::to_string(segment) + " of key " + std::to_string(key);
}

}  // namespace

bool DefinitionScanner::scan_keys(FileDefinition& file) {
  if (!expect("BEGINKEY") || !next_word()) return false;
  while (token_.is("KEY")) {
    if (!scan_segment(file) || !next_word()) return false;
  }
  if (!token_.is("ENDKEY")) return fail(kScanSyntax, "KEY or ENDKEY");
  return check_keys(file.keys);
}

// A later entry for a segment replaces an earlier one. The field of the earlier entry still keeps
// the key's number.
bool DefinitionScanner::scan_segment(FileDefinition& file) {
  std::int32_t key_number = 0;
  std::int32_t segment_number = 0;
  if (!expect_key_number(kMostDefinedKeys, key_number) || !expect("SEGMENT") ||
      !expect_key_number(kMostKeySegments, segment_number) || !expect("IS") || !next_name())
    return false;
  FieldDefinition* field = file.field_names.find(token_.text);
  if (field == nullptr) return fail(kScanKeyField, "a field of this file");
  field->key_number = key_number;
  KeyDefinition& key = file.keys.keys[static_cast<std::size_t>(key_number - 1)];
  key.segments[static_cast<std::size_t>(segment_number - 1)] = {
      .start = field->offset, .length = field->size, .type = field->type};
  key.segment_count = std::max(key.segment_count, segment_number);
  file.keys.key_count = std::max(file.keys.key_count, key_number);
  return true;
}

bool DefinitionScanner::expect_key_number(int most, std::int32_t& number) {
  using Bounds = std::numeric_limits<std::int32_t>;
  if (!expect_number(Bounds::min(), Bounds::max(), number)) return false;
  return (number >= 1 && number <= most) ||
         fail(kScanKeyNumber, "a number from 1 to " + std::to_string(most));
}

bool DefinitionScanner::check_keys(const KeyTable& table) {
  if (table.key_count == 0) return fail(kScanKeyInconsistent, segment_name(1, 1));
  for (int number = 1; number <= table.key_count; ++number) {
    if (!check_key(table.keys[static_cast<std::size_t>(number - 1)], number)) return false;
  }
  return true;
}

bool DefinitionScanner::check_key(const KeyDefinition& key, int number) {
  std::int64_t length = 0;
  for (int segment = 1; segment <= std::max(key.segment_count, 1); ++segment) {
    const std::int32_t bytes = key.segments[static_cast<std::size_t>(segment - 1)].length;
    // Fields are at least one byte long, so only a segment without an entry has length 0.
    if (bytes == 0) return fail(kScanKeyInconsistent, segment_name(number, segment));
    length += bytes;
  }
  if (length <= kLongestDefinedKey) return true;
  return fail(
      kScanKeyInconsistent,
      "at most " + std::to_string(kLongestDefinedKey) + " bytes in key " + std::to_string(number),
      std::to_string(length) + " bytes");
}

}  // namespace marigold::inner
