// SPDX-License-Identifier: GPL-3.0-or-later
#include "command/format.h"

#include <algorithm>

#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

struct Row {
  std::string format;
  std::vector<std::string> arguments;
  std::string output;
  std::string messages = "";
  std::size_t arguments_left = 0;
  Formatted result = Formatted::kWhole;
};

void expect_formatted(std::initializer_list<Row> rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.format));
    std::vector<std::string> words = row.arguments;
    std::vector<char*> pointers(words.size());
    std::ranges::transform(words, pointers.begin(), [](std::string& word) { return word.data(); });
    Arguments arguments = pointers;
    StandardOutput output;
    Formatted result{};
    testing::internal::CaptureStdout();
    const std::string messages = errors_of([&] {
      result = format_text(row.format, arguments, output);
      output.flush();
    });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output);
    EXPECT_EQ(messages, row.messages);
    EXPECT_EQ(arguments.size(), row.arguments_left);
    EXPECT_EQ(result, row.result);
  }
}

const std::string kMissing = "missing argument\n";
const std::string kNegativeBoth = "negative field width\nnegative precision\n";
const std::string kNoDigits = "missing hexadecimal number in escape";

// clang-format off
TEST(FormatTest, DirectivesFormatTheirArgument) {
  expect_formatted({
      {"plain \xE4 %%%%", {"unused"}, "plain \xE4 %%", "", 1},
      {"Total: %5.2f EUR|%-8s|", {"3.14159", "ab"}, "Total:  3.14 EUR|ab      |"},
      {"%s%s|%.2s|%5.1s|", {"%d", "\\n", "abc", "xyz"}, "%d\\n|ab|    x|"},  // an argument is never a format
      {"%d %i %d %x %d", {" 12ab", "-7", "abc", "0x10", ""}, "12 -7 0 0 0"},
      {"%x %X %o %u %d %d", {"255", "255", "8", "-1", "99999999999", "-99999999999999999999999"},
       "ff FF 10 4294967295 2147483647 -2147483648"},
      {"%05d|%+d|% d|%#x|%#o", {"42", "42", "42", "255", "8"}, "00042|+42| 42|0xff|010"},
      {"%5.3d|%.0d|%.d|", {"7", "0", "0"}, "  007|||"},
      {"%e %E %G %g", {"12345.678", "0.5", "0.00001", "nonsense"}, "1.234568e+04 5.000000E-01 1E-05 0"},
      {"%c%5c|%-3c|%c%b|%b", {"hello", "xy", "z", "", "a\\tb%d", ""}, "h    x|z  |\0a\tb%d|"s},
      {"%100000d|", {"1"}, std::string(99999, ' ') + "1|"},
      // Only the modifier "h" changes how much of a value is used.
      {"%hd %hu %hx", {"70000", "-1", "65537"}, "4464 65535 1"},
      {"%ld %lu %Lx %li", {"-1", "-1", "-1", "2147483648"}, "-1 4294967295 ffffffff 2147483647"},
      {"%lf %Lg %he %LG", {"1.5", "1.5", "1.5", "1.5"}, "1.500000 1.5 1.500000e+00 1.5"},
      {"%lc%ls%hc%hs%Ls", {"ab", "cd", "ef", "gh", "ij"}, "acdeghij"},
      {"%lld", {"5"}, "d", "%l: invalid directive\n"},
      {"%05s|%#s|%05c|%.3c|%#d", {"ab", "a", "x", "y", "5"}, "   ab|a|    x|y|5"},
  });
}

TEST(FormatTest, StarsTakeTheirNumbersFromTheArguments) {
  expect_formatted({
      {"%*d|%-*d|%.*s|", {"6", "42", "6", "42", "2", "abcdef"}, "    42|42    |ab|"},
      {"%*.*f|%*d|%.*f", {"8", "2", "3.14159", "0", "5", "0", "2.5"}, "    3.14|5|2"},
      {"%*c|%.*c|", {"5", "x", "0", "y"}, "x|y|"},  // used up, never applied
      {"%*d|%.*f|", {"-6", "42", "-1", "1.5"}, "42|1.500000|", kNegativeBoth},
      {"%*.*s|", {"-1", "-2", "abc"}, "abc|", kNegativeBoth},
      {"%*d|", {"42"}, "42|", kMissing},
      {"%*d|", {}, "0|", kMissing + kMissing},
      {"%.*s|", {"abc"}, "abc|", kMissing},
      {"%0*d", {"5"}, "d", "%*: invalid directive\n"},  // the 0 is a width; then "*" is no conversion
  });
}

TEST(FormatTest, WhatIsWrongIsReportedAndFormattingGoesOn) {
  expect_formatted({
      {"[%s%c%b][%d][%.1f]", {}, "[][0][0.0]", kMissing + kMissing + kMissing + kMissing + kMissing},
      {"100%q!", {"used", "left"}, "100!", "%q: invalid directive\n", 1},
      {"%q", {}, "", "%q: invalid directive\nmissing argument\n"},
      {"%-+5d", {"7"}, "5d", "%+: invalid directive\n"},
      {"%5%|%5b", {"7", "8"}, "|", "%%: invalid directive\n%b: invalid directive\n"},
      {"%n|%p", {"1", "2"}, "|", "%n: invalid directive\n%p: invalid directive\n"},
      {"a%", {"left"}, "a", "", 1}, {"a%-5.3l", {"left"}, "a", "", 1},
  });
}

TEST(FormatTest, EscapesWriteControlBytes) {
  expect_formatted({
      {R"(\a\b\f\n\r\t\v\\\"\q)", {}, "\a\b\f\n\r\t\v\\\"q", "\\q: invalid escape"},
      {R"(\101\%d)", {}, "101%d", "\\1: invalid escape\\%: invalid escape"},
      // The character after the digits belongs to the escape.
      {R"(\x41n|\0101n|\x41q\x41%d\x41\n)", {}, "A\n|A\n|AqA%dA\\n"},
      {R"(\x41B|\x4142|\x41c|\x141)", {}, "\x1B|\x14" "2|\x1C|A"},  // at most three digits, the low 8 bits
      {R"(\x4G\x4g|\07778\08|)", {}, "\4G\4g|\xFF" "8\0" "8|"s},
      {R"(\xG|\x)", {}, "\0G|\0"s, kNoDigits + kNoDigits},
      {"end\\", {}, "end\0"s}, {R"(\0)", {}, "\0"s},
      {R"(line1\cline2 %s)", {"left"}, "line1", "", 1, Formatted::kStopped},
      {R"(\x4zc\0101c|)", {}, "\4zcA", "", 0, Formatted::kStopped},
      {"%b%s", {"a\\cb", "left"}, "a", "", 1, Formatted::kStopped},
  });
}
// clang-format on

}  // namespace
}  // namespace marigold::inner::test
