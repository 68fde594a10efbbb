// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of scanning a definition set: reading its file and making the definitions, as at a program's
// start.
//
//   data_scan [FILES=1000] [ROUNDS=50]
//
// The set defines FILES keyed files of ten fields and three keys each. Prints CSV:
// files,bytes,rounds,least_ms,median_ms.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "runtime/core/settings.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner::bench {
namespace {

constexpr const char* kFields = R"(
  VERSION 3
  PATH 1
  LEN 160
  TYPE ISAM
BEGINFIELD
  FIELD NUMBER   TYPE LONGINT         MASK '#####0'   PREVAL 0
  FIELD NAME     TYPE STRING 30                       PREVAL NIL
  FIELD STREET   TYPE STRING 30                       PREVAL NIL
  FIELD TOWN     TYPE STRING 30                       PREVAL 'Wien'
  FIELD COUNTRY  TYPE STRING 3                        PREVAL 'A'
  FIELD LIMIT    TYPE REAL            MASK '####0,00' PREVAL 1000.00
  FIELD SALES    TYPE REAL TIMES 3    MASK '####0,00' PREVAL 0, 0, 0
  FIELD SINCE    TYPE DATE                            PREVAL 010190
  FIELD KIND     TYPE CHAR                            PREVAL 'N'
  FIELD REPRES   TYPE INT             MASK '###0'     PREVAL NIL
ENDFIELD
BEGINKEY
  KEY 1 SEGMENT 1 IS NUMBER
  KEY 2 SEGMENT 1 IS NAME
  KEY 2 SEGMENT 2 IS TOWN
  KEY 3 SEGMENT 1 IS SINCE
ENDKEY
ENDFILE
)";

std::string set_of(int files) {
  std::string text = "# Customers of many branches\n";
  for (int number = 0; number < files; ++number)
    text.append("BEGINFILE\n  NAME K").append(std::to_string(number)).append(kFields);
  return text + "END.\n";
}

double load_milliseconds() {
  definition_start();
  const auto begin = std::chrono::steady_clock::now();
  definition_set_load("BENCH");
  const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - begin;
  return spent.count();
}

int measure(int files, int rounds) {
  const std::string text = set_of(files);
  const std::string path = definition_set_path("BENCH");
  if (file_put(path.c_str(), text) != 0) {
    std::fprintf(stderr, "data_scan: cannot write %s\n", path.c_str());
    return 1;
  }
  std::vector<double> times(static_cast<std::size_t>(rounds));
  std::ranges::generate(times, load_milliseconds);
  std::ranges::sort(times);
  const int defined = static_cast<int>(definitions_by_name().size());
  std::printf("files,bytes,rounds,least_ms,median_ms\n%d,%zu,%d,%.2f,%.2f\n", defined, text.size(),
              rounds, times.front(), times[times.size() / 2]);
  return defined == files ? 0 : 1;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  const int files = argc > 1 ? std::atoi(argv[1]) : 1000;
  const int rounds = std::max(argc > 2 ? std::atoi(argv[2]) : 50, 1);
  std::string directory = std::filesystem::temp_directory_path() / "data_scan_XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) return 1;
  setenv("DEFINITION_DIRECTORY", directory.c_str(), 1);
  marigold::inner::settings_read();
  const int status = marigold::inner::bench::measure(files, rounds);
  std::filesystem::remove_all(directory);
  return status;
}
