// SPDX-License-Identifier: GPL-3.0-or-later
// Printer commands that are shell scripts: signals, closed streams, processes in the background.

#include <cerrno>
#include <filesystem>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "tests/print/command_support.h"

namespace marigold::inner::test {
namespace {

struct PrintCommandPosixTest : CommandTest {
  static void write_command(const std::string& path, const std::string& script) {
    write_file(path, "#!/bin/sh\n" + script);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
};

TEST_F(PrintCommandPosixTest, CommandsThatEndEarlyOrAreNotThereHarmNobody) {
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
TEST_F(PrintCommandPosixTest, WhileWindowsAreShownTheCommandsMessagesAreTold) {
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

}  // namespace
}  // namespace marigold::inner::test
