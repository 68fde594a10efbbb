// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/txt.h"

#include <cstdio>
#include <cstring>

#include "marigold/texts.h"
#include "runtime/core/settings.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

struct TxtTest : testing::Test {
  TxtTest() {
    setenv("LANGUAGE_IDENTIFIER", "english_us.8859", 1);
    search("./%l/%N;./%N");
  }
  static void search(const char* path) {
    setenv("LANGUAGE_SEARCHPATH", path, 1);
    txt_start();
  }
  static int open() { return txt_open(nullptr, "textdb"); }

  WorkDirectory directory;
};

TEST_F(TxtTest, OpensAreSharedByLanguageAndName) {
  write_textdb("textdb", {{"A", "text a"}});
  ASSERT_EQ(open(), 0);
  EXPECT_EQ(txt_open("german", "textdb"), 1);      // the same file, another language
  std::filesystem::rename("textdb.pag", "moved");  // an open one is not searched for again
  EXPECT_EQ(txt_open("english_us.8859", "textdb"), 0);
  txt_close(0);
  EXPECT_STREQ(txt_fetch(0, "A"), "text a");
  txt_close(0);
  EXPECT_EQ(txt_fetch(0, "A"), nullptr);
  txt_close(0);  // one close too many does nothing
  std::filesystem::rename("moved", "textdb.pag");
  EXPECT_EQ(txt_open("french", "textdb"), 0);  // the slot is free again
  for (const int handle : {-1, 2, 9, 10, 11, 1000}) {
    EXPECT_EQ(txt_fetch(handle, "A"), nullptr) << handle;
    txt_close(handle);
  }
}

TEST_F(TxtTest, TheEleventhDatabaseIsRefusedOnlyIfItExists) {
  write_textdb("db", {{"A", "a"}});
  for (int slot = 0; slot < 10; ++slot)
    EXPECT_EQ(txt_open(std::to_string(slot).c_str(), "db"), slot);
  const auto open_eleventh = [](const char* name) {
    return errors_of([name] { EXPECT_EQ(txt_open("eleventh", name), -1); });
  };
  EXPECT_EQ(open_eleventh("db"), "txt_open(): too many databases\n");
  EXPECT_EQ(open_eleventh("missing"), "");
  EXPECT_EQ(txt_open("0", "db"), 0);  // a shared use needs no slot
}

TEST_F(TxtTest, KeysAndTextsCarryTheirZeroByte) {
  write_textdb("textdb", {{"without", "text"}, {"cut\0"s, "cut"}, {"early\0"s, "ends\0here"s}}, "");
  const int handle = open();
  EXPECT_EQ(txt_fetch(handle, "without"), nullptr);
  EXPECT_STREQ(txt_fetch(handle, "cut"), "cut");
  EXPECT_STREQ(txt_fetch(handle, "early"), "ends");
}

TEST_F(TxtTest, WhatCannotBeOpenedIsReportedWithItsPath) {
  const auto open_fails = [] { EXPECT_EQ(open(), -1); };
  write_file("textdb.dir", "");
  write_file("textdb.pag", "no store, whatever its name says");
  EXPECT_EQ(errors_of(open_fails), "./textdb: Invalid argument\n");
  write_textdb("some/where", {{"A", "a"}});
  std::filesystem::remove("textdb.dir");
  std::filesystem::remove("textdb.pag");
  std::filesystem::copy_file("some/where.pag", "textdb.pag");
  EXPECT_EQ(errors_of(open_fails), "./textdb: No such file or directory\n");
  EXPECT_FALSE(std::filesystem::exists("textdb.dir"));            // reading leaves no file
  std::filesystem::create_hard_link("textdb.pag", "textdb.dir");  // as in old installations
  EXPECT_EQ(errors_of(open_fails), "./textdb: Invalid argument\n");
  EXPECT_EQ(read_file("textdb.pag"), read_file("textdb.dir"));
  std::filesystem::remove("textdb.dir");
  std::filesystem::create_directory("textdb.dir");
  EXPECT_EQ(errors_of(open_fails), "./textdb: Is a directory\n");
  search("some/where.pag");  // an element without "%N" is a path by itself
  EXPECT_STREQ(txt_fetch(open(), "A"), "a");
  write_file("x", "");
  search("x");  // too short to have an extension
  EXPECT_TRUE(errors_of(open_fails).starts_with("No such file"));
}

static Records many_texts() {
  Records records;
  for (int i = 0; i < 300; ++i)
    records.emplace_back("SYSDEF." + std::to_string(i), std::string(100, 'x'));
  return records;
}

static bool all_are_right() {
  bool right = true;
  for (const auto& [id, text] : many_texts()) {
    SystemText found;
    txt_sysdef_text(found, id.c_str() + std::strlen("SYSDEF."), "missing");
    right = right && found.view() == text;
  }
  return right;
}

// Reads the database while it loses its end from an offset on, or gets other bytes there. Returns
// whether a cut one was right to its end.
static bool read_while_it_changes(bool shared, char filler, std::size_t length) {
  const std::string whole = read_file("whole");
  write_file("textdb.pag", whole);
  TxtTest::search("./%l/%N;./%N");
  if (std::freopen("errors", "w", stderr) == nullptr) return false;
  txt_open_sysdef("SYSDEF");
  if (shared) TxtTest::open();
  const bool cut = filler == '\0';
  const std::size_t rest = cut ? 0 : whole.size() - length;
  write_file("textdb.pag", whole.substr(0, length) + std::string(rest, filler));
  const bool right = all_are_right();
  txt_close_sysdef();  // the last moment to find out
  return right || !cut;
}

// A failed copy, or an installation script that writes with cat: while the database is open its
// file loses its end, or gets other bytes from some offset on.
TEST_F(TxtTest, AStoreThatIsCutOrWrittenWhileItIsOpenIsNoMoreThanDamaged) {
  write_textdb("textdb", many_texts());
  std::filesystem::copy_file("textdb.pag", "whole");
  const auto size = std::filesystem::file_size("whole");
  const auto read = [](bool shares, char with, std::size_t from) {
    return read_while_it_changes(shares, with, from);
  };
  int faults = 0;
  for (const bool shared : {false, true}) {  // several users may share it
    for (const char filler : {'\0', '\x01', '\xFF'}) {
      for (std::size_t length = 0; length <= size; length += 2011) {
        const int status = run_child(read, shared, filler, length);
        EXPECT_TRUE(status == 0 || status == 255)
            << shared << int{filler} << ' ' << length << ' ' << status;
        faults += status == 255 ? 1 : 0;
      }
    }
  }
  EXPECT_GT(faults, 0);
}

// The program's text database, as far as runs of the command do not show it.
TEST_F(TxtTest, TextsOfAModuleFallBackToTheirKeys) {
  write_textdb("textdb", {{"menu.KEY", "of the menu"}, {".KEY", "of none"}});
  settings_read();
  std::string text;
  textdb_setup("menu");
  EXPECT_EQ(textdb_module_text(text, "KEY"), "of the menu");
  EXPECT_EQ(textdb_module_text(text, "OTHER"), "OTHER");
  EXPECT_EQ(textdb_filled("KEY"), "of the menu");
  for (const auto& [id, expected] : {std::pair{"%s of %s", "%s of 2"},
                                     {"no place", "no place"},
                                     {"%s", "%s"},
                                     {"%s, %s, %s", "%s, 2, %s"}})
    EXPECT_EQ(textdb_filled(id, {"%s", "2"}), expected);
  textdb_setup("");
  EXPECT_EQ(textdb_module_text(text, "KEY"), "of none");
}

}  // namespace marigold::inner::test
