// The handle of a data file: by which file it is opened, in which mode, and its record buffer.
//
// There is one handle for each definition of the process-wide list, found by name. Tools make
// further ones, for definitions outside the list or for another place of the file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/data/definition/definition.h"

namespace marigold {

// Which open file it is, for the operations of its kind.
struct EngineState {
  int descriptor = -1;
  int selected_key = -1;     // from 1; -1 after opening
  bool behind_last = false;  // the last read was one for a next record that failed
};

// The definition outlives the handle.
struct DataFile {
  explicit DataFile(const FileDefinition& of) : definition(of), read_only(of.read_only) {}
  DataFile(DataFile&&) = default;
  DataFile(const DataFile&) = delete;

  const FileDefinition& definition;
  // Set by the application before opening. Read only: begins as the definition says.
  bool read_only = false;
  // The file's whole path, without ".dat" and the like. Empty: the file's name in the data
  // directory of its path class.
  std::string explicit_path;

  // The record buffer, record_length bytes; empty while the file is closed.
  std::vector<char> record;
  EngineState engine;
  bool open = false;
};

// The handle of a file name of the list (cut as definition_find does), or null. It stays valid
// until definition_start.
DataFile* data_file_find(std::string_view name);

// All handles that have been asked for, in the order of their names.
std::vector<DataFile*> data_files();

}  // namespace marigold
