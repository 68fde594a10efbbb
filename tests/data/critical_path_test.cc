// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/data.h"

#include "runtime/core/settings.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/access/version.h"
#include "runtime/platform/clock.h"
#include "tests/data/support.h"

namespace marigold::inner::test {

using enum CriticalPathState;

static std::vector<CriticalPathState> states() {
  std::vector<CriticalPathState> all;
  for (int number = 1; number <= kCriticalPaths; ++number)
    all.push_back(critical_path_state(number));
  return all;
}

static bool can_be_taken_elsewhere(int path_class) {
  return elsewhere([](int number) { return path_lock_exclusive(number) == kDataDone; }, path_class);
}

TEST_F(DataTest, CriticalPathsAreReadyTogetherOrNotAtAll) {
  critical_path_start();
  clock_sleep_hook = [](int) {};
  std::filesystem::create_directories("definitions");
  setenv("DEFINITION_DIRECTORY", "definitions", 1);
  settings_read();
  // By the numbers of the entries: the first one is in the directory of class 4.
  write_file("definitions/PATHVER.DES", "PATH 1 2\nPATH 2 3 PATH 3 1 PATH 5 7\nEND.");
  for (const auto& [path_class, version] : {std::pair{4, 2}, {5, 3}, {6, 2}, {8, 7}}) {
    data_make_directory(path_class);
    version_write_path(path_class, version);
  }
  critical_path_set(1, data_directory(4));
  critical_path_set(2, (in_cluster() ? "" : "./") + data_directory(5) + "/");
  ASSERT_TRUE(critical_path_check());
  EXPECT_EQ(states(), (std::vector{kReady, kReady, kUnchecked, kUnchecked, kUnchecked}));
  EXPECT_FALSE(can_be_taken_elsewhere(4));  // held shared
  EXPECT_TRUE(elsewhere([] { return path_lock_shared(5) == kDataDone; }));

  critical_path_set(2, data_directory(4));
  critical_path_set(3, data_directory(6));
  critical_path_set(4, data_directory(7));
  critical_path_set(5, "data/elsewhere");
  critical_path_set(6, data_directory(8));
  EXPECT_FALSE(critical_path_check());
  EXPECT_EQ(states(), (std::vector{kReady, kInUse, kConversionNeeded, kNew, kUnknown}));
  EXPECT_TRUE(can_be_taken_elsewhere(4));  // closed again
  EXPECT_TRUE(can_be_taken_elsewhere(6));

  // Another operator has the class shared: nothing is asked, and both go on.
  {
    const OtherProcess operator_beside([] { return path_lock_shared(4) == kDataDone; });
    ASSERT_TRUE(operator_beside.ready());
    for (int number = 2; number <= kCriticalPaths; ++number)
      critical_path_set(number, "");
    EXPECT_EQ(errors_of([] { EXPECT_TRUE(critical_path_check_shared()); }), "");
    EXPECT_EQ(critical_path_state(1), kReady);
    version_write_path(4, 1);
    EXPECT_FALSE(critical_path_check_shared());
    EXPECT_EQ(critical_path_state(1), kConversionNeeded);
  }
  EXPECT_TRUE(can_be_taken_elsewhere(4));

  const OtherProcess other([] { return path_lock_shared(8) == kDataDone; });
  for (int number = 1; number < kCriticalPaths; ++number)
    critical_path_set(number, "");
  critical_path_set(5, data_directory(8));
  EXPECT_FALSE(critical_path_check());
  EXPECT_EQ(critical_path_state(5), kInUse);
  critical_path_start();
}

}  // namespace marigold::inner::test
