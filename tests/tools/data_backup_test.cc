// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data backup, restore and dump --snapshot: beside programs that write, killed, and with
// backups that other users have changed.

#include <cstdlib>
#include <set>

#include "runtime/isam/common/isam.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/process.h"
#include "runtime/platform/record_file.h"
#include "tests/data/support.h"
#include "tests/isam/support.h"
#include "tests/support/process.h"
#include "tests/tools/data_support.h"
#include "tools/backup/restore_swap.h"

namespace marigold::inner::test {
namespace {

constexpr int kBoxLength = 40;
constexpr int kShared = kIsInputOutput | kIsManualLock;

// Programs are killed at so many moments of their run.
const int kKills = is_slow_system() ? 4 : 12;
std::string seconds(int moment) {
  return (is_slow_system() ? " 0." : " 0.0") + std::to_string(moment);
}

std::string box(std::int32_t number, const std::string& name) {
  std::string record(kBoxLength, '\0');
  isst_int4(number, record.data());
  record.replace(4, name.size(), name);
  return record;
}

struct DataBackupTest : DataToolTest {
  DataBackupTest() {
    write_file("three.csv", "NUMBER,NAME[1]\n1,a\n2,b\n3,c\n");
    write_file("slots.csv", "SNR,T\n1,x\n2,y\n");
    run_shell(
        "sed 's/NAME BOX /NAME CRATE /; /NAME SLOTS/,$d' definitions/FILEBOX.DES >"
        " definitions/FILECRATE.DES; echo END. >> definitions/FILECRATE.DES");
    load("BOX", "three.csv");
    load("CRATE", "three.csv");
    load("SLOTS", "slots.csv");
    write_file("data/1/PATHCONV.ver", "7\n");
  }
  static void load(const std::string& name, const std::string& input) {
    const Finished done = run_shell("./marigold data load " + name + " " + input);
    EXPECT_EQ(done.status, 0) << done.err;
  }
  // Returns the contents of all files, as programs see them.
  static std::string state() {
    return run_shell(
               "for f in BOX CRATE SLOTS; do ./marigold data dump $f; ./marigold data check $f; "
               "done 2>&1; cat data/1/*.ver data/2/*.ver")
        .out;
  }
  // Returns the leftovers of runs.
  static std::string left() {
    return run_shell("find . -name '.*.*' -o -name '*.unrestored' -o -name 'RESTORE*'; ls scratch")
        .out;
  }
  static Finished run(const std::string& words) {
    return run_shell("timeout 60 ./marigold data " + words);
  }
};

}  // namespace

TEST_F(DataBackupTest, GivesBackWhatWasLost) {
  const std::string before = state();
  EXPECT_EQ(run("backup out").status, 0);
  EXPECT_EQ(run("backup --archive out.tar.zst").status, 0);
  for (const char* path : {"out", "out/1", "out/MANIFEST"})
    EXPECT_TRUE(is_private(path)) << path;
  const std::string noted = read_file("data/2/SLOTS.backup");
  const std::string place =
      path_join(path_of_library(std::filesystem::current_path()), "out.tar.zst");
  EXPECT_EQ(noted.substr(19), "Z " + place + "\n");
  write_file("new.csv", "NUMBER,NAME[1]\n1,z\n9,z\n");
  const char* from = "out";
  const char* other = "out.tar.zst";
  for (const char* loss : {"true", "rm data/1/BOX.idx", "rm -r data", "echo no > data/1/BOX.dat",
                           "cp data/1/CRATE.idx data/1/BOX.idx", "rm data/2/SLOTS data/1/*.ver",
                           "echo 9 > data/1/BOX.ver", "./marigold data load --replace BOX new.csv",
                           "head -c 9 data/2/SLOTS > x; mv x data/2/SLOTS", "rm -r data"}) {
    run_shell(loss);
    const std::string lost = state();
    EXPECT_EQ(run("restore --dry-run "s + from).status, 0) << loss;
    EXPECT_EQ(state(), lost);
    const Finished done = run("restore "s + from);
    EXPECT_EQ(done.status, 0) << loss << from << done.err;
    EXPECT_EQ(std::count(done.out.begin(), done.out.end(), '\n'), 3);
    EXPECT_EQ(state(), before) << loss << from;
    EXPECT_EQ(left(), "") << loss;
    std::swap(from, other);
  }
}

TEST_F(DataBackupTest, TakesWhatIsNamed) {
  expect({
      {"backup BOX NONE to", "", "NONE: no set in ./definitions defines it\n", 2},
      {"backup --class 7 to", "", "marigold: none of these files has any data\n", 2},
      {"backup --class 1 BOX to", "", "marigold: --class excludes names of files\n", 2},
      {"backup BOX three.csv", "", "three.csv: File exists\n", 2},
      {"backup BOX nowhere/to", "", "nowhere/to: No such file or directory\n", 2},
      {"backup CHAIN to", "", "CHAIN: chained files cannot be opened\n", 2},
  });
  EXPECT_FALSE(std::filesystem::exists("to"));
  std::filesystem::create_directory("to");
  EXPECT_EQ(run("backup --class 1 to").status, 0);
  EXPECT_EQ(run("backup BOX to").status, 2);
  EXPECT_EQ(run_shell("cd to; find . -type f | sort | xargs").out,
            "./1/BOX.dat ./1/BOX.idx ./1/BOX.ver ./1/CRATE.dat ./1/CRATE.idx ./1/CRATE.ver "
            "./1/PATHCONV.ver ./MANIFEST\n");
  run_shell("echo 8 > data/1/PATHCONV.ver; rm data/1/*.idx");
  EXPECT_EQ(run("restore to BOX").status, 0);
  EXPECT_EQ(read_file("data/1/PATHCONV.ver"), "8\n");  // the version is not that of BOX alone
  EXPECT_FALSE(std::filesystem::exists("data/1/CRATE.idx"));
  EXPECT_EQ(run("restore to --class 1").status, 0);
  EXPECT_EQ(read_file("data/1/PATHCONV.ver"), "7\n");
  expect({{"restore to SLOTS", "", "to: has no file SLOTS\n", 2},
          {"restore to --class 2", "", "to: has no file of class 2\n", 2}});
}

TEST_F(DataBackupTest, AChangedBackupIsRefusedAndNothingTouched) {
  EXPECT_EQ(run("backup out").status, 0);
  const std::string seal =
      "sed -i '$d' MANIFEST; echo end $(sha256sum < MANIFEST | cut -d' ' -f1) >> MANIFEST";
  const struct {
    std::string change;
    int status;
    std::string said;
  } kRows[] = {
      {"printf x | dd of=1/BOX.dat bs=1 seek=4100 conv=notrunc", 1, "1/BOX.dat: its checksum"},
      {"echo >> 1/BOX.dat", 1, "1/BOX.dat: is longer"},
      {"truncate -s -1 2/SLOTS", 1, "2/SLOTS: is shorter"},
      {"rm 1/CRATE.idx", 1, "1/CRATE.idx: No such file"},
      {"touch 1/more", 1, "1/more: is not in the manifest"},
      {"mkdir 3", 1, "3: is not in the manifest"},
      {"rm 2/SLOTS; mkdir 2/SLOTS", 1, "2/SLOTS: "},
      {"sed -i s/BOX/BOY/ MANIFEST", 2, "MANIFEST: is damaged"},
      {"sed -i '$d' MANIFEST", 2, "MANIFEST: is damaged"},
      {"rm MANIFEST", 2, "MANIFEST: No such file"},
      {"sed -i 's/backup 1/backup 2/' MANIFEST;" + seal, 2, "line 1 is of another version"},
      {"sed -i 's,part 2/SLOTS ,part 2/../SLOTS ,' MANIFEST;" + seal, 2, "MANIFEST: line"},
      {"sed -i 's,BOX,/etc/BOX,' MANIFEST;" + seal, 2, "MANIFEST: line"},
      {"sed -i '/BOX.idx/d' MANIFEST;" + seal, 2, "BOX is not whole in it"},
      {"sed -i '/BOX.idx/p' MANIFEST;" + seal, 2, "MANIFEST: line"},
      {"sed -i 's/ 40:u/ 48:u/' MANIFEST;" + seal, 2, "BOX has record length and keys 48:u"},
      {"sed -i 's/SLOTS random 1/SLOTS random 3/' MANIFEST;" + seal, 2, "SLOTS has version 3"},
      {"sed -i 's/^part 2.SLOTS [0-9]*/part 2\\/SLOTS 99999999999/' MANIFEST;" + seal, 1,
       "2/SLOTS: is shorter"},
  };
  run_shell("./marigold data load --replace BOX new.csv; rm data/1/CRATE.idx");
  const std::string before = state();
  for (const auto& row : kRows) {
    run_shell("rm -rf bad; cp -r out bad; cd bad; (" + row.change + ")");
    const Finished done = run("restore bad");
    EXPECT_EQ(done.status, row.status) << row.change << done.err;
    EXPECT_NE(done.err.find(row.said), std::string::npos) << row.change << "\n" << done.err;
    EXPECT_EQ(state(), before) << row.change;
    EXPECT_EQ(left(), "") << row.change;
  }
}

TEST_F(DataBackupTest, AnArchiveLeadsNowhereElse) {
  EXPECT_EQ(run("backup out").status, 0);
  const std::string before = state();
  write_file("victim", "precious");
  const std::string parts = "MANIFEST 1/* 2/*";
  const struct {
    std::string make;  // changes a copy of the backup
    std::string said;
  } kRows[] = {
      {"echo x > ../up; tar --zstd -Pcf ../bad " + parts + " ../up", "../up: is not in the"},
      {"tar --zstd -Pcf ../bad " + parts + " $PWD/../victim", "victim: is not in the"},
      {"ln -sf ../../victim 1/BOX.dat; tar --zstd -cf ../bad " + parts, "1/BOX.dat: is not in the"},
      {"ln -f 1/BOX.idx 1/BOX.dat; tar --zstd -cf ../bad " + parts, "1/BOX."},
      {"tar --zstd --hard-dereference -cf ../bad " + parts + " 1/BOX.dat", "comes again"},
      {"rm 2/SLOTS; tar --zstd -cf ../bad " + parts, "2/SLOTS: is missing"},
      {"truncate -s 3G 2/SLOTS; tar --zstd -Scf ../bad " + parts, "2/SLOTS: is longer"},
      {"tar --zstd -cf ../bad 1/* MANIFEST 2/*", "does not begin with the manifest"},
      {"tar --zstd -cf ../whole " + parts + "; head -c 500 ../whole > ../bad", "bad: "},
      {"tar -czf ../bad " + parts, "bad: "},
  };
  for (const auto& row : kRows) {
    run_shell("rm -rf bad in; cp -r out in; cd in; (" + row.make + ")");
    const Finished done = run("restore bad");
    EXPECT_NE(done.status, 0) << row.make;
    EXPECT_NE(done.err.find(row.said), std::string::npos) << row.make << "\n" << done.err;
    EXPECT_EQ(state(), before) << row.make;
    EXPECT_EQ(read_file("victim") + left(), "precious") << row.make;
  }
}

TEST_F(DataBackupTest, FilesInUseAreNotReplaced) {
  EXPECT_EQ(run("backup out").status, 0);
  const int held = ISOPEN("data/1/CRATE", kShared);
  const std::string said =
      "./data/1/CRATE: another process is using the file" + this_process() + "\n";
  expect({{"restore out", "", said, 2}, {"restore --dry-run out", "", said, 2}});
  EXPECT_EQ(run("restore out BOX").status, 0);
  EXPECT_EQ(ISCLOSE(held), 0);
  const int alone = ISOPEN("data/1/CRATE", kIsInputOutput | kIsExclusive);
  expect({{"backup --class 1 to", "", said, 2}});
  EXPECT_EQ(ISCLOSE(alone), 0);
  EXPECT_EQ(left(), "");
  write_file("data/1/RESTORE.journal", "half a");
  EXPECT_NE(run("check BOX").out.find("of an interrupted restore or copy"), std::string::npos);
  EXPECT_EQ(run("load --replace BOX three.csv").err.find("a restore or a copy of it"),
            std::string::npos);
  const std::string journal = std::filesystem::current_path().string() + "/data/1/RESTORE.journal";
  write_file(journal, "run\n" + journal + "\nnew BOX.idx\nend\n");
  EXPECT_NE(run("load --replace BOX three.csv").err.find("a restore or a copy of it"),
            std::string::npos);
  write_file(journal, "half a");
  EXPECT_EQ(run("restore out BOX").status + run("check BOX").status, 0);
}

// A process counts up in two files, always in the first one first.
TEST_F(DataBackupTest, AClassIsOfOneMoment) {
  const Process writer = start_child([] {
    const int first = ISOPEN("data/1/BOX", kShared);
    const int second = ISOPEN("data/1/CRATE", kShared);
    for (std::int32_t count = 10;; ++count) {
      std::string record = box(1, "");
      isst_int4(count, record.data() + 8);
      ISREPLACE(first, record.data());
      ISREPLACE(second, record.data());
    }
  });
  for (int round = 0; round < 10; ++round) {
    ASSERT_EQ(run("backup --class 1 out").status, 0);
    std::int32_t counts[2] = {};
    for (int file = 0; file < 2; ++file) {
      const int copy = ISOPEN(file == 0 ? "out/1/BOX" : "out/1/CRATE", kIsInput | kIsReadOnly);
      std::string record = box(1, "");
      EXPECT_EQ(ISREAD(copy, record.data(), kIsEqual), 0);
      counts[file] = isld_int4(record.data() + 8);
      EXPECT_EQ(ISCLOSE(copy), 0);
    }
    EXPECT_TRUE(counts[0] == counts[1] || counts[0] == counts[1] + 1 || round == 0)
        << counts[0] << " " << counts[1];
    std::filesystem::remove_all("out");
  }
}

// ---- Sets of changes

struct Boxes {
  Boxes() {
    DataToolTest::know_the_files();
    definition_set_load("CRATE");
    data_open("BOX", LockWait::kWait);
    data_open("CRATE", LockWait::kWait);
  }
  // Puts the count into the first record of both files, and does some work between the two.
  static int set(int count) {
    changes_begin();
    for (const char* name : {"BOX", "CRATE"}) {
      DataFile& file = data_file(name);
      data_put_long(file, "NUMBER", 1);
      EXPECT_EQ(data_read(file, 1, false, LockWait::kWait), 0);
      data_put_long(file, "DAY", count);
      for (int times = 0; times < 1000; ++times)
        changes_write(file);
    }
    return changes_commit(LockWait::kWait);
  }
};

TEST_F(DataBackupTest, ABackupHasASetOfChangesWholeOrNot) {
  const Process writer = start_child([] {
    const Boxes boxes;
    for (int count = 10; Boxes::set(count) == 0;)
      ++count;
  });
  std::set<std::string> seen;
  const int rounds = is_slow_system() ? 10 : 30;  // one in five falls into a set
  for (int round = 0; round < rounds; ++round) {
    const Finished done = run("backup --class 1 out");
    ASSERT_EQ(done.status, 0) << done.err;
    std::string days[2];
    for (int file = 0; file < 2; ++file)
      days[file] = run("dump --path out/1/"s + (file == 0 ? "BOX BOX" : "CRATE CRATE") +
                       " | grep ^1, | cut -d, -f6")
                       .out;
    EXPECT_EQ(days[0], days[1]);
    seen.insert(days[0]);
    std::filesystem::remove_all("out");
  }
  EXPECT_GT(seen.size(), 1U);
}

// Each command finishes the set of a program that was killed after it had recorded the set, or
// refuses to work while it cannot.
TEST_F(DataBackupTest, CommandsFinishASetOfChangesFirst) {
  ASSERT_EQ(run("backup --class 1 out").status, 0);
  EXPECT_EQ(run_child([] {
              const Boxes boxes;
              die_when_recorded("data/1");
              Boxes::set(77);
            }),
            kKilled);
  run_shell("mv data kept; echo NUMBER > none.csv; echo 'CRATE 2 3 0 END.' > FILEVER.DES");
  const std::string other_version =
      "printf '\\7' | dd of=data/1/CHANGES.journal bs=1 seek=2 conv=notrunc";
  const std::string dump =
      "dump BOX | grep -c ,000077,; ./marigold data dump CRATE | grep -c ,000077,";
  const std::string next_version =
      "cd definitions; cp FILECRATE.DES FILECRATE_2.DES; mv ../FILEVER.DES .; "
      "sed -i 's/VERSION 2/VERSION 3/' FILECRATE.DES";
  for (const auto& [command, refused] : {std::pair{"check BOX", 1},
                                         {"dump --snapshot BOX", 2},
                                         {"backup more", 2},
                                         {"compact CRATE", 2},
                                         {"load --replace CRATE none.csv", 2},
                                         {"restore out BOX CRATE", 2},
                                         {"convert CRATE", 2}}) {
    if (command == "convert CRATE"s) run_shell(next_version);
    for (const bool refuses : {true, false}) {
      run_shell("rm -rf data more; cp -r kept data; " + (refuses ? other_version : ""));
      for (const char* base : {"data/1/BOX", "data/1/CRATE"})
        pass_for_own(base);
      const Finished done = run(command);
      const std::string said = done.out + done.err;
      EXPECT_EQ(done.status, refuses ? refused : 0) << command << said;
      EXPECT_EQ(said.find("another version of the runtime") != std::string::npos, refuses) << said;
    }
    EXPECT_EQ(run(dump).out, command == "restore out BOX CRATE"s ? "0\n0\n" : "1\n1\n") << command;
  }
}

// More files than a program may have open at once.
TEST_F(DataBackupTest, AClassMayHaveManyFiles) {
  run_shell(
      "for i in $(seq 40); do for s in dat idx ver; do cp data/1/BOX.$s data/1/MANY$i.$s; done; "
      "sed \"s/NAME CRATE /NAME MANY$i /\" definitions/FILECRATE.DES > definitions/FILEMANY$i.DES; "
      "done");
  EXPECT_EQ(run("backup --class 1 out").status, 0);
  const Finished done = run("restore out");
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_EQ(run("check MANY40").status, 0);
  EXPECT_EQ(left(), "");
}

TEST_F(DataBackupTest, WithoutAWholeCopyThereIsNone) {
  std::string data = read_file("data/1/BOX.dat");
  data[data.find('a', 4096)] = 'A';
  write_file("data/1/BOX.dat", data);
  const Finished damaged = run("backup --class 1 out");
  EXPECT_EQ(damaged.status, 2);
  EXPECT_NE(damaged.err.find("./data/1/BOX: a record is damaged\n"), std::string::npos)
      << damaged.err;
  std::filesystem::resize_file("data/2/SLOTS", 64 << 20);  // so that its reading takes time
  const Process writer = start_child([] {
    RecordFile file;
    EXPECT_EQ(file.open("data/2/SLOTS", true), 0);
    std::string bytes(4, '\0');
    for (std::int32_t count = 0; file.write(8, bytes) == 0; ++count)
      isst_int4(count, bytes.data());  // so many that none soon comes again
  });
  const auto begun = [] {
    return run_shell("head -c 12 data/2/SLOTS").out.substr(8) != "\0\0\0\2"s;
  };
  while (!begun())
    sleep_us(1000);
  const Finished never_quiet = run("backup SLOTS out");
  EXPECT_EQ(never_quiet.status, 1);
  EXPECT_NE(never_quiet.err.find("./data/2/SLOTS: programs keep changing it"), std::string::npos);
  write_file("data/2/SLOTS.ver", "3\n");
  EXPECT_NE(run("backup SLOTS out").err.find("its records have version 3"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists("out"));
  EXPECT_EQ(left(), "");
}

TEST_F(DataBackupTest, StoppedOrKilledItIsWholeOrNotThere) {
  write_file("many.csv", box_numbers(10, 19'999));
  load("BOX", "many.csv");
  // A program under Wine cannot handle the signals of the system below.
  const Words signals = is_slow_system() ? Words{"KILL"} : Words{"TERM", "KILL"};
  for (const std::string command : {"backup out", "backup --archive out"}) {
    for (const std::string& signal : signals) {
      for (int step = 0; step < kKills; ++step) {
        run_shell("rm -rf out");
        const std::string before = left();  // leftovers of killed runs
        run_shell("timeout -s " + signal + seconds(4 + step * 84 / kKills) + " ./marigold data " +
                  command);
        EXPECT_TRUE(signal == "KILL" || left().size() <= before.size()) << left();
        EXPECT_TRUE(!file_exists("out") || run("restore --dry-run out").status == 0);
      }
    }
  }
  run_shell(
      "rm -rf out .out.*; d=.out.0123456789abcde; mkdir ${d}1 ${d}2 ${d}3;"
      "touch ${d}1/MANIFEST ${d}1/x; echo whole | tee ${d}2/MANIFEST ${d}3/MANIFEST;"
      "touch -d '2 minutes ago' ${d}3/MANIFEST");
  EXPECT_EQ(run("backup out").status, 0);
  // Its run may be about to rename it.
  EXPECT_EQ(run_shell("find . -name '.out.*' -type d").out, "./.out.0123456789abcde2\n");
}

// ---- Restoring, at each of its steps

namespace {

int steps_left = 0;
int fail_later(const char*) {
  return --steps_left == 0 ? EIO : 0;
}
constexpr int kUndone = 9;
constexpr int kDone = 8;
int die_later(const char* step) {
  if (--steps_left == 0) std::_Exit(step == "forget"s ? kDone : kUndone);
  return 0;
}

// A program makes the file that was missing.
int come_first(const char* step) {
  if (step == "bring in"s && !file_exists("b/Y")) write_file("b/Y", "theirs");
  return 0;
}

// Swaps two directories, each with a replaced, a new and a removed file.
void swap_files(Problems& problems) {
  RestoreSwap swap("restore");
  for (const std::string directory : {"a/", "b/"}) {
    write_file(directory + ".staged1", "new");
    write_file(directory + ".staged2", "new");
    swap.add(directory + "X.idx", directory + ".staged1");
    swap.add(directory + "Y", directory + ".staged2");
    swap.add(directory + "Z", "");
  }
  swap.run(problems);
}

void start_swap() {
  for (const std::string directory : {"a", "b"}) {
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(directory);
    write_file(directory + "/X.idx", "old");
    write_file(directory + "/Z", "old");
  }
}

std::string contents() {
  return run_shell("find a b -name '.staged*' -delete; grep -rc '' a b | sort; cat a/* b/*").out;
}

}  // namespace

TEST_F(DataBackupTest, ARestoreIsWholeOrNotAtAll) {
  Problems problems;
  start_swap();
  const std::string before = contents();
  swap_files(problems);
  EXPECT_TRUE(problems.empty());
  const std::string after = contents();
  EXPECT_EQ(after, "a/X.idx:1\na/Y:1\nb/X.idx:1\nb/Y:1\nnewnewnewnew");
  bool done = false;
  for (int step = 1; !done; ++step) {
    start_swap();
    problems.clear();
    steps_left = step;
    restore_step_hook = fail_later;
    swap_files(problems);
    restore_step_hook = nullptr;
    done = problems.empty();
    const bool restored =
        done || problems[0].find("the new files are in place") != std::string::npos;
    EXPECT_TRUE(!restored || recover_restore("b", problems));
    EXPECT_EQ(contents(), restored ? after : before) << step;
  }
  for (int step = 1, status = kUndone; status != 0; ++step) {
    start_swap();
    const auto swap_and_die = [](int dies_at) {
      steps_left = dies_at;
      restore_step_hook = die_later;
      Problems none;
      swap_files(none);
    };
    status = run_child(swap_and_die, step);
    problems.clear();
    for (const char* place : {"b", "a"})
      EXPECT_TRUE(recover_restore(place, problems)) << problems.front();
    EXPECT_EQ(contents(), status == kUndone ? before : after) << step;
  }
  start_swap();  // of a user who may write in "a" only
  const std::string top = std::filesystem::current_path().string();
  for (const std::string& line :
       {"new ../b/Z"s, "new /" + top + "/b/Z", "at " + top + "/b\nnew X"}) {
    write_file("a/RESTORE.journal", "run\n" + top + "/a/RESTORE.journal\n" + line + "\nend\n");
    EXPECT_TRUE(recover_restore("a", problems));
    EXPECT_EQ(contents(), before) << line;
  }
  start_swap();  // a file that cannot be removed keeps its journal, and the next run reports it
  const std::string journal = "run\n" + top + "/a/RESTORE.journal\nat " + top + "/a\nold Z\nend\n";
  write_file("a/RESTORE.journal", journal + "done\n");
  std::filesystem::create_directory("a/Z.unrestored");
  EXPECT_FALSE(recover_restore("a", problems));
  std::filesystem::remove("a/Z.unrestored");
  EXPECT_TRUE(file_exists("a/RESTORE.journal") && recover_restore("a", problems));
  EXPECT_EQ(contents(), before);
  start_swap();
  problems.clear();
  restore_step_hook = come_first;
  swap_files(problems);
  restore_step_hook = nullptr;
  EXPECT_EQ(problems.size(), 1U);
  EXPECT_EQ(contents(), "a/X.idx:1\na/Z:1\nb/X.idx:1\nb/Y:1\nb/Z:1\noldoldoldtheirsold");
  start_swap();
  write_file("a/X.idx.unrestored", "of somebody else");
  problems.clear();
  swap_files(problems);
  EXPECT_EQ(problems.size(), 1U);
  EXPECT_EQ(read_file("a/X.idx") + read_file("a/X.idx.unrestored"), "oldof somebody else");
}

TEST_F(DataBackupTest, AKilledRestoreIsMadeGoodByTheNext) {
  EXPECT_EQ(run("backup out").status, 0);
  const std::string before = state();
  for (int step = 0; step < kKills; ++step) {
    write_file("new.csv", "NUMBER\n" + std::to_string(100 + step) + "\n");
    load("BOX", "new.csv");
    load("CRATE", "new.csv");
    run_shell("timeout -s KILL" + seconds(20 + step * 60 / kKills) +
              " ./marigold data restore out");
    const Finished done = run("restore out");
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(state(), before);
    EXPECT_EQ(run_shell("find data -name '*.unrestored' -o -name 'RESTORE*'").out, "");
  }
}

// ---- dump --snapshot

// A process moves records from key to key. A plain dump misses some and has some twice.
TEST_F(DataBackupTest, ADumpOfOneMomentHasEachRecordOnce) {
  constexpr int kRecords = 3000;
  std::string lines = "NUMBER,NAME[1]\n";
  for (int i = 10; i < 10 + kRecords; ++i)
    lines += std::to_string(i) + ",m\n";
  write_file("many.csv", lines);
  load("BOX", "many.csv");
  std::filesystem::create_directory("scratch");
  const char* const set = std::getenv("TMPDIR");
  const std::string tmpdir = set == nullptr ? "" : set;
  setenv("TMPDIR", "scratch", 1);
  const Process writer = start_child([] {
    const int file = ISOPEN("data/1/BOX", kShared);
    for (unsigned round = 0;; ++round) {
      const std::string name(1, static_cast<char>('a' + round * 7 % 26));
      ISREPLACE(file, box(10 + static_cast<std::int32_t>(round * 1009 % kRecords), name).data());
    }
  });
  for (int round = 0; round < 20; ++round) {
    const Finished dump = run_shell("./marigold data dump BOX --snapshot --key 2 >dumped");
    EXPECT_EQ(dump.err, "");
    const Finished done = run_shell(
        "tail -n +2 dumped | cut -d, -f1,2 > all; wc -l < all; cut -d, -f1 all | sort -u | wc -l; "
        "cut -d, -f2 all | sort -c");
    EXPECT_EQ(done.out, "3003\n3003\n") << done.err;
    EXPECT_EQ(done.err, "");
  }
  run_shell("./marigold data dump BOX --snapshot --key 2 --from f --to h >dumped");
  const Finished part = run_shell("tail -n +2 dumped | cut -d, -f2 | sort -u | xargs");
  EXPECT_EQ(part.out, "f g h\n");
  EXPECT_EQ(run_shell("./marigold data dump SLOTS --snapshot").out, "SNR,T\n1,x\n2,y\n");
  for (int step = 1; step < 10 && !is_slow_system(); ++step)  // by a signal
    run_shell("timeout 0.0" + std::to_string(step) + " ./marigold data dump BOX --snapshot");
  EXPECT_EQ(left(), "");
  tmpdir.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", tmpdir.c_str(), 1);
}

}  // namespace marigold::inner::test
