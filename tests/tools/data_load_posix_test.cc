// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data dump and load with limits on the size of files, devices, pipes and signals.

#include "tests/tools/data_seams_support.h"

namespace marigold::inner::test {
namespace {

using DataLoadPosixTest = DataSeamsTest;

const std::string kSlots = "./data/2/SLOTS: ";
const std::string kThree = kBoxHeader +
                           "1,x,,K,2.5,010190,0930,-1\n2,x,,K,2.5,010190,0930,-1\n"
                           "3,x,,K,2.5,010190,0930,-1\n";

std::string everything_of(const std::string& file) {
  return run_shell("./marigold data dump " + file).out;
}

TEST_F(DataLoadPosixTest, ALineWithoutEndIsRefused) {
  const std::string too_long = ":1: the line is longer than 16777216 bytes\n";
  expect({{"load BOX /dev/zero", "", "/dev/zero" + too_long, 2},
          {"load BOX </dev/zero", "", "standard input" + too_long, 2}});
  EXPECT_FALSE(std::filesystem::exists("data/1/BOX.dat"));
}

TEST_F(DataLoadPosixTest, AFullDiskChangesNothing) {
  std::string big = "NUMBER,SIZE\n";
  for (int i = 0; i < 20000; ++i)
    big.append(std::to_string(i % 2 == 0 ? i : 2000000000 - i)).append(",1\n");
  write_file("big.csv", big);
  write_file("slots.csv", "SNR,T\n50000,x\n");
  // The messages go through a pipe, which no limit affects.
  const auto limited = [](const std::string& blocks, const std::string& command) {
    return run_shell("{ (ulimit -f " + blocks + "; ./marigold data " + command +
                     "; echo status $? >&2) 2>&1; } | cat")
        .out;
  };
  const auto expect_refused = [](const std::string& out) {
    EXPECT_EQ(out.substr(0, 14), "./data/1/BOX: ") << out;
    EXPECT_TRUE(out.ends_with("File too large\nstatus 2\n")) << out;
  };
  for (const char* blocks : {"0", "8", "100", "200", "400"}) {
    expect_refused(limited(blocks, "load BOX big.csv"));
    EXPECT_EQ(run_shell("find data -type f").out, "") << blocks;
  }
  load_three();
  expect({{"load SLOTS slots.csv", kSlots + "1 record loaded\n"}});
  for (const char* blocks : {"8", "200", "400", "800", "1200", "1600"}) {
    expect_refused(limited(blocks, "load BOX big.csv --replace"));
    EXPECT_EQ(everything_of("BOX"), kThree) << blocks;
    expect({{"check BOX", kLoaded + "3 records, no damage\n"}});
  }
  const std::string too_large = "File too large\nstatus 2\n";
  EXPECT_EQ(limited("100", "load SLOTS slots.csv --replace"), kSlots + too_large);
  EXPECT_EQ(everything_of("SLOTS"), "SNR,T\n50000,x\n");
  const std::string full = ": No space left on device\n";
  expect({{"dump BOX >/dev/full", "", "standard output" + full, 2},
          {"dump BOX -o /dev/full", "", "/dev/full" + full, 2}});
  EXPECT_EQ(limited("0", "dump BOX -o out.csv"), "out.csv: " + too_large);
  EXPECT_EQ(run_shell("ls -A . data/1 data/2 | grep '[.][0-9a-f]\\{16\\}'").out, "");
}

TEST_F(DataLoadPosixTest, AStopTakesEverythingBack) {
  expect({{"load BOX --path b three.csv", "b: 3 records loaded\n"}});
  write_file("more.csv", "NUMBER\n100\n101\n");
  // Gets a signal to stop before its start, which blocks it until then.
  const std::string stop =
      "perl -MPOSIX -e 'sigprocmask(SIG_BLOCK, POSIX::SigSet->new(SIGHUP)); kill HUP => $$; "
      "exec @ARGV' ./marigold data";
  const std::string interrupted = ": Interrupted system call\n";
  expect_runs(stop, {{"load BOX more.csv", "", "./data/1/BOX" + interrupted, 2},
                     {"load BOX --path b more.csv", "", "b" + interrupted, 2},
                     {"load SLOTS /dev/null", "",
                      "/dev/null:1: there is no header with the names "
                      "of the columns\n",
                      2},
                     {"dump BOX --path b -o b.csv", "", "b.csv" + interrupted, 2}});
  expect({{"dump BOX --path b", kThree}});
  EXPECT_EQ(run_shell("find data -type f; ls -A | grep '[.]b[.]'; ls b.csv").out, "");
}

TEST_F(DataLoadPosixTest, TheFileIsHeldWhileItsInputComesFromAPipe) {
  expect({{"load SLOTS slots.csv", kSlots + "1 record loaded\n"}});
  const Finished run = run_shell(
      "mkfifo pipe; ./marigold data load SLOTS pipe --replace & exec 3>pipe; sleep 0.3; "
      "./marigold data dump SLOTS; printf 'SNR,T\\n1,y\\n' >&3; exec 3>&-; wait");
  EXPECT_TRUE(run.err.starts_with(kSlots + "another process is using the file (process "))
      << run.err;
  expect({{"dump SLOTS", "SNR,T\n1,y\n"}});
}

}  // namespace
}  // namespace marigold::inner::test
