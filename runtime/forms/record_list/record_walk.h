// SPDX-License-Identifier: GPL-3.0-or-later
// The records that a list has: those of a key, in its order, between two fixed bounds, that the
// program accepts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/record_lists.h"
#include "runtime/data/access/isam_access.h"

namespace marigold::inner {

// The first bytes of a key by which the list is ordered: a part of the key that is not fixed.
struct SearchPart {
  std::int32_t start = 0;  // in the record
  std::int32_t length = 0;
  bool is_text = false;
};

// Every step reads the record that it finds into the file's buffer. After a step that finds none the
// buffer has no meaning and the place of the file is between two records.
class RecordWalk {
 public:
  // Takes the fixed values from the file's buffer.
  explicit RecordWalk(const RecordListLayout& layout);

  // Whether the list has the record in the buffer.
  [[nodiscard]] bool has() const;

  // Go to the first record of the list, to the last one, and to the next and the previous one that
  // the list has. Return false if there is none, or if the user has interrupted the search for it.
  bool first();
  bool last();
  bool next();
  bool previous();

  // Returns to a kept place. False if the list does not have its record any more; next and previous
  // go on from there all the same.
  bool return_to(const IsamPlace& place);

  // Goes to the record with the primary key in the buffer. False if the list does not have it.
  bool find_primary();

  // Goes to the first record whose key begins with the text; where the part is a number, to the
  // first one that is not below it. False if there is none, or if the text is no number.
  bool find_text(const std::string& text);
  [[nodiscard]] bool has_search() const { return search_.length > 0; }
  // Whether the part is a text, and not a number.
  [[nodiscard]] bool searches_text() const { return search_.is_text; }

  // Returns the bytes of the primary key of the record in the buffer, and puts such bytes back.
  [[nodiscard]] std::string primary_key() const;
  void set_primary_key(std::string_view bytes);

  // Whether a search was interrupted since the last call.
  bool take_interruption();

 private:
  using Step = int (*)(DataFile& file, int key);
  bool go(int found, Step step);
  [[nodiscard]] bool is_within() const;
  void put_fixed();
  bool put_number(const std::string& digits);
  [[nodiscard]] bool begins_with(std::string_view text) const;

  const RecordListLayout& layout_;
  DataFile& file_;
  std::vector<KeySegment> fixed_;
  int fixed_bytes_ = 0;  // of the key
  std::vector<char> fixed_record_;
  SearchPart search_;
  const FieldDefinition* search_field_ = nullptr;
  bool interrupted_ = false;
};

}  // namespace marigold::inner
