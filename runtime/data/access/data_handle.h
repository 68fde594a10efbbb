// SPDX-License-Identifier: GPL-3.0-or-later
// The handle of a data file: its definition, its place, its mode and its record buffer.
//
// Each definition of the process-wide list has one handle, found by name. Tools make further
// handles, for definitions outside the list or for a file in another place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/data/definition/definition.h"

namespace marigold::inner {

// The open file, for the operations of its kind.
struct EngineState {
  int descriptor = -1;
  int selected_key = -1;     // from 1; -1 after opening
  bool behind_last = false;  // the last read looked for a next record and found none
  int walk_ahead = 0;        // records, as is_read_ahead
  int told_ahead = 0;        // the same, as the engine has been told
};

}  // namespace marigold::inner

namespace marigold {

// The definition outlives the handle.
struct DataFile {
  explicit DataFile(const inner::FileDefinition& of) : definition(of), read_only(of.read_only) {}
  DataFile(DataFile&&) = default;
  DataFile(const DataFile&) = delete;

  const inner::FileDefinition& definition;
  // The application sets the following two before it opens the file. `read_only` begins as in the
  // definition.
  bool read_only = false;
  // The file's whole path, without a suffix such as ".dat". Empty: the file's name in the data
  // directory of its path class.
  std::string explicit_path;

  // The record buffer, record_length bytes; empty while the file is closed.
  std::vector<char> record;
  inner::EngineState engine;
  bool open = false;
};

}  // namespace marigold

namespace marigold::inner {

// Returns the handle of a file name of the list (cut as definition_find cuts it), or null. The
// handle stays valid until definition_start.
DataFile* data_file_find(std::string_view name);

// All handles that have been asked for, in the order of their names.
std::vector<DataFile*> data_files();

}  // namespace marigold::inner
