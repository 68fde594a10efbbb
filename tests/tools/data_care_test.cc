// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data check in its forms, recover and compact, and the backups that info shows.

#include <nlohmann/json.hpp>

#include "runtime/data/access/backup_record.h"
#include "runtime/isam/common/isam.h"
#include "tests/tools/data_support.h"

namespace marigold::inner::test {

using nlohmann::json;

const std::string kBox = "./data/1/BOX: ";

struct DataCareTest : DataToolTest {
  // Numbers 1 to 400; the file is 4,096 bytes and 400 slots of 56 bytes.
  DataCareTest() {
    write_file("lines.csv", box_numbers(1, 400));
    write_file("slots.csv", "SNR,T\n1,x\n2,y\n");
    expect({{"load BOX lines.csv", kBox + "400 records loaded\n"},
            {"load SLOTS slots.csv", "./data/2/SLOTS: 2 records loaded\n"}});
  }
  static void delete_first(int count) {
    const int file = ISOPEN("data/1/BOX", kIsInputOutput | kIsExclusive);
    std::string record(40, '\0');
    for (int i = 1; i <= count; ++i) {
      isst_int4(i, record.data());
      EXPECT_EQ(ISDELETE(file, record.data()), 0);
    }
    EXPECT_EQ(ISCLOSE(file), 0);
  }
  static void damage(std::size_t from, std::size_t count) {
    std::string bytes = read_file("data/1/BOX.dat");
    bytes.replace(from, count, std::string(count, '\0'));
    write_file("data/1/BOX.dat", bytes);
  }
  static std::size_t size_of_pair() {
    return std::filesystem::file_size("data/1/BOX.dat") +
           std::filesystem::file_size("data/1/BOX.idx");
  }
};

TEST_F(DataCareTest, AQuickCheckSeesWhatNeedsNoWalk) {
  const std::string slots = "./data/2/SLOTS: ";
  const std::string unwalked = " without records and indexes\n";
  run_shell("cp -r data whole");
  struct Row {
    const char* damage;
    std::string finding;
    bool seen_by_opening;  // opening finds it, and check looks no further
  };
  const Row rows[] = {
      {"true", "", false},
      {"dd if=/dev/zero of=data/1/BOX.dat bs=1 count=9 conv=notrunc status=none",
       "the first copy of the data file's header is damaged", false},
      {"dd if=/dev/zero of=data/1/BOX.dat bs=1 seek=2050 count=9 conv=notrunc status=none",
       "the second copy of the data file's header is damaged", false},
      {"truncate -s 9000 data/1/BOX.dat", "is damaged, or no keyed file", true},
      {"rm data/1/BOX.idx",
       "./data/1/BOX.idx: is missing; \"marigold data rebuild BOX\" rebuilds it from ./data/1/BOX.dat",
       true},
      {"rm data/1/BOX.dat",
       "./data/1/BOX.dat: is missing, and ./data/1/BOX.idx holds no records; restore both from "
       "a backup",
       true},
      {"touch -d '2 minutes ago' data/1/.BOX.idx.0123456789abcdef",
       "left by a run that was killed: ./data/1/.BOX.idx.0123456789abcdef", false},
      {"echo 1 > data/1/BOX.ver",
       "its records have version 1, ./definitions/FILEBOX.DES defines version 2; \"marigold data "
       "convert\" converts them",
       false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.damage);
    run_shell("rm -r data; cp -r whole data; "s + row.damage);
    const std::string finding = row.finding.empty() ? "" : kBox + row.finding + "\n";
    const std::string seen = row.finding.empty() ? "no damage seen, quick look" : "quick look";
    const int status = row.finding.empty() ? 0 : 1;
    expect({{"check --quick BOX SLOTS",
             finding + kBox + seen + unwalked + slots + "no damage seen, quick look" + unwalked, "",
             status}});
    const Finished whole = run_shell("./marigold data check BOX");
    EXPECT_EQ(whole.status, status) << whole.out;
    EXPECT_TRUE(row.finding.empty() || whole.out == finding) << whole.out;
    const json document = json::parse(run_shell("./marigold data check --json BOX").out);
    const auto& looked = document["files"][0]["looked_at"];
    EXPECT_EQ(std::count(looked.begin(), looked.end(), "records"), row.seen_by_opening ? 0 : 1);
    EXPECT_EQ(document["files"][0]["findings"].size(), static_cast<std::size_t>(status));
  }
  // No record is read, but the end of a random file is.
  run_shell("rm -r data; cp -r whole data; truncate -s 19 data/2/SLOTS");
  damage(4096 + 20, 4);
  const std::string rest = slots + "it ends with 3 bytes of a record of 8\n";
  expect({{"check --quick BOX SLOTS",
           kBox + "no damage seen, quick look" + unwalked + rest + slots + "quick look" + unwalked,
           "", 1}});
  EXPECT_EQ(run_shell("./marigold data check BOX").status, 1);
}

TEST_F(DataCareTest, ACheckIsOneDocument) {
  damage(4096 + 20, 4);
  const Finished run = run_shell("./marigold data check --json BOX SLOTS NONE");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "NONE: no set in ./definitions defines it\n");
  const json document = json::parse(run.out);
  EXPECT_EQ(document["status"], 2);
  EXPECT_EQ(document["quick"], false);
  const json& files = document["files"];
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files[0]["file"], "BOX");
  EXPECT_EQ(files[0]["status"], 1);
  EXPECT_GE(files[0]["findings"].size(), 1U);
  EXPECT_EQ(files[1], json::parse(R"({"file":"SLOTS","path":"./data/2/SLOTS","looked_at":)"
                                  R"(["sizes","version","records","left_behind"],)"
                                  R"("findings":[],"status":0,"records":2})"));
  EXPECT_EQ(files[2], json::parse(R"({"file":"NONE","problems":)"
                                  R"(["NONE: no set in ./definitions defines it"],"status":2})"));
  const json quick = json::parse(run_shell("./marigold data check --json --quick BOX").out);
  EXPECT_EQ(quick, json::parse(R"({"quick":true,"files":[{"file":"BOX","path":"./data/1/BOX",)"
                               R"("looked_at":["headers","pairing","sizes","version",)"
                               R"("definition","left_behind"],"findings":[],"status":0}],)"
                               R"("status":0})"));
}

