// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/settings.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_file.h"
#include "tools/common/json_text.h"
#include "tools/data/commands.h"
#include "tools/records/data_target.h"
#include "tools/records/lock_holders.h"

namespace marigold::inner {

int data_locks(const DataLocks& options) {
  settings_read();
  std::string reason;
  if (!check_data_directory(data_directory(options.path_class), reason))
    return report_unusable({reason});
  std::vector<LockHolder> holders;
  if (const int failed = lock_file_holders(options.path_class, holders))
    return report_unusable({data_error(data_directory(options.path_class), failed)});
  std::string output;
  for (const LockHolder& holder : holders) {
    output += options.json ? holder_as_json(holder).line() : describe_holder(holder) + "\n";
  }
  return write_output(output, kExitClean);
}

}  // namespace marigold::inner
