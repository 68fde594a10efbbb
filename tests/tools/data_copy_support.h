// SPDX-License-Identifier: GPL-3.0-or-later
// Places for the tests of data directories of either kind.
#pragma once

#include <sstream>

#include "tests/tools/data_support.h"

namespace marigold::inner::test {

// Returns a value of DATA_DIRECTORY where no file is: of directories below the current one, or, in
// the program of a cluster, of schemas there.
extern std::string (*new_far_place)();

// Waits until a server has noticed the end of killed processes.
extern void (*forget_the_killed)();

// Returns the path of a file there; "" for the data directory of the class.
inline std::string in_place(std::string place, int path_class, const std::string& file) {
  if (const auto at = place.find("%p"); at != std::string::npos)
    place.replace(at, 2, std::to_string(path_class));
  return file.empty() ? place : place + "/" + file;
}

// Runs a command with this DATA_DIRECTORY.
inline Finished run_in(const std::string& place, const std::string& words) {
  setenv("DATA_DIRECTORY", place.c_str(), 1);
  const Finished run = run_shell("./marigold data " + words);
  unsetenv("DATA_DIRECTORY");
  return run;
}

// Some records in data/%p, and a far place for their copies.
struct DataCopyTest : DataToolTest {
  DataCopyTest() {
    write_file("three.csv", "NUMBER,NAME[1],SIZE\n1,a,7\n2,b,7\n3,a,7\n");
    write_file("slots.csv", "SNR,T\n1,x\n2,y\n5,z\n");
    expect({{"load BOX three.csv", "./data/1/BOX: 3 records loaded\n"},
            {"load SLOTS slots.csv", "./data/2/SLOTS: 3 records loaded\n"}});
  }
  // Returns the numbers of BOX there, in the order of a key.
  static std::string numbers(const std::string& place, int key) {
    std::istringstream lines(run_in(place, "dump BOX --key " + std::to_string(key)).out);
    std::string found;
    std::string line;
    for (std::getline(lines, line); std::getline(lines, line);)
      found += line.substr(0, line.find(',')) + " ";
    return found;
  }

  const std::string far = new_far_place();
  const std::string there = "'" + far + "' ";
  const std::string far_box = in_place(far, 1, "BOX");
};

}  // namespace marigold::inner::test
