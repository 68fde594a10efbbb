// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/lists/commands.h"
#include "tools/lists/load.h"

namespace marigold::inner {

int lists_check(const ListsCheck& options) {
  const LoadedSources loaded = load_sources(options.sources);
  std::string output;
  for (const std::string& message : loaded.messages)
    output += message + "\n";
  for (const std::string& summary : loaded.summaries)
    output += summary + "\n";
  const int status = write_output(output, loaded.errors ? kExitFindings : kExitClean);
  return loaded.unreadable.empty() ? status : report_unusable(loaded.unreadable);
}

}  // namespace marigold::inner
