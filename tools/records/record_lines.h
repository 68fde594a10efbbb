// SPDX-License-Identifier: GPL-3.0-or-later
// Records read from lines of text: CSV with a header, or a JSON object a line.
#pragma once

#include <istream>
#include <memory>
#include <string>
#include <string_view>

#include "tools/records/record_text.h"

namespace marigold {

class RecordLines {
 public:
  enum class Outcome {
    kRecord,
    kRejected,  // the line is no record; reading goes on behind it
    kUnusable,  // nor will any other be; also one that is longer than any record (input_file.h)
    kEnd,
  };

  virtual ~RecordLines() = default;

  // Puts the next line into a record of the file's length, in which fields that the line lacks have
  // their presets. Otherwise the reason, or the end. After a rejected line the record is of no use.
  virtual Outcome next(char* record, std::string& reason) = 0;

  // Where the line begins, from 1.
  [[nodiscard]] virtual int line() const = 0;
};

// The columns have their names in the first line, in any order. A field may be left out, with all
// its elements or some, unless it is of the primary key; in a line so may a number, by an empty
// cell. Both arguments outlive the result.
std::unique_ptr<RecordLines> csv_lines(RecordText& text, std::istream& input);

// An object has fields by their names, a repeated one as an array of all its elements. A REAL may
// be a string, too; empty lines are passed over.
std::unique_ptr<RecordLines> json_lines(RecordText& text, std::istream& input);

// The fields without which there is no record: those of the primary key. None in a random file,
// where a record without a number goes behind the others.
std::vector<const FieldDefinition*> required_fields(const FileDefinition& file);

// A record without any line in it: presets, live.
std::string preset_record(const FileDefinition& file);

}  // namespace marigold
