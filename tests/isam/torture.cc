#include "tests/isam/torture.h"

#include <cstring>

namespace marigold::test {
namespace {

bool long_run = false;

}  // namespace

int amount(int in_short, int in_long) {
  return long_run ? in_long : in_short;
}

void copy_pair(const std::string& from, const std::string& to) {
  for (const char* suffix : {".dat", ".idx"}) {
    std::filesystem::copy_file(from + suffix, to + suffix,
                               std::filesystem::copy_options::overwrite_existing);
  }
}

}  // namespace marigold::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (int i = 1; i < argc; ++i)
    marigold::test::long_run |= std::strcmp(argv[i], "--long") == 0;
  if (!marigold::test::long_run) GTEST_FLAG_SET(filter, GTEST_FLAG_GET(filter) + ":-*LongTest*");
  return RUN_ALL_TESTS();
}
