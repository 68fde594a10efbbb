// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/field_access.h"

#include <algorithm>
#include <cstring>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/isam/common/isam.h"

namespace marigold {

using namespace inner;

namespace {

// The kinds of values that programs read from fields and put into fields.
enum class Kind { kInteger, kLong, kDouble, kText };

Kind kind_of(FieldType type) {
  switch (type) {
    case FieldType::kInt:
      return Kind::kInteger;
    case FieldType::kReal:
      return Kind::kDouble;
    case FieldType::kChar:
    case FieldType::kString:
      return Kind::kText;
    default:
      return Kind::kLong;
  }
}

int check(const FieldDefinition& field, int index, Kind kind) {
  if (kind_of(field.type) != kind) return kFieldWrongType;
  return index < 1 || index > field.times ? kFieldBadIndex : kFieldDone;
}

std::size_t place(const FieldDefinition& field, int index) {
  return static_cast<std::size_t>(field.offset) +
         static_cast<std::size_t>(field.size) * static_cast<std::size_t>(index - 1);
}

int put_preset(const FieldDefinition& field, int index, char* record, std::int32_t value) {
  if (field.type != FieldType::kInt) return field_put(field, index, record, value);
  return field_put(field, index, record, static_cast<std::int16_t>(value));
}

int put_preset(const FieldDefinition& field, int index, char* record, double value) {
  return field_put(field, index, record, value);
}

int put_preset(const FieldDefinition& field, int index, char* record, const std::string& value) {
  const std::string_view text = value;
  return field_put(field, index, record, text.substr(0, static_cast<std::size_t>(field.size)));
}

const FieldDefinition& field_of(const DataFile& file, std::string_view name) {
  if (file.record.empty()) data_fatal(file.definition.name.c_str(), kIsNotOpen);
  const FieldDefinition* field = file.definition.find_field(name);
  if (field == nullptr) raise_fatal(kErrorUnknownField);
  return *field;
}

void require(int result) {
  if (result != kFieldDone) raise_fatal(result);
}

template <typename Value>
Value get_by_name(const DataFile& file, std::string_view name, int index) {
  Value value{};
  require(field_get(field_of(file, name), index, file.record.data(), value));
  return value;
}

template <typename Value>
void put_by_name(DataFile& file, std::string_view name, int index, Value value) {
  require(field_put(field_of(file, name), index, file.record.data(), value));
}

}  // namespace

int inner::field_get(const FieldDefinition& field, int index, const char* record,
                     std::int16_t& value) {
  const int failed = check(field, index, Kind::kInteger);
  if (failed == kFieldDone) value = isld_int2(record + place(field, index));
  return failed;
}

int inner::field_get(const FieldDefinition& field, int index, const char* record,
                     std::int32_t& value) {
  const int failed = check(field, index, Kind::kLong);
  if (failed == kFieldDone) value = isld_int4(record + place(field, index));
  return failed;
}

int inner::field_get(const FieldDefinition& field, int index, const char* record, double& value) {
  const int failed = check(field, index, Kind::kDouble);
  if (failed == kFieldDone) value = isld_double(record + place(field, index));
  return failed;
}

int inner::field_get(const FieldDefinition& field, int index, const char* record,
                     std::string_view& value) {
  if (const int failed = check(field, index, Kind::kText)) return failed;
  const char* text = record + place(field, index);
  const auto size = static_cast<std::size_t>(field.size);
  const void* end = std::memchr(text, '\0', size);
  value = {text,
           end == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(end) - text)};
  return kFieldDone;
}

int inner::field_get_number(const FieldDefinition& field, int index, const char* record,
                            double& value) {
  std::int16_t small = 0;
  std::int32_t large = 0;
  if (kind_of(field.type) == Kind::kDouble) return field_get(field, index, record, value);
  const bool is_small = kind_of(field.type) == Kind::kInteger;
  const int failed =
      is_small ? field_get(field, index, record, small) : field_get(field, index, record, large);
  if (failed == kFieldDone) value = is_small ? small : large;
  return failed;
}

int inner::field_put(const FieldDefinition& field, int index, char* record, std::int16_t value) {
  const int failed = check(field, index, Kind::kInteger);
  if (failed == kFieldDone) isst_int2(value, record + place(field, index));
  return failed;
}

int inner::field_put(const FieldDefinition& field, int index, char* record, std::int32_t value) {
  const int failed = check(field, index, Kind::kLong);
  if (failed == kFieldDone) isst_int4(value, record + place(field, index));
  return failed;
}

int inner::field_put(const FieldDefinition& field, int index, char* record, double value) {
  const int failed = check(field, index, Kind::kDouble);
  if (failed == kFieldDone) isst_double(value, record + place(field, index));
  return failed;
}

int inner::field_put(const FieldDefinition& field, int index, char* record,
                     std::string_view value) {
  if (const int failed = check(field, index, Kind::kText)) return failed;
  const auto size = static_cast<std::size_t>(field.size);
  if (value.size() > size) return kFieldTextTooLong;
  if (value.find('\0') != std::string_view::npos) return kFieldWrongType;
  char* text = record + place(field, index);
  // memmove, because the value may lie in this field.
  std::memmove(text, value.data(), value.size());
  std::memset(text + value.size(), 0, size - value.size());
  return kFieldDone;
}

void inner::fields_preset(const FileDefinition& file, std::span<char> record) {
  std::ranges::fill(record, '\0');
  for (const FieldDefinition& field : file.fields) {
    for (std::size_t i = 0; i < field.presets.size(); ++i) {
      if (!field.presets[i].has_value()) continue;
      const int index = static_cast<int>(i) + 1;
      require(std::visit(
          [&](const auto& value) { return put_preset(field, index, record.data(), value); },
          *field.presets[i]));
    }
  }
}

std::int16_t data_get_integer(const DataFile& file, std::string_view field, int index) {
  return get_by_name<std::int16_t>(file, field, index);
}

std::int32_t data_get_long(const DataFile& file, std::string_view field, int index) {
  return get_by_name<std::int32_t>(file, field, index);
}

double data_get_double(const DataFile& file, std::string_view field, int index) {
  return get_by_name<double>(file, field, index);
}

std::string data_get_text(const DataFile& file, std::string_view field, int index) {
  return std::string(get_by_name<std::string_view>(file, field, index));
}

void data_put_integer(DataFile& file, std::string_view field, std::int16_t value, int index) {
  put_by_name(file, field, index, value);
}

void data_put_long(DataFile& file, std::string_view field, std::int32_t value, int index) {
  put_by_name(file, field, index, value);
}

void data_put_double(DataFile& file, std::string_view field, double value, int index) {
  put_by_name(file, field, index, value);
}

void data_put_text(DataFile& file, std::string_view field, std::string_view value, int index) {
  put_by_name(file, field, index, value);
}

}  // namespace marigold
