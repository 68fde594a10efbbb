#include "runtime/texte/txt.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "tests/support/support.h"

namespace marigold {
namespace {

struct TxtTest : testing::Test {
  TxtTest() {
    setenv("LANGUAGE_SEARCHPATH", "./%l/%N;./%N", 1);
    setenv("LANGUAGE_IDENTIFIER", "english_us.8859", 1);
    txt_start();
  }
  ~TxtTest() override { txt_start(); }

  // What a call writes to standard error.
  template <typename Call>
  static std::string errors_of(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
  }
  test::WorkDirectory directory;
};

TEST_F(TxtTest, OpensAreSharedByLanguageAndName) {
  test::write_textdb("textdb", {{"A", "text a"}});
  const int first = txt_open(nullptr, "textdb");
  ASSERT_EQ(first, 0);
  EXPECT_EQ(txt_open("english_us.8859", "textdb"), first);
  EXPECT_EQ(txt_open("german", "textdb"), 1);  // the same file, another language
  txt_close(first);
  EXPECT_STREQ(txt_fetch(first, "A"), "text a");
  txt_close(first);
  EXPECT_EQ(txt_fetch(first, "A"), nullptr);
  txt_close(first);                                // one too many does nothing
  EXPECT_EQ(txt_open("french", "textdb"), first);  // the slot is free again
}

TEST_F(TxtTest, AnOpenDatabaseIsNotSearchedAgain) {
  test::write_textdb("english/textdb", {{"A", "old"}});
  const int handle = txt_open(nullptr, "textdb");
  EXPECT_EQ(test::run_shell("rm -r english").status, 0);
  EXPECT_EQ(txt_open(nullptr, "textdb"), handle);
  EXPECT_STREQ(txt_fetch(handle, "A"), "old");
}

TEST_F(TxtTest, TheEleventhDatabaseIsRefusedOnlyIfItExists) {
  test::write_textdb("db", {{"A", "a"}});
  for (int slot = 0; slot < 10; ++slot) {
    EXPECT_EQ(txt_open(std::string(1, static_cast<char>('a' + slot)).c_str(), "db"), slot);
  }
  EXPECT_EQ(errors_of([] { EXPECT_EQ(txt_open("eleventh", "db"), -1); }),
            "txt_open(): too many databases\n");
  EXPECT_EQ(errors_of([] { EXPECT_EQ(txt_open("eleventh", "missing"), -1); }), "");
  EXPECT_EQ(txt_open("a", "db"), 0);  // a share needs no slot
}

TEST_F(TxtTest, HandlesBeyondTheTableYieldNothing) {
  test::write_textdb("textdb", {{"A", "a"}});
  ASSERT_EQ(txt_open(nullptr, "textdb"), 0);
  for (const int handle : {-1, 1, 9, 10, 11, 1000}) {
    EXPECT_EQ(txt_fetch(handle, "A"), nullptr) << handle;
    txt_close(handle);
  }
  EXPECT_STREQ(txt_fetch(0, "A"), "a");
}

TEST_F(TxtTest, KeysAndTextsCarryTheirZeroByte) {
  using std::string_literals::operator""s;
  test::write_raw_textdb("textdb", {{"without", "text\0"s},
                                    {"with\0"s, "text\0"s},
                                    {"cut\0"s, "no zero byte"},
                                    {"early\0"s, "ends\0here"s},
                                    {"empty\0"s, ""},
                                    {"long\0"s, std::string(5000, 'x')}});
  const int handle = txt_open(nullptr, "textdb");
  EXPECT_EQ(txt_fetch(handle, "without"), nullptr);
  EXPECT_EQ(txt_fetch(handle, "With"), nullptr);
  EXPECT_STREQ(txt_fetch(handle, "with"), "text");
  EXPECT_STREQ(txt_fetch(handle, "cut"), "no zero byte");
  EXPECT_STREQ(txt_fetch(handle, "early"), "ends");
  EXPECT_STREQ(txt_fetch(handle, "empty"), "");
  EXPECT_EQ(txt_fetch(handle, "long"), std::string(5000, 'x'));
}

TEST_F(TxtTest, WhatCannotBeOpenedIsReportedWithItsPath) {
  const auto open_fails = [] { EXPECT_EQ(txt_open(nullptr, "textdb"), -1); };
  test::write_file("textdb.dir", "");
  test::write_file("textdb.pag", "this is no store, whatever its name says");
  EXPECT_EQ(errors_of(open_fails), "./textdb: Invalid argument\n");
  test::write_file("textdb.pag", "");
  EXPECT_EQ(errors_of(open_fails).rfind("./textdb: ", 0), 0U);
  test::run_shell("rm textdb.*");
  test::write_textdb("good", {{"A", "a"}});
  test::run_shell("mv good.pag textdb.pag");
  EXPECT_EQ(errors_of(open_fails), "./textdb: No such file or directory\n");
  EXPECT_NE(test::run_shell("ls textdb.dir").status, 0);  // reading leaves nothing behind
  test::run_shell("ln textdb.pag textdb.dir");            // as old installations have it
  EXPECT_EQ(errors_of(open_fails), "./textdb: Invalid argument\n");
  EXPECT_EQ(test::run_shell("cmp textdb.pag textdb.dir").status, 0);
}

TEST_F(TxtTest, AnElementWithoutANameIsAPathByItself) {
  test::write_textdb("some/where", {{"A", "a"}});
  setenv("LANGUAGE_SEARCHPATH", "some/where.pag", 1);
  txt_start();
  EXPECT_STREQ(txt_fetch(txt_open(nullptr, "textdb"), "A"), "a");
  test::write_file("x", "");
  setenv("LANGUAGE_SEARCHPATH", "x", 1);
  txt_start();
  EXPECT_EQ(errors_of([] { EXPECT_EQ(txt_open(nullptr, "textdb"), -1); }).rfind("No such file", 0),
            0U);
}

TEST_F(TxtTest, ADamagedStoreEndsTheProcess) {
  test::Records records;
  for (int i = 0; i < 300; ++i)
    records.emplace_back("KEY" + std::to_string(i), std::string(100, 'x'));
  test::write_textdb("textdb", records);
  std::string bytes = test::read_file("textdb.pag");
  test::write_file("textdb.pag", bytes.substr(0, 10000));
  EXPECT_EXIT(
      {
        const int handle = txt_open(nullptr, "textdb");
        for (const auto& [key, text] : records)
          txt_fetch(handle, key.c_str());
      },
      testing::ExitedWithCode(255), "^gdbm fatal: .+\\.\n$");
}

}  // namespace
}  // namespace marigold
