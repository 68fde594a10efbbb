// SPDX-License-Identifier: GPL-3.0-or-later
// The care of data files that are links or have a mode.

#include "runtime/core/settings.h"
#include "runtime/data/access/backup_record.h"
#include "runtime/data/definition/definition_set.h"
#include "tests/tools/data_seams_support.h"

namespace marigold::inner::test {

using DataCarePosixTest = DataSeamsTest;

TEST_F(DataCarePosixTest, ALinkIsNotCompacted) {
  load_three();
  run_shell("mv data/1/BOX.dat elsewhere; ln -s ../../elsewhere data/1/BOX.dat");
  expect({{"compact BOX", "", kLoaded + "is a link; name the file that it leads to with --path\n",
           2}});
}

TEST_F(DataCarePosixTest, TheRecordOfABackupHasTheModeOfTheData) {
  load_three();
  settings_read();
  definition_start();
  definition_set_load("BOX");
  constexpr std::filesystem::perms kMode{0640};
  std::filesystem::permissions("data/1/BOX.dat", kMode);
  EXPECT_EQ(backup_record_write(data_file("BOX"), {.time = "2028-02-29T23:59:59Z", .place = "/b"}),
            0);
  EXPECT_EQ(std::filesystem::status("data/1/BOX.backup").permissions(), kMode);
}

}  // namespace marigold::inner::test
