// A file that a command reads a line at a time.
#pragma once

#include <fstream>
#include <string>

namespace marigold {

// False with the problem, also for a directory.
bool open_input(const std::string& path, std::ifstream& file, std::string& problem);

}  // namespace marigold
