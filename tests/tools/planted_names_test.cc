// SPDX-License-Identifier: GPL-3.0-or-later
// Names at which the runtime makes files, planted by a user who may write in the directory: the
// file of another user that a link leads to must stay as it is, and no run may wait for a pipe.

#include "tests/tools/data_support.h"

namespace marigold::inner::test {
namespace {

struct Work {
  const char* command;
  const char* prepare;
  std::vector<const char*> names;  // files that it makes, in the end or for a while
};

const std::vector<Work> kWorks = {
    {"data load BOX three.csv", "true", {"data/1/BOX.dat", "data/1/BOX.idx", "data/1/BOX.ver"}},
    {"data load SLOTS slots.csv", "true", {"data/2/SLOTS", "data/2/SLOTS.ver"}},
    {"data dump BOX -o out.csv", "./marigold data load BOX three.csv", {"out.csv"}},
    {"data rebuild BOX",
     "./marigold data load BOX three.csv; rm data/1/BOX.idx",
     {"data/1/BOX.idx", "data/1/BOX.damaged.dat"}},
    {"data recover BOX",
     "./marigold data load BOX three.csv; dd if=/dev/zero of=data/1/BOX.dat bs=4096 count=1 "
     "conv=notrunc status=none",
     {"data/1/BOX.dat", "data/1/BOX.idx", "data/1/BOX.damaged.dat"}},
    {"data compact BOX",
     "./marigold data load BOX three.csv",
     {"data/1/BOX.dat", "data/1/BOX.idx"}},
    {"data convert BOX",
     "./marigold data load BOX three.csv; echo 1 > data/1/BOX.ver",
     {"data/1/PATHCONV.ver", "data/1/PATHCONV.ver.new", "data/1/BOX.converting.dat",
      "data/1/BOX.converting.idx", "data/1/BOX.converting.ver", "data/1/BOX.converting.ver.new",
      "data/1/BOX.unconverted.dat", "data/1/BOX.unconverted.ver"}},
    {"data backup BOX out", "./marigold data load BOX three.csv", {"out", "data/1/BOX.backup"}},
    {"data backup BOX --archive out", "./marigold data load BOX three.csv", {"out"}},
    {"data restore out",
     "./marigold data load BOX three.csv; ./marigold data backup BOX out",
     {"data/1/BOX.dat", "data/1/BOX.idx", "data/1/BOX.ver", "data/1/BOX.dat.unrestored",
      "data/1/BOX.idx.unrestored", "data/1/RESTORE.journal"}},
    {"lists compile short.list -o print",
     "true",
     {"print/LISTEN.new.dat", "print/LISTEN.new.idx", "print/LISTEN.new.ver",
      "print/LISTEN.new.ver.new", "print/DRUCK.BIN.new", "print/LISTEN.dat", "print/LISTEN.ver",
      "print/DRUCK.BIN", "print/LISTEN.lock", "print/LISTEN.commit", "print/LISTEN.commit.new"}},
    {"texts build good.po -o db/textdb", "true", {"db/textdb.pag", "db/textdb.dir"}},
};

constexpr const char* kPipe = "mkfifo";
constexpr const char* kPlants[] = {
    "ln -s \"$top/victim\"",
    "ln -s \"$top/nowhere\"",
    "ln \"$top/victim\"",
    kPipe,
};

const std::string kVictim = "600 1 precious\n";

}  // namespace

struct PlantedNamesTest : DataToolTest {
  PlantedNamesTest() {
    write_file("three.csv", "NUMBER\n1\n2\n3\n");
    write_file("slots.csv", "SNR,T\n1,x\n");
    write_file("good.po",
               "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n"
               "msgid \"GREET\"\nmsgstr \"Hello\"\n");
    write_file("short.list", "list SHORT\n  PL 72\nheader TOP\n|text\n");
    write_file("definitions/FILEVER.DES", "BOX 1 2 0\nEND.\n");
    write_file("definitions/PATHVER.DES", "PATH 1 2\nEND.\n");
    run_shell("sed 's/VERSION 2/VERSION 1/' definitions/FILEBOX.DES > definitions/FILEBOX_1.DES");
  }

  // Plants a link, pipe or directory at the name after the preparation, then does the work.
  static Finished run(const Work& work, const char* plant, const char* name) {
    const std::string path(name);
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash);
    run_shell(
        "top=$PWD; rm -rf data print db out out.csv victim nowhere; echo precious > victim;"
        "chmod 600 victim; mkdir -p " +
        directory + "; (" + work.prepare + "); cd " + directory + " && rm -f " +
        path.substr(slash + 1) + " && " + plant + " " + path.substr(slash + 1));
    return run_shell(std::string("timeout 20 ./marigold ") + work.command);
  }
};

TEST_F(PlantedNamesTest, LeadNowhereAndNobodyWaits) {
  for (const Work& work : kWorks) {
    for (const char* name : work.names) {
      for (const char* plant : kPlants) {
        // The tool waits for a pipe that the user names; Ctrl-C ends the wait.
        if (name == "out.csv"s && plant == kPipe) continue;
        const std::string what = std::string(work.command) + ": " + plant + " " + name;
        const Finished done = run(work, plant, name);
        EXPECT_LE(done.status, 2) << what << "\n" << done.err;
        // The runtime must not remove a second name that was put aside or refused.
        run_shell("find data print db out out.csv -samefile victim -delete");
        EXPECT_EQ(run_shell("echo $(stat -c '%a %h' victim) $(cat victim)").out, kVictim) << what;
        EXPECT_FALSE(std::filesystem::exists("nowhere")) << what;
        EXPECT_EQ(run_shell("find . -name '.*.*'").out, "") << what;
      }
    }
  }
}

}  // namespace marigold::inner::test
