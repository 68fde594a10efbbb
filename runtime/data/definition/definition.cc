// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/definition/definition.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "runtime/core/system_errors.h"

namespace marigold::inner {
namespace {

struct State {
  std::vector<std::unique_ptr<FileDefinition>> files;
  Dictionary<FileDefinition> names;
  bool loaded = false;
  unsigned generation = 0;
};

constinit State state;

}  // namespace

std::string_view field_type_keyword(FieldType type) {
  const auto row = std::ranges::find(kFieldTypes, type, &FieldTypeRow::type);
  return row == std::end(kFieldTypes) ? std::string_view() : row->keyword;
}

bool FileDefinition::index_fields() {
  field_names.clear();
  bool unique = true;
  for (FieldDefinition& field : fields)
    unique = field_names.insert(field.name.view(), field) && unique;
  return unique;
}

const FieldDefinition* FileDefinition::find_field(std::string_view field_name) const {
  return field_names.find(field_name);
}

void definition_start() {
  const unsigned generation = state.generation + 1;
  state = State{};
  state.generation = generation;
}

unsigned definition_generation() {
  return state.generation;
}

bool definition_add(FileDefinition definition) {
  auto file = std::make_unique<FileDefinition>(std::move(definition));
  if (!state.names.insert(file->name.view(), *file)) return false;
  if (file->field_names.empty()) file->index_fields();
  state.files.push_back(std::move(file));
  return true;
}

bool definitions_loaded() {
  return state.loaded;
}

void definitions_mark_loaded() {
  state.loaded = true;
}

const FileDefinition* definition_find(std::string_view file_name) {
  return state.names.find(file_name);
}

const FileDefinition& definition_get(std::string_view file_name) {
  return dictionary_value(state.names, file_name, kErrorUnknownFile);
}

std::vector<const FileDefinition*> definitions_by_name() {
  std::vector<const FileDefinition*> files;
  files.reserve(state.files.size());
  state.names.walk([&files](FileDefinition& file) { files.push_back(&file); });
  return files;
}

}  // namespace marigold::inner
