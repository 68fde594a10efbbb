// marigold data: the data files of an application and their definitions.
//
// Each command returns an exit status (see report.h) and has said all there is to say.
#pragma once

#include <string>
#include <vector>

namespace marigold {

struct DataScan {
  std::vector<std::string> sets;  // names, or paths of definition sets
  bool json = false;
};
int data_scan(const DataScan& options);

struct DataConvert {
  std::vector<std::string> sets;  // names, or paths of definition sets
  int path_class = -1;            // only the files of this class
  bool dry_run = false;           // show the plan
  bool keep_backup = false;       // the old files, as BASE.version-N
};
int data_convert(const DataConvert& options);

}  // namespace marigold
