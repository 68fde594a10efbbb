// A record of one definition as a record of the next: what becomes of each field.
//
// Fields are found by their names. Of a field that both have:
//   the same type                      the bytes; a text is cut or filled with zero bytes
//   INT, LONGINT, REAL to each other   the number, if the new type has that very number
//   CHAR, STRING to each other         as texts of the same type
//   DATE or TIME and LONGINT           the number, which is what they are
// Any other change of type has no mapping. Of the elements as many are taken as both have. New
// fields, further elements and the bytes behind the fields are as in a new record: presets and
// zeros.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/definition/definition.h"

namespace marigold {

enum class FieldFate { kKept, kChanged, kNew, kDropped };

// What becomes of a field, for people: of a changed one with the reason ("STRING 30 to STRING 20").
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
  // Both definitions outlive the mapping. False, with the reason, when a field has no mapping.
  bool prepare(const FileDefinition& from, const FileDefinition& to, std::string& reason);

  [[nodiscard]] const FileDefinition& from() const { return *from_; }
  [[nodiscard]] const FileDefinition& to() const { return *to_; }
  [[nodiscard]] const std::vector<FieldNote>& notes() const { return notes_; }

  // Makes `to` the live record that `from` becomes; both have their definition's length, and `cut`
  // is set when a text has lost characters. False for a number that the new type does not have;
  // then `to` is of no use.
  bool convert(const char* from, std::vector<char>& to, bool& cut, Misfit& misfit) const;

 private:
  struct Move {
    const FieldDefinition* from;
    const FieldDefinition* to;
    int times;
    bool bytes;  // copied as they are, as far as the new element reaches
  };

  bool add_move(const FieldDefinition& from, const FieldDefinition& to, std::string& reason);

  const FileDefinition* from_ = nullptr;
  const FileDefinition* to_ = nullptr;
  std::vector<char> blank_;  // a new record
  std::vector<Move> moves_;
  std::vector<FieldNote> notes_;
};

// The value of an element for people, a text in quotes and with other bytes than ASCII as \xE4.
std::string element_text(const FieldDefinition& field, int element, const char* record);

// Names a record by its primary key, or by its number: "NUMBER 4711, PLACE 'Wien'".
std::string record_text(const FileDefinition& file, const char* record);

}  // namespace marigold
