// SPDX-License-Identifier: GPL-3.0-or-later
// The sources of lists that a command is about, read and compiled.
#pragma once

#include <string>
#include <vector>

#include "tools/common/report.h"
#include "tools/list_language/source.h"
#include "tools/lists/commands.h"

namespace marigold {

struct LoadedSources {
  std::vector<StoredList> lists;
  std::vector<std::string> messages;   // in the order of the files and lines
  bool errors = false;                 // among the messages
  std::vector<std::string> summaries;  // "FILE: 2 lists, 7 blocks", of files without errors
  Problems unreadable;
};

// A list may stand in one of the files.
LoadedSources load_sources(const ListsSources& sources);

}  // namespace marigold
