// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/path.h"

namespace marigold::inner {

std::string path_join(std::string_view directory, std::string_view name) {
  std::string path(directory);
  // Nothing comes after "", "/", or a drive alone: "C:a" is a file of its current directory.
  if (path_root(path) != path.size() && !path_separates(path.back())) path.push_back('/');
  return path.append(name);
}

std::string_view path_name(std::string_view path) {
  std::size_t begin = path.size();
  while (begin > path_root(path) && !path_separates(path[begin - 1]))
    --begin;
  return path.substr(begin);
}

std::string_view path_directory(std::string_view path) {
  return path_without_end(path.substr(0, path.size() - path_name(path).size()));
}

std::string path_beside(std::string_view path, std::string_view name) {
  return std::string(path.substr(0, path.size() - path_name(path).size())).append(name);
}

bool path_has_directory(std::string_view path) {
  return path_name(path).size() != path.size();
}

std::string_view path_without_end(std::string_view path) {
  const std::size_t root = path_root(path);
  while (path.size() > root && path_separates(path.back()))
    path.remove_suffix(1);
  return path;
}

}  // namespace marigold::inner
