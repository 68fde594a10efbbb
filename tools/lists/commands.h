// SPDX-License-Identifier: GPL-3.0-or-later
// marigold lists: compiles lists and blocks from readable sources, shows them as sources, and
// prints.
//
// Each command reports all problems itself and returns an exit status (report.h).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace marigold::inner {

struct ListsSources {
  std::vector<std::string> paths;
  std::string definitions;  // definition set, name or path; empty: no check of fields
};

struct ListsCompile {
  ListsSources sources;
  std::string output;  // the print directory
  bool own = false;    // the files that the print engine searches first
  bool verbose = false;
};
int lists_compile(const ListsCompile& options);

struct ListsCheck {
  ListsSources sources;
};
int lists_check(const ListsCheck& options);

struct ListsShow {
  std::string directory;
  std::vector<std::string> lists;  // none: all
  bool own = false;
  bool json = false;
};
int lists_show(const ListsShow& options);

struct ListsPrint {
  std::string list;
  std::string directory;
  std::vector<std::string> to;         // printer NAME, screen, file [PATH], pdf [PATH]; none: file
  std::vector<std::string> variables;  // NAME=VALUE, a number when the value is one
  std::vector<std::string> texts;      // NAME=VALUE, a text in any case
  std::string records;                 // path of comma-separated values; empty: no records
  std::string printer;                 // for F4 in the viewer; empty: none
  // Blocks at the top and foot of each page, first, for each record, last: "" for none. Without the
  // option the list's own HEADER, FOOTER, START, LINE and END, if they exist.
  std::optional<std::string> header;
  std::optional<std::string> footer;
  std::optional<std::string> start;
  std::optional<std::string> line;
  std::optional<std::string> end;
  // In lines; -1: as in the list.
  int first_line = -1;
  int last_line = -1;
  int page_length = -1;
};
int lists_print(const ListsPrint& options);

}  // namespace marigold::inner
