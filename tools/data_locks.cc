#include <nlohmann/json.hpp>

#include "runtime/core/settings.h"
#include "runtime/data/data_path.h"
#include "runtime/data/lock_file.h"
#include "tools/data_commands.h"
#include "tools/data_report.h"
#include "tools/new_files.h"

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

int data_locks(const DataLocks& options) {
  settings_read();
  std::vector<LockHolder> holders;
  if (const int failed = lock_file_holders(options.path_class, holders))
    return report_unusable({file_error(data_directory(options.path_class), failed)});
  std::string output;
  for (const LockHolder& holder : holders) {
    output += options.json ? as_json_line(holder_as_json(holder)) : describe_holder(holder) + "\n";
  }
  return write_output(output, kExitClean);
}

}  // namespace marigold
