// marigold lists: lists and blocks from a source that their author reads, and back.
//
// Each command returns an exit status (see report.h) and has said all there is to say.
#pragma once

#include <string>
#include <vector>

namespace marigold {

struct ListsSources {
  std::vector<std::string> paths;
  std::string definitions;  // name or path of a definition set; empty: fields are not looked at
};

struct ListsCompile {
  ListsSources sources;
  std::string output;  // the print directory
  bool own = false;    // the files that the print engine looks at first
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

}  // namespace marigold
