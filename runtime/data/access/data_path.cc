// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/data_path.h"

#include "marigold/code_sets.h"
#include "runtime/core/settings.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"

namespace marigold {

using namespace inner;

std::string data_directory(int path_class) {
  return data_directory_by(settings().data_directory.view(), path_class);
}

}  // namespace marigold

namespace marigold::inner {

std::string data_directory_by(std::string_view pattern, int path_class) {
  constexpr std::string_view kClass = "%p";
  const std::string number = std::to_string(path_class);
  std::string directory(pattern);
  for (std::size_t at = directory.find(kClass); at != std::string::npos;
       at = directory.find(kClass, at + number.size()))
    directory.replace(at, kClass.size(), number);
  return std::string(path_without_end(directory));
}

std::string data_path(const FileDefinition& file) {
  return data_path_in(data_directory(file.path_class), file.name.view());
}

std::string data_path(const DataFile& file) {
  return file.explicit_path.empty() ? data_path(file.definition) : file.explicit_path;
}

bool data_in_cluster(const DataFile& file) {
  return is_cluster_address(data_path(file));
}

int data_make_directory(int path_class) {
  const std::string directory = data_directory(path_class);
  return is_cluster_address(directory) ? 0 : file_make_directory(directory.c_str());
}

int data_make_directory(const DataFile& file) {
  return file.explicit_path.empty() ? data_make_directory(file.definition.path_class) : 0;
}

std::string data_path_in(const std::string& directory, std::string_view name) {
  return is_cluster_address(directory) ? cluster_join(directory, latin1_as_utf8(name))
                                       : path_join(directory, name);
}

std::string data_path_directory(const std::string& path) {
  return is_cluster_address(path) ? cluster_directory(path) : std::string(path_directory(path));
}

std::string data_path_with(const std::string& path, std::string_view suffix) {
  return is_cluster_address(path)
             ? cluster_join(cluster_directory(path), cluster_file_name(path).append(suffix))
             : path + std::string(suffix);
}

std::string data_path_shown(std::string_view path) {
  return is_cluster_address(path) ? cluster_shown(path) : std::string(path);
}

}  // namespace marigold::inner
