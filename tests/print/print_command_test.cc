// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/output.h"

#include <cerrno>
#include <filesystem>

#include "runtime/core/user_interface.h"
#include "tests/print/list_support.h"
#include "tests/support/process.h"

namespace marigold::inner::test {
namespace {

std::string repeated(const std::string& text, int times) {
  std::string all;
  while (times-- > 0)
    all += text;
  return all;
}

struct PrintCommandTest : testing::Test {
  PrintCommandTest() {
    // The commands lie in the test's own directory.
    setenv("PATH", "/usr/bin:/bin:.", 1);
    unsetenv("FAXROOT");
  }
  ~PrintCommandTest() override {
    close_fax();
    close_printer();
  }
  static void write_command(const std::string& path, const std::string& script) {
    write_file(path, "#!/bin/sh\n" + script);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
  static int write(std::string_view bytes) {
    int error_flag = 7;
    write_printer(bytes, error_flag);
    return error_flag;
  }

  const WorkDirectory directory;
};

TEST_F(PrintCommandTest, NamesAreCommandLines) {
  const std::string long_name(300, 'x');
  const std::pair<std::string, std::string> rows[] = {
      {"#laser", "lp -dlaser"},
      {"laser 2", "dr laser 2"},
      {"", "dr "},
      {"#", "lp -d"},
      {"#" + long_name, "lp -d" + std::string(245, 'x')},
      {long_name, "dr " + std::string(247, 'x')}};
  for (const auto& [name, command] : rows)
    EXPECT_EQ(printer_command(name), command);
}

TEST_F(PrintCommandTest, BytesReachTheCommandUntilItIsClosed) {
  write_command("dr", "echo \"$@\" >name; cat >out; exit 3\n");
  EXPECT_EQ(write("nobody"), 1);
  EXPECT_EQ(open_printer("a printer"), 0);
  EXPECT_EQ(write("one\r\n"s), 0);
  EXPECT_EQ(write("\0two"s), 0);
  EXPECT_EQ(close_printer(), 3);
  EXPECT_EQ(read_file("name"), "a printer\n");
  EXPECT_EQ(read_file("out"), "one\r\n\0two"s);
  EXPECT_EQ(write("nobody"), 1);
  EXPECT_EQ(close_printer(), 0);
}

TEST_F(PrintCommandTest, CommandsThatEndEarlyOrAreNotThereHarmNobody) {
  // The script, and the status of closing.
  const std::pair<std::string, int> rows[] = {
      {"exit 4\n", 4}, {"read line; exec <&-; exit 5\n", 5}, {"kill -PIPE $$\n", 128 + 13}};
  for (const auto& [script, status] : rows) {
    write_command("dr", script);
    EXPECT_EQ(open_printer(""), 0);
    for (int i = 0; i < 100; ++i)
      EXPECT_EQ(write(std::string(10000, 'x') + "\n"), 0);  // more than a pipe holds
    EXPECT_EQ(close_printer(), status);
  }
  std::filesystem::permissions("dr", std::filesystem::perms::owner_read);
  EXPECT_EQ(open_printer("gone"), ENOENT);
  std::filesystem::remove("dr");
  EXPECT_EQ(open_printer("gone"), ENOENT);
  EXPECT_FALSE(printer_is_open());
  EXPECT_EQ(close_printer(), 0);
}

// The command writes nothing to the screen; more than a pipe holds blocks nobody, and neither does
// a process that the command leaves running.
TEST_F(PrintCommandTest, WhileWindowsAreShownTheCommandsMessagesAreTold) {
  static std::string told;
  user_interface().message = [](const char* text, const char*) { told += "message:"s + text; };
  user_interface().warning = [](const char* text) { told += "warning:"s + text; };
  std::string first_lines;
  while (first_lines.size() < 4096)
    first_lines += std::string(63, 'x') + "\n";
  const std::tuple<std::string, int, std::string> rows[] = {
      {"cat >out", 0, ""},
      {"echo; cat >out", 0, ""},
      {"cat >out; echo 'no\tpaper\r' >&2; exit 3", 3, "message:no paper"},
      {"echo one; cat >out; echo two >&2", 0, "warning:one\ntwo"},
      {"yes " + std::string(63, 'x') + " | head -c 1000000 >&2; cat >out", 0,
       "warning:" + first_lines.substr(0, first_lines.size() - 1)},
      {"cat >out; echo now; (sleep 30; echo later >&2) & exit 2", 2, "message:now"},
      {"cat >out; printf 'Gr\\303\\274n\\342\\202\\254\\302\\247'", 0, "message:Gr\xFCn?\xA7"},
      {"exec >&- 2>&-; cat >out; exit 4", 4, ""}};
  open_subsystems().window_system = true;
  setenv("LC_ALL", "C.UTF-8", 1);
  for (const auto& [script, status, expected] : rows) {
    told.clear();
    write_command("dr", script + "\n");
    EXPECT_EQ(open_printer(""), 0);
    const std::string errors = errors_of([] {
      for (int i = 0; i < 300; ++i)
        EXPECT_EQ(write(std::string(10000, 'x')), 0);
      close_printer();
    });
    EXPECT_EQ(errors, "");
    EXPECT_EQ(told, expected) << script;
  }
  open_subsystems().window_system = false;
  unsetenv("LC_ALL");
  user_interface_start();
}

TEST_F(PrintCommandTest, TheFaxStandsInFrontOfThePrinter) {
  write_command("dr", "cat >printed\n");
  open_printer("");
  EXPECT_EQ(open_fax(), ENOENT);
  EXPECT_EQ(write("lost"), 1);
  close_fax();
  EXPECT_EQ(write("before "), 0);
  const std::string fax_root = "a fax; exit 3";
  std::filesystem::create_directories(fax_root + "/bin");
  write_command(fax_root + "/bin/comfaxpr", "echo \"$@\" >faxed; cat >>faxed\n");
  setenv("FAXROOT", ("./" + repeated("./", 120) + fax_root).c_str(), 1);
  EXPECT_EQ(open_fax(), ENAMETOOLONG);  // does not end the program
  close_fax();
  setenv("FAXROOT", fax_root.c_str(), 1);
  EXPECT_EQ(open_fax(), 0);
  EXPECT_EQ(open_fax(), 0);  // again: the printer still waits
  EXPECT_EQ(write("to the fax"), 0);
  EXPECT_EQ(close_fax(), 0);
  EXPECT_EQ(write("after"), 0);
  EXPECT_EQ(close_printer(), 0);
  EXPECT_EQ(read_file("faxed"), "-charset german_germany.ascii\nto the fax");
  EXPECT_EQ(read_file("printed"), "before after");
}

using ListOutputTest = PrintTest;

TEST_F(ListOutputTest, ThePrinterGetsItsOwnControlStrings) {
  setenv("PATH", "/usr/bin:/bin:.", 1);
  write_file("dr", "#!/bin/sh\ncat >out\n");
  std::filesystem::permissions("dr", std::filesystem::perms::owner_all);
  print_defaults_set(
      {.pitch_10 = "<10>", .pitch_17 = "<17>", .bold_on = "<b>", .bold_off = "</b>"});
  list_to_device(nullptr);
  using enum BlockCode;
  write_list(
      {.page_length = 2, .last_line = 2, .output = "name"},
      {{"B",
        {only(kPitch, 17), words("a"), only(kBoldOn), words("b"), only(kBoldOff), words("c")}}});
  bool complete = false;
  ASSERT_EQ(open_printer(""), 0);
  list_open("L");
  list_print("B");
  EXPECT_EQ(list_close(&complete), "name");
  EXPECT_TRUE(complete);
  EXPECT_EQ(close_printer(), 0);
  EXPECT_EQ(read_file("out"), "<10><17>a<b>b</b><17>c\r\n\r\n");
}

TEST_F(ListOutputTest, AListThatGoesNowhereIsAnError) {
  setenv("PATH", "/usr/bin:/bin:.", 1);
  write_list({.page_length = 2, .last_line = 2}, {{"B", {words("b")}}});
  list_to_device(nullptr);
  bool complete = true;
  EXPECT_EQ(list_open("L"), kListNoPrinter);
  list_print("B");
  EXPECT_TRUE(list_check_abort());
  list_close(&complete);
  EXPECT_FALSE(complete);
  EXPECT_EQ(told, "LP1:L:Drucker nicht bereit ! \n");
  told.clear();
  // A command that ends before it has read everything.
  write_file("dr", "#!/bin/sh\n");
  std::filesystem::permissions("dr", std::filesystem::perms::owner_all);
  ASSERT_EQ(open_printer(""), 0);
  complete = true;
  for (int tries = 0; tries < 1000 && complete; ++tries) {
    EXPECT_EQ(list_open("L"), kListDone);
    list_print("B");
    list_close(&complete);
    sleep_us(10'000);
  }
  EXPECT_FALSE(complete);
  EXPECT_EQ(close_printer(), 0);
}

TEST_F(ListOutputTest, TheFirstListReadsTheDefaults) {
  setenv("PATH", "/usr/bin:/bin:.", 1);
  write_file("dr", "#!/bin/sh\ncat >out\n");
  std::filesystem::permissions("dr", std::filesystem::perms::owner_all);
  write_list({.page_length = 2, .last_line = 2},
             {{"B", {only(BlockCode::kBoldOn), words("b"), {.code = BlockCode::kLongDate}}}});
  list_to_device(nullptr);
  print_defaults_reset();
  ASSERT_EQ(open_printer(""), 0);
  EXPECT_DEATH(list_open("L"), "DEFAULT.DAT: No such file or directory\n.*error 60\n");
  EXPECT_DEATH(channel_open("", 4, kVisibleDevice), "error 60\n");
  write_file("DEFAULT.DAT", "pitch_10 = <10>\nbold_on = <b>\ntoday = 24.12.2025\n");
  for (int list = 0; list < 2; ++list) {
    list_open("L");
    list_print("B");
    list_close();
    std::filesystem::remove("DEFAULT.DAT");  // it is read once
  }
  close_printer();
  EXPECT_EQ(read_file("out"), repeated("<10><b>b24.12.2025\r\n\r\n", 2));
  print_defaults_reset();
  write_file("DEFAULT.DAT", "# " + std::string(65536, 'x') + "\n");
  EXPECT_DEATH(print_defaults_load(), "DEFAULT.DAT: File too large\n.*error 60\n");
}

}  // namespace
}  // namespace marigold::inner::test
