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

#include "runtime/core/system_errors.h"
#include "runtime/data/access/data_handle.h"

namespace marigold {

// ---- By definition, on any buffer that holds a record: for a caller that goes over many records.
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

// ---- By name, in the record buffer of an open file. An unknown field is system error 2, other
// failures have the numbers above; they do not return. Error 101 if the file is not open.

std::int16_t data_get_integer(const DataFile& file, std::string_view field, int index = 1);
std::int32_t data_get_long(const DataFile& file, std::string_view field, int index = 1);
double data_get_double(const DataFile& file, std::string_view field, int index = 1);
std::string data_get_text(const DataFile& file, std::string_view field, int index = 1);

void data_put_integer(DataFile& file, std::string_view field, std::int16_t value, int index = 1);
void data_put_long(DataFile& file, std::string_view field, std::int32_t value, int index = 1);
void data_put_double(DataFile& file, std::string_view field, double value, int index = 1);
void data_put_text(DataFile& file, std::string_view field, std::string_view value, int index = 1);

}  // namespace marigold
