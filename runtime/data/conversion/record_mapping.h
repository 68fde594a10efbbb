// SPDX-License-Identifier: GPL-3.0-or-later
// Converts a record of one definition into a record of the next, field by field.
//
// A name in both definitions is the same field. Rules for such a field:
//   the same type                      the bytes; a text is cut or filled with zero bytes
//   INT, LONGINT, REAL to each other   the number, if the new type has that very number
//   CHAR, STRING to each other         as texts of the same type
//   DATE or TIME and LONGINT           the number that all three types store
// Any other change of type has no mapping. The mapping converts as many elements as both fields
// have. New fields, further elements and the bytes after the fields are as in a new record: presets
// and zeros.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/definition/definition.h"

namespace marigold::inner {

enum class FieldFate { kKept, kChanged, kNew, kDropped };

// Description of a field's conversion for the user; a changed field has its types ("STRING 30 to
// STRING 20").
struct FieldNote {
  FieldFate fate = FieldFate::kKept;
  std::string name;
  std::string change = {};
};

// "INT", "STRING 20", "REAL 3 times".
std::string field_type_text(const FieldDefinition& field);

struct Misfit {
  const FieldDefinition* from = nullptr;
  const FieldDefinition* to = nullptr;
  int element = 0;  // from 1
};

class RecordMapping {
 public:
  // Prepares the mapping. Both definitions outlive it. Returns false, with the reason, if a field
  // has no mapping.
  bool prepare(const FileDefinition& from, const FileDefinition& to, std::string& reason);

  [[nodiscard]] const FileDefinition& from() const { return *from_; }
  [[nodiscard]] const FileDefinition& to() const { return *to_; }
  [[nodiscard]] const std::vector<FieldNote>& notes() const { return notes_; }

  // Makes `to` the live record that `from` becomes; each has its definition's length. Sets `cut` if
  // a text has lost characters. Returns false for a number that the new type cannot hold; `to` has
  // no use then.
  bool convert(const char* from, std::vector<char>& to, bool& cut, Misfit& misfit) const;

 private:
  struct Move {
    const FieldDefinition* from;
    const FieldDefinition* to;
    int times;
    bool bytes;  // copied unchanged, as far as the new element reaches
  };

  bool add_move(const FieldDefinition& from, const FieldDefinition& to, std::string& reason);

  const FileDefinition* from_ = nullptr;
  const FileDefinition* to_ = nullptr;
  std::vector<char> blank_;  // a new record
  std::vector<Move> moves_;
  std::vector<FieldNote> notes_;
};

// Returns the value of an element for the user: a text in quotes, with bytes outside ASCII as \xE4.
std::string element_text(const FieldDefinition& field, int element, const char* record);

// Returns a record's primary key, or its number, for the user: "NUMBER 4711, PLACE 'Wien'".
std::string record_text(const FileDefinition& file, const char* record);

}  // namespace marigold::inner
