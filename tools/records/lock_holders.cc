// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/lock_holders.h"

#include <vector>

#include "runtime/data/access/data_path.h"

namespace marigold::inner {

std::string describe_holder(const LockHolder& holder) {
  std::string text =
      holder.process == 0 ? "an unknown process" : "process " + std::to_string(holder.process);
  if (!holder.host.empty()) text += " on " + holder.host;
  return text + (holder.exclusive ? ", exclusive" : ", shared");
}

Json holder_as_json(const LockHolder& holder) {
  return Json::object({{"process", holder.process},
                       {"host", holder.host},
                       {"mode", holder.exclusive ? "exclusive" : "shared"}});
}

std::string locked_class_text(int path_class) {
  std::string text = data_path_shown(data_directory(path_class)) + ": the directory is locked";
  std::vector<LockHolder> holders;
  if (lock_file_holders(path_class, holders) != 0) return text;
  const char* before = ": ";
  for (const LockHolder& holder : holders) {
    text += before + describe_holder(holder);
    before = "; ";
  }
  return text;
}

}  // namespace marigold::inner
