// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/lock_holders.h"

namespace marigold {

std::string describe_holder(const LockHolder& holder) {
  std::string text =
      holder.process == 0 ? "an unknown process" : "process " + std::to_string(holder.process);
  if (!holder.host.empty()) text += " on " + holder.host;
  return text + (holder.exclusive ? ", exclusive" : ", shared");
}

OrderedJson holder_as_json(const LockHolder& holder) {
  return {{"process", holder.process},
          {"host", holder.host},
          {"mode", holder.exclusive ? "exclusive" : "shared"}};
}

}  // namespace marigold
