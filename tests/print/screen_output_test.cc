// SPDX-License-Identifier: GPL-3.0-or-later
// The two temporary files of a list's screen output.

#include "runtime/print/output/screen_output.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "runtime/core/user_interface.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

std::string record(const std::string& text, char flag = ' ') {
  return text + std::string(250 - text.size(), ' ') + flag + "\r\n";
}

// "<" stands for a backspace, "(" for highlight on and ")" for off.
void feed_line(std::string_view feed) {
  while (!feed.empty()) {
    std::size_t run = std::min(feed.find_first_not_of('<'), feed.size());
    if (run > 0) {
      screen_output_backspaces(run);
    } else if (feed.front() == '(' || feed.front() == ')') {
      run = 1;
      screen_output_highlight(feed.front() == '(');
    } else {
      run = std::min(feed.find_first_of("<()"), feed.size());
      screen_output_text(feed.substr(0, run));
    }
    feed.remove_prefix(run);
  }
}

struct ScreenOutputTest : testing::Test {
  ScreenOutputTest() {
    user_interface_start();
    EXPECT_EQ(screen_output_start(), 0);
  }
  ~ScreenOutputTest() override { EXPECT_EQ(screen_output_remove(), 0); }

  WorkDirectory directory;
};

TEST_F(ScreenOutputTest, LinesAreMadeOfTextBackspacesAndHighlights) {
  const std::string full(250, 'f');
  const std::string cut(249, 'f');
  const struct {
    std::string feed;
    std::string text;
    char flag = ' ';
  } cases[] = {
      {full, full},
      {full + "beyond", full},
      {"abc<<<  def ", "abcdef "},
      {"abc<<<     def", "abc  def"},
      {"ab  <<<<    x", "ab  x"},
      {"ab  <c", "ab c"},
      {"ab<<<  (  x)y", "ab\001 x\002y", 'X'},  // a highlight does not end it
      {"(bold) plain", "\001bold\002 plain", 'X'},
      {"plain)", "plain"},
      {"(a)b)", "\001a\002b", 'X'},
      {"((open", "\001\001open\002\002", 'X'},
      {"("s + full + ")", "\001"s + cut, 'X'},
      {full + "(", full},
      {"ab<<<  \001  x", "ab\001 x", 'X'},
  };
  std::string expected;
  for (const auto& [feed, text, flag] : cases) {
    feed_line(feed);
    screen_output_end_line();
    expected += record(text, flag);
  }
  EXPECT_EQ(screen_output_width(), 250);
  screen_output_end();
  EXPECT_EQ(read_file("VIDEO.TMP").substr(0, expected.size()), expected);
}

TEST_F(ScreenOutputTest, EndMarksFillTheWidth) {
  const std::string mark = "*** ANZEIGEN-ENDE ";
  const std::string four = mark + mark + mark + mark;
  const struct {
    std::size_t longest;
    std::string unfinished;
    std::string last;
  } cases[] = {
      {0, "", four + "*** AN"},
      {90, "", four + mark},
      {91, "", four + mark + "*"},
      {0, "the end ", "the end " + mark + mark + mark + "*** ANZEIGEN-END"},
      {0, std::string(80, 'w'), std::string(80, 'w')},
  };
  for (const auto& [longest, unfinished, last] : cases) {
    ASSERT_EQ(screen_output_start(), 0);
    EXPECT_EQ(screen_output_width(), 78);
    screen_output_text(std::string(longest, 'w'));
    screen_output_end_line();
    screen_output_text(unfinished);
    screen_output_end();
    EXPECT_EQ(read_file("VIDEO.TMP"), record(std::string(longest, 'w')) + record(last));
  }
}

TEST_F(ScreenOutputTest, FilesThatCannotBeMadeAreTold) {
  screen_output_remove();
  std::filesystem::create_directories("VIDEO.TMP");
  EXPECT_EQ(errors_of([] { EXPECT_EQ(screen_output_start(), EISDIR); }),
            "VIDEO.TMP: Is a directory\n");
  screen_output_text("nothing");
  screen_output_bytes("nothing");
  screen_output_end_line();
  screen_output_end();
  EXPECT_FALSE(std::filesystem::exists("DRUCK.TMP"));
  std::filesystem::remove_all("VIDEO.TMP");
}

// Two programs print to the screen in one directory; the second one uses another directory.
TEST_F(ScreenOutputTest, TheSecondHasADirectoryOfItsOwn) {
  std::filesystem::create_directory("tmp");
  setenv("TMPDIR", "tmp", 1);
  for (const std::string held : {"DRUCK.TMP", "VIDEO.TMP"}) {
    screen_output_remove();
    RecordFile first;
    ASSERT_EQ(first.create(held.c_str()), 0);
    ASSERT_EQ(first.lock(kFirstLock, 1, true), 0);
    first.write(0, "the first one's"s);
    ASSERT_EQ(screen_output_start(), 0);
    const std::string own = screen_output_directory();
    ASSERT_TRUE(own.starts_with("tmp/")) << own;
    screen_output_bytes("printed");
    screen_output_text("shown");
    screen_output_end_line();
    screen_output_end();
    EXPECT_EQ(read_file(own + "/DRUCK.TMP"), "printed");
    EXPECT_EQ(read_file(own + "/VIDEO.TMP").substr(0, 253), record("shown"));
    EXPECT_TRUE(is_private(own));
    EXPECT_EQ(screen_output_remove(), 0);
    EXPECT_TRUE(std::filesystem::is_empty("tmp"));
    EXPECT_EQ(read_file(held), "the first one's");
    // The first program, killed, has left its file.
    first.close();
    EXPECT_EQ(screen_output_start(), 0);
    EXPECT_EQ(screen_output_directory(), "");
    for (const char* file : {"DRUCK.TMP", "VIDEO.TMP"})
      EXPECT_TRUE(is_private(file)) << file;
    EXPECT_EQ(read_file(held), "");
  }
  screen_output_remove();
  RecordFile first;
  first.create("VIDEO.TMP");
  first.lock(kFirstLock, 1, true);
  setenv("TMPDIR", "nowhere", 1);
  const std::string told = errors_of([] { EXPECT_EQ(screen_output_start(), ENOENT); });
  EXPECT_TRUE(told.starts_with("VIDEO.TMP belongs to another program or user, and nowhere/"))
      << told;
  EXPECT_TRUE(told.ends_with(": No such file or directory\n")) << told;
  unsetenv("TMPDIR");
}

}  // namespace
}  // namespace marigold::inner::test
