// SPDX-License-Identifier: GPL-3.0-or-later
// Reads and compiles the sources of lists of a command.
#pragma once

#include <string>
#include <vector>

#include "tools/common/report.h"
#include "tools/list_language/source.h"
#include "tools/lists/commands.h"

namespace marigold::inner {

struct LoadedSources {
  std::vector<StoredList> lists;
  std::vector<std::string> messages;   // in the order of the files and lines
  bool errors = false;                 // whether a message is an error
  std::vector<std::string> summaries;  // "FILE: 2 lists, 7 blocks", for files without errors
  Problems unreadable;
};

// Loads the sources. Only one of the files may have a list of a given name.
LoadedSources load_sources(const ListsSources& sources);

}  // namespace marigold::inner
