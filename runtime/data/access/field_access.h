// The fields of a record: what stands in the record buffer of an open file, by field and element.
//
// Elements are numbered from 1 to the field's repeat count. Numbers stand in the record in the
// engine's portable forms. Texts are ISO 8859-1; behind a text that is shorter than its field zero
// bytes follow, and reading ends at the first of them. So what was never put reads as "", and
// blanks at a text's end come back.
//
//   integer   INT
//   long      LONGINT, DATE, TIME, and the head of a chain
//   double    REAL
//   text      CHAR (one character or none), STRING
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/core/system_errors.h"
#include "runtime/data/access/data_handle.h"

namespace marigold {

// By definition, on any buffer that holds a record: for those who go over many records. By name, in
// the record buffer of an open file: marigold/data.h.
//
// Results:

inline constexpr int kFieldDone = 0;
inline constexpr int kFieldWrongType = kErrorFieldType;        // the field's type has no such value
inline constexpr int kFieldBadIndex = kErrorFieldElement;      // no element has this number
inline constexpr int kFieldTextTooLong = kErrorStringTooLong;  // it fits no element of the field

// After a failure `value` is as it was. A text that is read lies in the record.
int field_get(const FieldDefinition& field, int index, const char* record, std::int16_t& value);
int field_get(const FieldDefinition& field, int index, const char* record, std::int32_t& value);
int field_get(const FieldDefinition& field, int index, const char* record, double& value);
int field_get(const FieldDefinition& field, int index, const char* record, std::string_view& value);
// Any number, date or time: 32 bits fit into a double.
int field_get_number(const FieldDefinition& field, int index, const char* record, double& value);

// After a failure the record is as it was. A text with a zero byte, which could not be read back,
// is of the wrong type.
int field_put(const FieldDefinition& field, int index, char* record, std::int16_t value);
int field_put(const FieldDefinition& field, int index, char* record, std::int32_t value);
int field_put(const FieldDefinition& field, int index, char* record, double value);
int field_put(const FieldDefinition& field, int index, char* record, std::string_view value);

// Gives every element its preset, or zeros where it has none, and clears the bytes behind the
// fields. A preset text that is too long is cut.
void fields_preset(const FileDefinition& file, std::span<char> record);

}  // namespace marigold
