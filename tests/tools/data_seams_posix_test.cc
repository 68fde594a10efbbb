// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data with programs in the background, pipes, links, limits of files, locks of strangers
// and a terminal.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "runtime/data/access/backup_record.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/platform/process.h"
#include "tests/support/process.h"
#include "tests/tools/data_seams_support.h"

namespace marigold::inner::test {

using DataSeamsPosixTest = DataSeamsTest;

// A shell command that runs until the end of the object's life.
class Background {
 public:
  explicit Background(const std::string& command) : process_(fork()) {
    if (process_ != 0) return;
    setpgid(0, 0);
    const int nothing = open("/dev/null", O_RDWR);
    for (int stream = 0; stream < 3; ++stream)
      dup2(nothing, stream);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  ~Background() {
    setpgid(process_, process_);
    kill(-process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;
  [[nodiscard]] pid_t process() const { return process_; }

 private:
  pid_t process_;
};

// The load holds the place while lines arrive; other processes find a file in use.
TEST_F(DataSeamsPosixTest, AMissingFileIsHeldWhileItsLinesAreRead) {
  struct Row {
    const char* file;
    const char* header;
    const char* line;
    const char* dumped;
  };
  for (const Row& row : {Row{"BOX", "NUMBER", "7", "7"}, Row{"SLOTS", "SNR,T", "7,a", "7,a"}}) {
    const std::string file = row.file;
    run_shell("rm -rf data lines; mkfifo lines");
    // The pipe holds back two lines until the other load has been refused.
    const std::string script = "./marigold data load " + file +
                               " lines 2>load.err & "
                               "exec 3>lines; echo '" +
                               row.header +
                               "' >&3; "
                               "until ls data/*/" +
                               file +
                               "* >/dev/null 2>&1; do :; done; "
                               "./marigold data load " +
                               file + " " + (file == "BOX" ? "four.csv" : "slots.csv") +
                               " 2>other.err; echo other $?; echo '" + row.line +
                               "' >&3; exec 3>&-; wait; "
                               "./marigold data dump " +
                               file + " | tail -n +2 | cut -d, -f1-2";
    const std::string out = (write_file("script", script), run_shell("timeout 20 sh script")).out;
    EXPECT_NE(out.find("other 2\n"), std::string::npos) << out;
    EXPECT_NE(read_file("other.err").find("another process is using the file"), std::string::npos)
        << read_file("other.err");
    EXPECT_NE(out.find(std::string("\n") + row.dumped), std::string::npos) << out;
    EXPECT_NE(out.find("1 record loaded"), std::string::npos) << out;
  }
  // A failed load leaves the place as it was.
  expect({{"load BOX nosuch.csv", "", "nosuch.csv: No such file or directory\n", 2}});
  run_shell("rm -rf data; echo NUMBER > bad.csv; echo x >> bad.csv");
  EXPECT_EQ(run_shell("./marigold data load BOX bad.csv").status, 1);
  EXPECT_EQ(run_shell("find data -type f").out, "");
}

// A load replaces the file while a program is between opening and locking: the program's writes
// must reach the file that has the name.
TEST_F(DataSeamsPosixTest, AProgramLocksTheFileThatHasTheName) {
  know_the_files();
  for (const char* name : {"BOX", "SLOTS"}) {
    const bool keyed = name == "BOX"s;
    const std::string lines = keyed ? "three.csv" : "slots.csv";
    run_shell(
        "rm -rf data; echo NUMBER > none.csv; echo SNR > none_slots.csv; ./marigold data load "s +
        name + (keyed ? " none.csv" : " none_slots.csv"));
    // Loads of no lines replace an empty file again and again, but not without end, in case the
    // test is killed.
    const std::string loop = "for i in $(seq 20000); do ./marigold data load "s + name +
                             (keyed ? " none.csv" : " none_slots.csv") + "; done";
    const Background loads(loop);
    DataFile& file = data_file(name);
    bool kept = true;
    for (int round = 0; round < 1000 && kept; ++round) {
      if (data_open(file, LockWait::kTell) != kDataDone) continue;
      data_put_long(file, keyed ? "NUMBER" : "SNR", 1);
      EXPECT_EQ(data_write(file), kDataDone);
      data_close(file);
      while (data_open(file, LockWait::kTell) != kDataDone) {
      }
      data_put_long(file, keyed ? "NUMBER" : "SNR", 1);
      kept = data_exists(file, 1) == kDataDone;
      EXPECT_TRUE(kept) << name << ": lost in round " << round;
      data_delete(file);
      data_close(file);
    }
  }
}

// A link or a text in place of the index is replaced, not written into.
TEST_F(DataSeamsPosixTest, ARebuildReplacesWhatIsNoIndex) {
  load_three();
  run_shell(
      "seq 100000 > text; cp text copy; chmod 600 data/1/BOX.dat; rm data/1/BOX.idx; ln -s ../../text data/1/BOX.idx");
  expect({{"rebuild BOX", kLoaded + "3 records\n"},
          {"check BOX", kLoaded + "3 records, no damage\n"}});
  EXPECT_EQ(run_shell("cmp text copy; test -h data/1/BOX.idx").status, 1);
  EXPECT_EQ(run_shell("stat -c %a data/1/BOX.idx").out, "600\n");
}

// A failed load on a full disk removes the records that it has written and returns their space.
TEST_F(DataSeamsPosixTest, AFailedLoadGivesTheSpaceBack) {
  load_three();
  write_file("big.csv", box_numbers(10, 19999));
  run_shell("(ulimit -f 800; ./marigold data load BOX big.csv) 2>&1 | cat");
  expect({{"check BOX", kLoaded + "3 records, no damage\n"}});
  EXPECT_EQ(std::filesystem::file_size("data/1/BOX.dat"), 4096U + 3 * 56U);
  EXPECT_LE(std::filesystem::file_size("data/1/BOX.idx"), 100'000U);
  expect({{"load BOX big.csv", kLoaded + "19990 records loaded\n"},
          {"check BOX", kLoaded + "19993 records, no damage\n"}});
}

// A process that may read a file can lock it, without a lock record and for any time.
TEST_F(DataSeamsPosixTest, StrangersWhoHoldLocksAreNamed) {
  load_three();
  write_file("data/1/lock.$$$", "");
  const Background stranger(
      "exec perl -e 'my $lock = pack(q(s s x4 q q l x4), 0, 0, 1 << 62, 1, 0); for (@ARGV) {"
      "open($f{$_}, q(<), $_) or die; fcntl($f{$_}, 37, $lock) or die } "
      "open(F, q(>), q(ready)); sleep' 'data/1/lock.$$$' data/1/BOX.idx");
  for (int i = 0; i < 5000 && !std::filesystem::exists("ready"); ++i)
    sleep_us(1000);
  const std::string number = std::to_string(stranger.process());
  EXPECT_EQ(run_shell("./marigold data locks 1").out,
            "process " + number + " on " + host_name() + ", shared\n");
  expect({{"load BOX four.csv", "",
           kLoaded + "another process is using the file (process " + number + ")\n", 2}});
}

TEST_F(DataSeamsPosixTest, BytesFromFilesDoNothingToATerminal) {
  write_file("hostile.csv", "NUMBER,NAME[1]\n1,\x1B[2J\n");
  write_file("bad.csv", "NUMBER\n\x1B[2J\n");
  EXPECT_EQ(run_shell("./marigold data load BOX hostile.csv").status, 0);
  const auto on_terminal = [](const std::string& words) {
    return run_shell("script -qec './marigold data " + words + "' /dev/null </dev/null").out;
  };
  for (const char* words : {"dump BOX", "dump BOX --json", "load BOX bad.csv", "info $'\\e[2J'"}) {
    const std::string shown = on_terminal(words);
    EXPECT_EQ(shown.find('\x1B'), std::string::npos) << shown;
    EXPECT_NE(shown.find("[2J"), std::string::npos) << shown;
  }
  EXPECT_NE(run_shell("./marigold data dump BOX").out.find('\x1B'), std::string::npos);
}

TEST_F(DataSeamsPosixTest, ALinkIsNotCompacted) {
  load_three();
  run_shell("mv data/1/BOX.dat elsewhere; ln -s ../../elsewhere data/1/BOX.dat");
  expect({{"compact BOX", "", kLoaded + "is a link; name the file that it leads to with --path\n",
           2}});
}

TEST_F(DataSeamsPosixTest, TheRecordOfABackupHasTheModeOfTheData) {
  load_three();
  know_the_files();
  constexpr std::filesystem::perms kMode{0640};
  std::filesystem::permissions("data/1/BOX.dat", kMode);
  EXPECT_EQ(backup_record_write(data_file("BOX"), {.time = "2028-02-29T23:59:59Z", .place = "/b"}),
            0);
  EXPECT_EQ(std::filesystem::status("data/1/BOX.backup").permissions(), kMode);
}

// A restore must not wait at them.
TEST_F(DataSeamsPosixTest, PipesInABackupAreRefused) {
  load_three();
  EXPECT_EQ(run_shell("./marigold data backup out").status, 0);
  for (const auto& [pipe, status] : {std::pair{"1/BOX.dat", 1}, {"MANIFEST", 2}}) {
    run_shell("rm -rf bad; cp -r out bad; rm bad/"s + pipe + "; mkfifo bad/" + pipe);
    const Finished done = run_shell("timeout 60 ./marigold data restore bad");
    EXPECT_EQ(done.status, status) << pipe << done.err;
    EXPECT_NE(done.err.find(pipe + ": "s), std::string::npos) << done.err;
    EXPECT_EQ(numbers(), "1 2 3 ");
  }
}

}  // namespace marigold::inner::test
