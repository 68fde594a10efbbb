// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/data_path.h"

#include <string_view>

#include "runtime/core/settings.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"

namespace marigold {

using namespace inner;

std::string data_directory(int path_class) {
  constexpr std::string_view kClass = "%p";
  const std::string number = std::to_string(path_class);
  std::string directory(settings().data_directory.view());
  for (std::size_t at = directory.find(kClass); at != std::string::npos;
       at = directory.find(kClass, at + number.size()))
    directory.replace(at, kClass.size(), number);
  return std::string(path_without_end(directory));
}

}  // namespace marigold

namespace marigold::inner {

std::string data_path(const FileDefinition& file) {
  return path_join(data_directory(file.path_class), file.name.view());
}

std::string data_path(const DataFile& file) {
  return file.explicit_path.empty() ? data_path(file.definition) : file.explicit_path;
}

int data_make_directory(int path_class) {
  return file_make_directory(data_directory(path_class).c_str());
}

int data_make_directory(const DataFile& file) {
  return file.explicit_path.empty() ? data_make_directory(file.definition.path_class) : 0;
}

}  // namespace marigold::inner
