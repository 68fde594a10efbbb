// SPDX-License-Identifier: GPL-3.0-or-later
// The cells of a record list: their widths, and the texts of a record's fields in them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/record_lists.h"
#include "runtime/data/access/data_file.h"

namespace marigold::inner {

// A column as the list shows it.
struct ShownColumn {
  const RecordColumn* described = nullptr;
  const FieldDefinition* field = nullptr;  // null: the program makes the text
  std::string_view mask;
  std::string title;  // in the operator's language
  int width = 1;
};

// System error 2 for a field that the file lacks, 4 for an element that the field lacks.
std::vector<ShownColumn> shown_columns(const RecordListLayout& layout);

// Returns the title of a column, as wide as the column and on the side of its contents.
std::string title_text(const ShownColumn& column);

// Returns the text of a column for the record in the file's buffer, as wide as the column.
std::string cell_text(const ShownColumn& column, const DataFile& file, void* context);

}  // namespace marigold::inner
