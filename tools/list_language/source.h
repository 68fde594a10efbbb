// SPDX-License-Identifier: GPL-3.0-or-later
// The source language of lists and blocks, docs/formats/list-source.md: from a text to what stands
// in the list files, and back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/print/files/stored_lists.h"
#include "tools/list_language/block.h"
#include "tools/list_language/line.h"

namespace marigold {

struct SourceList {
  StoredList list = {};
  int line = 0;  // where it begins
};

struct CompiledSource {
  std::vector<SourceList> lists;
  std::vector<SourceNote> notes;  // in the order of their lines
  [[nodiscard]] bool has_errors() const;
};

// Compiles a source in UTF-8. With errors the lists are of use only for what their names are. Of
// the fields of records only those are known, or all if it is null.
CompiledSource compile_lists(std::string_view text, const KnownFields* fields);

// The source of a list, in UTF-8: compiled, it gives the list again, and shown again the same text.
// Its blocks have no faults.
std::string show_list(const StoredList& list);

// The lines of a block in it, with the one that names it.
std::string show_block(const StoredBlock& block, const StoredList& list);

}  // namespace marigold
