// SPDX-License-Identifier: GPL-3.0-or-later
// The work directory of DataToolTest with lines to load.
#pragma once

#include "tests/tools/data_support.h"

namespace marigold::inner::test {

inline const std::string kLoaded = "./data/1/BOX: ";

struct DataSeamsTest : DataToolTest {
  DataSeamsTest() {
    write_file("three.csv", box_numbers(1, 3));
    write_file("four.csv", box_numbers(4, 4));
    write_file("slots.csv", "SNR,T\n1,x\n");
  }
  static void load_three() { expect({{"load BOX three.csv", kLoaded + "3 records loaded\n"}}); }
  static std::string numbers() {
    return run_shell("./marigold data dump BOX | cut -d, -f1 | tail -n +2 | tr '\\n' ' '").out;
  }
};

}  // namespace marigold::inner::test
