// SPDX-License-Identifier: GPL-3.0-or-later
// Compiles the source language of lists and blocks, docs/formats/list-source.md, into the contents
// of the list files, and decompiles these.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/print/files/stored_lists.h"
#include "tools/list_language/block.h"
#include "tools/list_language/line.h"

namespace marigold::inner {

struct SourceList {
  StoredList list = {};
  int line = 0;  // first line of the list
};

struct CompiledSource {
  std::vector<SourceList> lists;
  std::vector<SourceNote> notes;  // in the order of their lines
  [[nodiscard]] bool has_errors() const;
};

// Compiles a source in UTF-8. With errors, only the names of the lists are usable. Accepts only
// these fields of records; null accepts all.
CompiledSource compile_lists(std::string_view text, const KnownFields* fields);

// Returns the source of a list, in UTF-8. Compiling it gives the list again, and showing that list
// the same text. The list's blocks must have no faults.
std::string show_list(const StoredList& list);

// Returns the lines of a block in that source, with the line that names it.
std::string show_block(const StoredBlock& block, const StoredList& list);

}  // namespace marigold::inner