TEST_F(DataCareTest, InfoShowsTheLastBackup) {
  know_the_files();
  const DataFile& file = data_file("BOX");
  EXPECT_FALSE(backup_record_read(file));
  const auto shown = [] { return run_shell("./marigold data info BOX | grep backup").out; };
  EXPECT_EQ(shown(), "backup    never\n");
  // 29 February 2028, 23:59:59.
  const std::string time = backup_time(std::chrono::sys_seconds(std::chrono::seconds(1835481599)));
  EXPECT_EQ(backup_record_write(file, {.time = time, .place = "/backup/of today"}), 0);
  EXPECT_EQ(read_file("data/1/BOX.backup"), "2028-02-29T23:59:59Z /backup/of today\n");
  EXPECT_EQ(shown(), "backup    2028-02-29T23:59:59Z in /backup/of today\n");
  const json document = json::parse(run_shell("./marigold data info --json BOX").out);
  EXPECT_EQ(document["last_backup"], "2028-02-29T23:59:59Z");
  EXPECT_EQ(document["backup_place"], "/backup/of today");
  // Each of the two trees over 400 records has more than one page, and no page is nearly empty.
  EXPECT_EQ(document["depths"][1], 2);
  EXPECT_GT(document["fill"], 0.3);
  EXPECT_LE(document["fill"], 1.0);
  for (const std::string& line : {"yesterday"s, "2028-02-29T23:59:59"s, "2028-02-29T23:59:59Z/x"s})
    EXPECT_EQ((write_file("data/1/BOX.backup", line), shown()), "backup    never\n") << line;
}

TEST_F(DataCareTest, CompactingGivesTheSpaceBack) {
  delete_first(390);
  const std::string records = run_shell("./marigold data dump BOX").out;
  const std::size_t before = size_of_pair();
  const Finished run = run_shell("./marigold data compact BOX");
  EXPECT_EQ(run.status, 0) << run.err;
  const std::size_t data = 4096 + 10 * 56;
  EXPECT_TRUE(run.out.starts_with(kBox + "10 records, ")) << run.out;
  EXPECT_NE(run.out.find(" -> " + std::to_string(data) + " bytes, indexes "), std::string::npos)
      << run.out;
  EXPECT_LT(size_of_pair(), before);
  expect({{"dump BOX", records},
          {"check BOX", kBox + "10 records, no damage\n"},
          {"compact SLOTS", "",
           "./data/2/SLOTS: the numbers of a random file's records are their places, none of which "
           "can be given back\n",
           2},
          {"compact NONE", "", "NONE: no set in ./definitions defines it\n", 2}});
  // Compact refuses a file of which it would lose records.
  damage(4096 + 20, 4);
  expect({{"compact BOX", "",
           kBox + "is damaged, or no keyed file; \"marigold data check BOX\" reports the damage\n",
           2}});
  run_shell("rm data/1/BOX.*");
  expect({{"compact BOX", "", kBox + "No such file or directory\n", 2}});
}

TEST_F(DataCareTest, RecordsAreRecovered) {
  delete_first(10);
  const std::string records = run_shell("./marigold data dump BOX").out;
  const std::string kept = "; the damaged file stays as ./data/1/BOX.damaged.dat\n";
  run_shell("cp -r data whole");
  damage(0, 4096);
  expect({{"recover BOX", kBox + "390 records\n"},
          {"dump BOX", records},
          {"check BOX", kBox + "390 records, no damage\n"}});
  // A torn record in the last slot, and one whose sequence number is lost.
  run_shell("rm -r data; cp -r whole data");
  damage(0, 4096);
  damage(4096 + 399 * 56 + 20, 36);
  damage(4096 + 398 * 56 + 10, 6);
  expect({{"recover BOX", kBox + "388 records, 2 lost" + kept, "", 1},
          {"dump BOX --from 399", kBoxHeader},
          {"recover BOX", kBox + "388 records\n"}});
  run_shell("rm -r data; cp -r whole data; rm data/1/BOX.idx");
  damage(0, 4096);
  expect(
      {{"recover BOX",
        kBox +
            "390 records, 10 deleted without evidence that the deletion was final, none of which "
            "could be checked for damage" +
            kept,
        "", 1},
       {"dump BOX", records}});
  const std::string data = "./data/1/BOX.dat: ";
  run_shell("rm -r data; cp -r whole data; sed 's/LEN 40/LEN 48/' definitions/FILEBOX.DES > l.DES");
  expect({{"recover BOX --set ./l.DES", "",
           data + "its header is whole and has other records than ./l.DES; use the definition "
                  "with which it was written\n",
           2}});
  damage(0, 4096);
  expect({{"recover BOX --set ./l.DES", "",
           data + "nothing in it looks like a record of 48 bytes\n", 2},
          {"recover BOX", kBox + "390 records\n"},
          {"recover SLOTS", "", "./data/2/SLOTS: a random file has no header\n", 2}});
  run_shell("rm data/1/BOX.dat");
  expect({{"recover BOX", "",
           data + "is missing, and ./data/1/BOX.idx holds no records; restore both from a "
                  "backup\n",
           2}});
}

}  // namespace marigold::inner::test
