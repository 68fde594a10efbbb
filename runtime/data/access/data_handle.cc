// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/data_handle.h"

#include <map>

namespace marigold {

using namespace inner;

namespace {

struct State {
  std::map<const FileDefinition*, DataFile> files;
  unsigned generation = 0;  // of the definitions
};

State state;

DataFile& handle_of(const FileDefinition& definition) {
  if (state.generation != definition_generation()) {
    state.files.clear();
    state.generation = definition_generation();
  }
  return state.files.try_emplace(&definition, definition).first->second;
}

}  // namespace

DataFile* inner::data_file_find(std::string_view name) {
  const FileDefinition* definition = definition_find(name);
  return definition == nullptr ? nullptr : &handle_of(*definition);
}

DataFile& data_file(std::string_view name) {
  return handle_of(definition_get(name));
}

void data_set_path(DataFile& file, std::string_view path) {
  file.explicit_path = path;
}

bool data_is_open(const DataFile& file) {
  return file.open;
}

std::vector<DataFile*> inner::data_files() {
  std::vector<DataFile*> files;
  if (state.generation != definition_generation()) return files;
  for (const FileDefinition* definition : definitions_by_name()) {
    const auto found = state.files.find(definition);
    if (found != state.files.end()) files.push_back(&found->second);
  }
  return files;
}

}  // namespace marigold
