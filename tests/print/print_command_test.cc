// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "runtime/core/user_interface.h"
#include "tests/print/command_support.h"
#include "tests/print/list_support.h"

namespace marigold::inner::test {
namespace {

std::string repeated(const std::string& text, int times) {
  std::string all;
  while (times-- > 0)
    all += text;
  return all;
}

using PrintCommandTest = CommandTest;

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
  place_child("dr", [](const std::string& first, const std::string& second) {
    write_file("name", first + " " + second + "\n");
    keep_input("out");
    std::_Exit(3);
  });
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
  place_child("dr", [](const std::string&) { std::_Exit(4); });
  EXPECT_EQ(open_printer("quick"), 0);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(write(std::string(10000, 'x') + "\n"), 0);  // more than a pipe holds
  EXPECT_EQ(close_printer(), 4);
  EXPECT_EQ(open_printer("#gone"), ENOENT);
  EXPECT_FALSE(printer_is_open());
  EXPECT_EQ(close_printer(), 0);
}

TEST_F(PrintCommandTest, WhileWindowsAreShownTheCommandsMessagesAreTold) {
  static std::string told;
  user_interface().message = [](const char* text, const char*) { told += "message:"s + text; };
  user_interface().warning = [](const char* text) { told += "warning:"s + text; };
  open_subsystems().window_system = true;
  const auto complain = [](const std::string& name) {
    keep_input("out");
    std::fputs(name == "one" ? "no\tpaper\n" : "one\ntwo\n", stderr);
    std::fflush(stderr);
    std::_Exit(3);
  };
  place_child("dr", complain);
  for (const auto& [name, expected] :
       {std::pair{"one", "message:no paper"}, {"two", "warning:one\ntwo"}}) {
    told.clear();
    EXPECT_EQ(open_printer(name), 0);
    EXPECT_EQ(write(std::string(3'000'000, 'x')), 0);
    EXPECT_EQ(close_printer(), 3);
    EXPECT_EQ(told, expected);
  }
  EXPECT_EQ(read_file("out").size(), 6'000'000U);
  open_subsystems().window_system = false;
  user_interface_start();
}

TEST_F(PrintCommandTest, TheFaxStandsInFrontOfThePrinter) {
  place_child("dr", [](const std::string& file) { keep_input(file); });
  open_printer("printed");
  EXPECT_EQ(open_fax(), ENOENT);
  EXPECT_EQ(write("lost"), 1);
  close_fax();
  EXPECT_EQ(write("before "), 0);
  const std::string fax_root = "a fax; exit 3";
  std::filesystem::create_directories(fax_root + "/bin");
  place_child(fax_root + "/bin/comfaxpr", [](const std::string& option, const std::string& value) {
    write_file("faxed", option + " " + value + "\n");
    keep_input("faxed");
  });
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

TEST_F(ListOutputTest, AListThatGoesNowhereIsAnError) {
  search_here();
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
  place_child("dr", [](const std::string&) {});
  ASSERT_EQ(open_printer("out"), 0);
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

TEST_F(ListOutputTest, TheFirstListReadsTheControlStringsOfThePrinter) {
  search_here();
  place_child("dr", [](const std::string& file) { keep_input(file); });
  using enum BlockCode;
  write_list({.page_length = 2, .last_line = 2, .output = "name"},
             {{"B",
               {only(kPitch, 17), words("a"), only(kBoldOn), words("b"), only(kLongDate),
                only(kBoldOff), words("c")}}});
  list_to_device(nullptr);
  print_defaults_reset();
  ASSERT_EQ(open_printer("out"), 0);
  EXPECT_DEATH(list_open("L"), "DEFAULT.DAT: No such file or directory\n.*error 60\n");
  EXPECT_DEATH(channel_open("", 4, kVisibleDevice), "error 60\n");
  write_file("DEFAULT.DAT",
             "pitch_10 = <10>\npitch_17 = <17>\nbold_on = <b>\nbold_off = </b>\n"
             "today = 24.12.2025\n");
  for (int list = 0; list < 2; ++list) {
    list_open("L");
    list_print("B");
    bool complete = false;
    EXPECT_EQ(list_close(&complete), "name");
    EXPECT_TRUE(complete);
    std::filesystem::remove("DEFAULT.DAT");  // it is read once
  }
  close_printer();
  EXPECT_EQ(read_file("out"), repeated("<10><17>a<b>b24.12.2025</b><17>c\r\n\r\n", 2));
  print_defaults_reset();
  write_file("DEFAULT.DAT", "# " + std::string(65536, 'x') + "\n");
  EXPECT_DEATH(print_defaults_load(), "DEFAULT.DAT: File too large\n.*error 60\n");
}

}  // namespace
}  // namespace marigold::inner::test
