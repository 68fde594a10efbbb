// Which data file a command is about: its definition, and where it lies.
#pragma once

#include <memory>
#include <string>

#include "runtime/data/definition.h"
#include "tools/report.h"

namespace marigold {

// As the command line names it.
struct DataFileOptions {
  std::string file;  // its name in the definition set
  std::string set;   // name or path of the definition set; empty: whichever defines the file
  std::string path;  // without ".dat" and the like; empty: the file's place by its path class
};

struct DataTarget {
  std::string set_path;
  std::unique_ptr<FileDefinition> definition;
  std::string base;  // what data_path says
};

// "DATA", or a path when it has a "/" in it or ends in ".DES".
std::string definition_path_of(const std::string& set);

// Finds the definition. Without a set it looks through the files FILE*.DES of the definitions
// directory, but not through the version table and older definitions (FILEDATA_3.DES). False with
// the problems: no set defines the file, or several do, or a set cannot be read, or the file is of
// a kind that cannot be opened. The list of definitions stays as it is.
bool find_data_file(const DataFileOptions& options, DataTarget& target, Problems& problems);

// What a result of the engine or the system means for the owner of a file.
std::string data_error(int number);

// "PATH: " and that.
std::string data_error(const std::string& path, int number);

}  // namespace marigold
