// SPDX-License-Identifier: GPL-3.0-or-later
// Reads and writes the fields of a record by field and element.
//
// Elements have the numbers from 1 to the field's repeat count. The record holds numbers in the
// engine's portable forms. Texts are ISO 8859-1; zero bytes fill the field after a shorter text,
// and reading ends at the first zero byte. So a field of zeros reads as "", and blanks at a text's
// end come back.
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

namespace marigold::inner {

// By definition, on any buffer that holds a record: for those who go over many records. By name, in
// the record buffer of an open file: marigold/data.h.
//
// Results:

inline constexpr int kFieldDone = 0;
inline constexpr int kFieldWrongType = kErrorFieldType;        // the field's type has no such value
inline constexpr int kFieldBadIndex = kErrorFieldElement;      // no element has this number
inline constexpr int kFieldTextTooLong = kErrorStringTooLong;  // longer than an element

// A failure leaves `value` as it was. A text that is read is a view into the record.
int field_get(const FieldDefinition& field, int index, const char* record, std::int16_t& value);
int field_get(const FieldDefinition& field, int index, const char* record, std::int32_t& value);
int field_get(const FieldDefinition& field, int index, const char* record, double& value);
int field_get(const FieldDefinition& field, int index, const char* record, std::string_view& value);
// Reads any number, date or time. A double holds every value of 32 bits exactly.
int field_get_number(const FieldDefinition& field, int index, const char* record, double& value);

// A failure leaves the record as it was. A text with a zero byte is of the wrong type, because
// reading would cut it there.
int field_put(const FieldDefinition& field, int index, char* record, std::int16_t value);
int field_put(const FieldDefinition& field, int index, char* record, std::int32_t value);
int field_put(const FieldDefinition& field, int index, char* record, double value);
int field_put(const FieldDefinition& field, int index, char* record, std::string_view value);

// Gives every element its preset, or zeros without a preset, and clears the bytes after the fields.
// Cuts a preset text that is too long.
void fields_preset(const FileDefinition& file, std::span<char> record);

}  // namespace marigold::inner
