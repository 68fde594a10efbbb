// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/record_change.h"

#include <string_view>

#include "runtime/data/access/change_turns.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

int result(int outcome) {
  return outcome == 0 ? 0 : iserrno;
}

}  // namespace

int record_write(int number, const char* record, bool& rewrites) {
  rewrites = false;
  for (;;) {
    int failed = result(ISWRITE(number, record));
    if (failed != kIsDuplicate) return failed;
    // Deletes and writes in one step, so the key always has a record. Another process may delete
    // that record meanwhile, and write it again.
    rewrites = true;
    failed = result(ISREPLACE(number, record));
    if (failed != kIsNoRecord) return failed;
  }
}

int record_delete(int number, const char* record) {
  const int failed = result(ISDELETE(number, record));
  return failed == kIsNoRecord ? 0 : failed;
}

std::string change_base(const DataFile& file) {
  std::string path = data_path(file);
  if (is_cluster_address(path)) return path;
  return path_join(change_directory(std::string(path_directory(path))), path_name(path));
}

std::string change_error_text(int number) {
  switch (number) {
    case kIsLocked:
      return "another process keeps it locked";
    case kIsBadFile:
      return "it is damaged, or no keyed file";
    case kIsNoMemory:
      return "not enough memory";
    default:
      break;
  }
  std::string reason = engine_reason(number);
  if (number >= kIsServer && !reason.empty()) return reason;
  const std::string_view name = iserror_name(number);
  return name.empty() ? system_error_text(number) : std::string(name);
}

}  // namespace marigold::inner
