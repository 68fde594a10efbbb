// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/record_mapping.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <span>

#include "runtime/data/access/field_access.h"

namespace marigold::inner {
namespace {

bool is_text(FieldType type) {
  return type == FieldType::kChar || type == FieldType::kString;
}

bool is_number(FieldType type) {
  return type == FieldType::kInt || type == FieldType::kLongint || type == FieldType::kReal;
}

bool is_moment(FieldType type) {
  return type == FieldType::kDate || type == FieldType::kTime;
}

// Whether elements of the two types have the same bytes, apart from the length of texts.
bool same_form(FieldType from, FieldType to) {
  return from == to || (is_text(from) && is_text(to)) ||
         (is_moment(from) && to == FieldType::kLongint) ||
         (from == FieldType::kLongint && is_moment(to));
}

double number_at(const FieldDefinition& field, int element, const char* record) {
  double number = 0;
  field_get_number(field, element, record, number);
  return number;
}

template <typename Integer>
bool put_integer(const FieldDefinition& field, int element, char* record, double number) {
  // A NaN fails both comparisons.
  if (!(number >= std::numeric_limits<Integer>::min() &&
        number <= std::numeric_limits<Integer>::max()) ||
      number != std::trunc(number))
    return false;
  field_put(field, element, record, static_cast<Integer>(number));
  return true;
}

bool put_number(const FieldDefinition& field, int element, char* record, double number) {
  if (field.type == FieldType::kInt)
    return put_integer<std::int16_t>(field, element, record, number);
  if (field.type == FieldType::kLongint)
    return put_integer<std::int32_t>(field, element, record, number);
  return field_put(field, element, record, number) == kFieldDone;
}

const char* element_at(const FieldDefinition& field, int element, const char* record) {
  return record + field.offset + std::ptrdiff_t{field.size} * (element - 1);
}

// Copies as many bytes as the new element has room for. Returns true if characters were lost.
bool copy_bytes(const FieldDefinition& from, const FieldDefinition& to, int element,
                const char* source, char* target) {
  const char* bytes = element_at(from, element, source);
  char* place = target + to.offset + std::ptrdiff_t{to.size} * (element - 1);
  const std::ptrdiff_t kept = std::min(from.size, to.size);
  std::memcpy(place, bytes, static_cast<std::size_t>(kept));
  std::memset(place + kept, 0, static_cast<std::size_t>(to.size - kept));
  return std::any_of(bytes + kept, bytes + from.size, [](char byte) { return byte != '\0'; });
}

std::string quoted(std::string_view text) {
  std::string shown = "'";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\x%02X", byte);
    if (byte < ' ' || byte > '~') {
      shown += escape.data();
    } else {
      shown += character;
    }
  }
  shown += '\'';
  return shown;
}

}  // namespace

std::string field_type_text(const FieldDefinition& field) {
  std::string text(field_type_keyword(field.type));
  if (field.type == FieldType::kString) text.append(" ").append(std::to_string(field.size));
  if (field.times > 1) text.append(" ").append(std::to_string(field.times)).append(" times");
  return text;
}

bool RecordMapping::add_move(const FieldDefinition& from, const FieldDefinition& to,
                             std::string& reason) {
  const std::string old_type = field_type_text(from);
  const std::string new_type = field_type_text(to);
  const std::string name(to.name.view());
  const bool bytes = same_form(from.type, to.type);
  if (!bytes && !(is_number(from.type) && is_number(to.type))) {
    reason = name + ": " + old_type + " cannot become " + new_type;
    return false;
  }
  moves_.push_back(
      {.from = &from, .to = &to, .times = std::min(from.times, to.times), .bytes = bytes});
  if (old_type == new_type) {
    notes_.push_back({.fate = FieldFate::kKept, .name = name});
  } else {
    notes_.push_back(
        {.fate = FieldFate::kChanged, .name = name, .change = old_type + " to " + new_type});
  }
  return true;
}

bool RecordMapping::prepare(const FileDefinition& from, const FileDefinition& to,
                            std::string& reason) {
  from_ = &from;
  to_ = &to;
  for (const FieldDefinition& field : to.fields) {
    const FieldDefinition* old = from.find_field(field.name.view());
    if (old == nullptr) {
      notes_.push_back({.fate = FieldFate::kNew, .name = std::string(field.name.view())});
    } else if (!add_move(*old, field, reason)) {
      return false;
    }
  }
  for (const FieldDefinition& field : from.fields) {
    if (to.find_field(field.name.view()) == nullptr)
      notes_.push_back({.fate = FieldFate::kDropped, .name = std::string(field.name.view())});
  }
  blank_.resize(static_cast<std::size_t>(to.record_length));
  fields_preset(to, blank_);
  return true;
}

bool RecordMapping::convert(const char* from, std::vector<char>& to, bool& cut,
                            Misfit& misfit) const {
  to = blank_;
  for (const Move& move : moves_) {
    for (int element = 1; element <= move.times; ++element) {
      if (move.bytes) {
        cut = copy_bytes(*move.from, *move.to, element, from, to.data()) || cut;
      } else if (!put_number(*move.to, element, to.data(), number_at(*move.from, element, from))) {
        misfit = {.from = move.from, .to = move.to, .element = element};
        return false;
      }
    }
  }
  return true;
}

std::string element_text(const FieldDefinition& field, int element, const char* record) {
  std::string_view text;
  if (field_get(field, element, record, text) == kFieldDone) return quoted(text);
  std::array<char, 32> number{};
  std::snprintf(number.data(), number.size(), "%.15g", number_at(field, element, record));
  return number.data();
}

std::string record_text(const FileDefinition& file, const char* record) {
  const KeyDefinition& primary = file.keys.keys[0];
  const auto segments =
      std::span(primary.segments).first(static_cast<std::size_t>(primary.segment_count));
  std::string text;
  for (const FieldDefinition& field : file.fields) {
    const bool named = file.type == FileType::kRandom
                           ? field.offset == 0
                           : std::ranges::count(segments, field.offset, &KeySegment::start) > 0;
    if (!named) continue;
    if (!text.empty()) text += ", ";
    text.append(field.name.view()).append(" ").append(element_text(field, 1, record));
  }
  return text;
}

}  // namespace marigold::inner
