#include "runtime/data/definition.h"

#include <utility>

namespace marigold {
namespace {

struct State {
  std::vector<std::unique_ptr<FileDefinition>> files;
  Dictionary<FileDefinition> names;
  bool loaded = false;
};

constinit State state;

}  // namespace

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

void definitions_start() {
  state = State{};
}

bool definition_add(std::unique_ptr<FileDefinition> definition) {
  if (!state.names.insert(definition->name.view(), *definition)) return false;
  state.files.push_back(std::move(definition));
  return true;
}

bool definitions_loaded() {
  return state.loaded;
}

void definitions_mark_loaded() {
  state.loaded = true;
}

FileDefinition* definition_find(std::string_view file_name) {
  return state.names.find(file_name);
}

FileDefinition& definition_of(std::string_view file_name) {
  return dictionary_value(state.names, file_name, kFileNotFound);
}

const Dictionary<FileDefinition>& definitions() {
  return state.names;
}

}  // namespace marigold
