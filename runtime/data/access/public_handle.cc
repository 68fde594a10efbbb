// Handles as programs see them.

#include "marigold/data.h"
#include "runtime/data/definition/definition.h"

namespace marigold {

DataFile& data_file(std::string_view name) {
  return definition_get(name);
}

void data_set_path(DataFile& file, std::string_view path) {
  file.explicit_path = path;
}

bool data_is_open(const DataFile& file) {
  return file.open;
}

}  // namespace marigold
