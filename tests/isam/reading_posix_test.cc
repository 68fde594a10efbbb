// SPDX-License-Identifier: GPL-3.0-or-later
// A process that may read a file, but may not make it good after a writer that died.

#include <cerrno>

#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

using ReadingTest = TortureTest;

int write(int file, std::int32_t number) {
  return perform({Does::kWrite, number, 1}, file);
}

TEST_F(ReadingTest, AReaderIsToldOfAWriterThatDied) {
  build_wide("file", {});
  const Shared<Stage> stage("stage");
  Process writer = start_child([] {
    const Shared<Stage> common("stage");
    const int file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(write(file, 3), 0);
    common->reach(1);
    common->wait_for(2);
    die_at(15);
    write(file, 4);
  });
  stage->wait_for(1);
  restrict_to_reading(true);
  Process reader = start_child([] {
    const Shared<Stage> common("stage");
    become_a_reader();
    const int file = ISOPEN("file", kIsInput);
    const auto expect_read = [&](int error) {
      end_within(20);
      std::string record = wide_record(3, 0);
      EXPECT_EQ(error_of(ISREAD(file, record.data(), kIsEqual)), error);
      EXPECT_EQ(isreason() != ""s, error != 0);
    };
    expect_read(0);
    common->reach(2);
    common->wait_for(3);
    expect_read(EACCES);
    EXPECT_EQ(run_child([] { EXPECT_EQ(error_of(ISOPEN("file", kIsInput)), EACCES); }), 0);
    common->reach(4);
    common->wait_for(5);
    expect_read(0);
  });
  EXPECT_EQ(writer.wait(), kKilled);
  stage->reach(3);
  stage->wait_for(4);
  restrict_to_reading(false);
  expect_holds("file", {{3, wide_record(3, 1)}});
  stage->reach(5);
  EXPECT_EQ(reader.wait(), 0);
}

}  // namespace
}  // namespace marigold::inner::test
