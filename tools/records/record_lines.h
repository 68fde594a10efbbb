// SPDX-License-Identifier: GPL-3.0-or-later
// Reads records from lines of text: CSV with a header, or a JSON object a line.
#pragma once

#include <istream>
#include <memory>
#include <string>
#include <string_view>

#include "tools/records/record_text.h"

namespace marigold::inner {

class RecordLines {
 public:
  enum class Outcome {
    kRecord,
    kRejected,  // the line is no record; reading goes on after it
    kUnusable,  // no more records can be read; also a line above input_file.h's limit
    kEnd,
  };

  virtual ~RecordLines() = default;

  // Puts the next line into a record of the file's length; fields that the line lacks have their
  // presets. Otherwise gives the reason, unless at the end. After a rejected line the record is
  // unusable.
  virtual Outcome next(char* record, std::string& reason) = 0;

  // Line in which the record begins, from 1.
  [[nodiscard]] virtual int line() const = 0;
};

// The first line has the names of the columns, in any order. It may lack a field, all elements or
// some, unless the field belongs to the primary key; a line may lack a number, by an empty cell.
// Both arguments outlive the result.
std::unique_ptr<RecordLines> csv_lines(RecordText& text, std::istream& input);

// An object has fields by their names, a repeated field as an array of all its elements. A REAL may
// also be a string; empty lines are skipped.
std::unique_ptr<RecordLines> json_lines(RecordText& text, std::istream& input);

// Returns the fields that every record needs: those of the primary key. None in a random file, in
// which a record without a number goes after the others.
std::vector<const FieldDefinition*> required_fields(const FileDefinition& file);

// Returns a live record with presets in all fields.
std::string preset_record(const FileDefinition& file);

}  // namespace marigold::inner
