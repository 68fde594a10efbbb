#include "runtime/data/definition.h"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "runtime/core/user_interface.h"

namespace marigold {
namespace {

struct State {
  std::map<std::string, FileDefinition, std::less<>> files;
};

State state;

std::string_view short_name(std::string_view name) {
  return name.substr(0, std::min(name.find(' '), kDefinitionNameLength));
}

}  // namespace

const FieldDefinition* FileDefinition::find_field(std::string_view field_name) const {
  const auto found =
      std::ranges::find(fields, short_name(field_name),
                        [](const FieldDefinition& field) { return field.name.view(); });
  return found == fields.end() ? nullptr : &*found;
}

void definition_start() {
  state = State{};
}

FileDefinition& definition_add(FileDefinition definition) {
  std::string name(definition.name.view());
  return state.files.insert_or_assign(std::move(name), std::move(definition)).first->second;
}

FileDefinition* definition_find(std::string_view name) {
  const auto found = state.files.find(short_name(name));
  return found == state.files.end() ? nullptr : &found->second;
}

FileDefinition& definition_get(std::string_view name) {
  FileDefinition* file = definition_find(name);
  if (file == nullptr) raise_fatal(1);
  return *file;
}

std::vector<FileDefinition*> definitions_by_name() {
  std::vector<FileDefinition*> files;
  for (auto& [name, file] : state.files)
    files.push_back(&file);
  return files;
}

}  // namespace marigold
