// SPDX-License-Identifier: GPL-3.0-or-later
// The command with devices, pipes, closed streams and a terminal.

#include "tests/command/scrivel_support.h"

namespace marigold::inner::test {

using ScrivelPosixTest = ScrivelTest;

TEST_F(ScrivelPosixTest, LostOutputIsNeverSilent) {
  write_textdb(kTexts, {{"GREET", "Hello %s"}, {"A+", "0"}, {"STOP", "now\\c"}});
  const std::string lost = "./scrivel: standard output: ";
  expect({
      {"GREET Anna >/dev/full", "", lost + "No space left on device\n", 1},
      {"A+ >/dev/full", "", lost + "No space left on device\n", 1},
      {"STOP >/dev/full", "", lost + "No space left on device\n", 1},
      {"GREET Anna >&-", "", lost + "Bad file descriptor\n", 1},
      {"GREET Anna 2>&-", "Hello Anna\n"},
  });
  EXPECT_EQ(run_shell("{ sleep 0.2; ./scrivel KEY; echo \"status $?\" >&2; } | true").err,
            lost + "Broken pipe\nstatus 1\n");
}

// A text may hold escape sequences for the terminal on purpose; a message may not.
TEST_F(ScrivelPosixTest, ControlCharactersOfMessagesAreVisibleOnATerminal) {
  write_textdb(kTexts, {{"A+", "a\x1B[7m\n%\x07"}});
  const std::string messages =
      "key: A+ format: a\x1B[7m\n%\x07\n%\x07: invalid directive\nmissing argument\n"
      "key: A+1 format: A+1\nformat fehlt: A+1\n";
  expect({{"-v A+", "a\x1B[7m\n\n", messages}});
  setenv("LC_ALL", "C.UTF-8", 1);
  const auto on_terminal = [](const std::string& words) {
    return run_shell("script -qec './scrivel " + words + "' /dev/null </dev/null | tr -d '\\r'")
        .out;
  };
  EXPECT_EQ(on_terminal("-vn A+ >/dev/null"),
            "key: A+ format: a\\x1B[7m\\x0A%\\x07\n%\\x07: invalid directive\nmissing argument\n"
            "key: A+1 format: A+1\nformat fehlt: A+1\n");
  EXPECT_EQ(on_terminal("-n A+ 2>/dev/null"), "a\x1B[7m\n");
  EXPECT_TRUE(on_terminal("-\x9B").starts_with("./scrivel: unknown option, -\\x9B\n"));
}

TEST_F(ScrivelPosixTest, OutputGoesOutInOneWrite) {
  write_textdb(kTexts, {{"A+", "one"}, {"A+1", "two"}, {"A+2", "%d %d"}});
  // Each write is a datagram: the first one must have the whole output.
  const Finished run = run_shell(
      "perl -MSocket -e 'socketpair(A, B, AF_UNIX, SOCK_DGRAM, 0) or die; "
      "if (!fork) { open(STDOUT, \">&\", \\*B); exec \"./scrivel\", \"A+\", 1, 2 } "
      "wait; recv(A, $m, 1000, 0); print $m'");
  EXPECT_EQ(run.out, "one\ntwo\n1 2\n");
}

TEST_F(ScrivelPosixTest, LongTextsReachASlowReaderOfAPipeThatDoesNotBlock) {
  // Many times the capacity of a pipe, and single bytes up to a field and a text that just do not
  // fit.
  const std::string text(1'000'000, 'x');
  const std::string percents(65'536 + 65'530, '%');
  write_textdb(kTexts, {{"LONG", text + percents + percents + "%6dtail"}});
  const Finished run = run_shell(
      "perl -MFcntl -e 'fcntl(STDOUT, F_SETFL, O_WRONLY | O_NONBLOCK) or die; exec @ARGV' "
      "./scrivel LONG 7 | { sleep 0.2; cat; }");
  EXPECT_TRUE(run.out == text + percents + "     7tail\n");
  EXPECT_EQ(run.err, "");
}

#ifndef __SANITIZE_ADDRESS__
// The dynamic loader would more than double the cost of a run.
TEST_F(ScrivelPosixTest, IsLinkedWhole) {
  EXPECT_EQ(read_file("./scrivel").find("/ld-linux"), std::string::npos);
}
#endif

}  // namespace marigold::inner::test
