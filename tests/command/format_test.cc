#include "command/format.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace marigold {
namespace {

using std::string_literals::operator""s;

class StringOutput final : public Output {
 public:
  std::string text;

 protected:
  int deliver(std::string_view bytes) override {
    text += bytes;
    return 0;
  }
};

struct Row {
  std::string format;
  std::vector<std::string> arguments;
  std::string output;
  std::string messages = "";
  std::size_t arguments_left = 0;
  Formatted result = Formatted::kWhole;
};

void expect_formatted(const Row& row) {
  std::vector<std::string> words = row.arguments;
  std::vector<char*> pointers;
  for (std::string& word : words)
    pointers.push_back(word.data());
  Arguments arguments = pointers;
  StringOutput output;
  testing::internal::CaptureStderr();
  const Formatted result = format_text(row.format, arguments, output);
  output.flush();
  const std::string shown =
      testing::PrintToString(row.format) + " " + testing::PrintToString(row.arguments);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), row.messages) << shown;
  EXPECT_EQ(output.text, row.output) << shown;
  EXPECT_EQ(arguments.size(), row.arguments_left) << shown;
  EXPECT_EQ(result, row.result) << shown;
}

TEST(FormatTest, DirectivesFormatTheirArgument) {
  const Row rows[] = {
      {"", {"unused"}, "", "", 1},
      {"plain \xE4", {}, "plain \xE4"},
      {"Total: %5.2f EUR", {"3.14159"}, "Total:  3.14 EUR"},
      {"%-8s|", {"ab"}, "ab      |"},
      {"%s%s", {"%d", "\\n"}, "%d\\n"},  // an argument is never a format
      {"%.2s|%5.1s|", {"abc", "xyz"}, "ab|    x|"},
      {"%d %i", {" 12ab", "-7"}, "12 -7"},
      {"%d %x %d", {"abc", "0x10", ""}, "0 0 0"},
      {"%x %X %o", {"255", "255", "8"}, "ff FF 10"},
      {"%u", {"-1"}, "4294967295"},
      {"%d %d", {"99999999999", "-99999999999999999999999"}, "2147483647 -2147483648"},
      {"%05d|%+d|% d|%#x|%#o", {"42", "42", "42", "255", "8"}, "00042|+42| 42|0xff|010"},
      {"%5.3d|%.0d|%.d|", {"7", "0", "0"}, "  007|||"},
      {"%e %G %g", {"12345.678", "0.00001", "nonsense"}, "1.234568e+04 1E-05 0"},
      {"%c%5c|%-3c|", {"hello", "xy", "z"}, "h    x|z  |"},
      {"%c", {""}, "\0"s},
      {"%%%%", {"unused"}, "%%", "", 1},
      {"%b", {"a\\tb%d"}, "a\tb%d"},
      {"%b", {""}, ""},
      {std::string(300, 'x') + "%300s|",
       {"r"},
       std::string(300, 'x') + std::string(299, ' ') + "r|"},
      {"%100000d|", {"1"}, std::string(99999, ' ') + "1|"},
  };
  for (const Row& row : rows)
    expect_formatted(row);
}

TEST(FormatTest, StarsTakeTheirNumbersFromTheArguments) {
  const Row rows[] = {
      {"%*d", {"6", "42"}, "    42"},
      {"%-*d|", {"6", "42"}, "42    |"},
      {"%.*s", {"2", "abcdef"}, "ab"},
      {"%*.*f|", {"8", "2", "3.14159"}, "    3.14|"},
      {"%*d|%.*f", {"0", "5", "0", "2.5"}, "5|2"},
      {"%*c|%.*c|", {"5", "x", "0", "y"}, "x|y|"},  // used up, never applied
      {"%*d|", {"-6", "42"}, "42|", "negative field width\n"},
      {"%.*f|", {"-1", "1.5"}, "1.500000|", "negative precision\n"},
      {"%*.*s|", {"-1", "-2", "abc"}, "abc|", "negative field width\nnegative precision\n"},
      {"%*d|", {"42"}, "42|", "missing argument\n"},
      {"%*d|", {}, "0|", "missing argument\nmissing argument\n"},
      {"%.*s|", {"abc"}, "abc|", "missing argument\n"},
      {"%0*d",
       {"5"},
       "d",
       "%*: invalid directive\n"},  // the 0 is a width; then "*" is no conversion
  };
  for (const Row& row : rows)
    expect_formatted(row);
}

TEST(FormatTest, ModifiersNeverChangeHowMuchOfAValueIsUsed) {
  const Row rows[] = {
      {"%hd %hu %hx", {"70000", "-1", "65537"}, "4464 65535 1"},
      {"%ld %lu %Lx %li", {"-1", "-1", "-1", "2147483648"}, "-1 4294967295 ffffffff 2147483647"},
      {"%lf %Lg %he %LG", {"1.5", "1.5", "1.5", "1.5"}, "1.500000 1.5 1.500000e+00 1.5"},
      {"%lc%ls%hc%hs%Ls", {"ab", "cd", "ef", "gh", "ij"}, "acdeghij"},
      {"%lld", {"5"}, "d", "%l: invalid directive\n"},
      {"%05s|%#s|%05c|%.3c|%#d", {"ab", "a", "x", "y", "5"}, "   ab|a|    x|y|5"},
  };
  for (const Row& row : rows)
    expect_formatted(row);
}

TEST(FormatTest, WhatIsWrongIsReportedAndFormattingGoesOn) {
  const Row rows[] = {
      {"[%s][%d][%.1f][%c][%b]",
       {},
       "[][0][0.0][][]",
       "missing argument\nmissing argument\nmissing argument\nmissing argument\nmissing argument\n"},
      {"100%q!", {"used", "left"}, "100!", "%q: invalid directive\n", 1},
      {"%q", {}, "", "%q: invalid directive\nmissing argument\n"},
      {"%-+5d", {"7"}, "5d", "%+: invalid directive\n"},
      {"%5%", {"7"}, "", "%%: invalid directive\n"},
      {"%5b", {"7"}, "", "%b: invalid directive\n"},
      {"a%", {"left"}, "a", "", 1},
      {"a%-5.3l", {"left"}, "a", "", 1},
      {"%n%p", {"1", "2"}, "", "%n: invalid directive\n%p: invalid directive\n"},
  };
  for (const Row& row : rows)
    expect_formatted(row);
}

TEST(FormatTest, EscapesWriteControlBytes) {
  const Row rows[] = {
      {R"(\a\b\f\n\r\t\v\\\")", {}, "\a\b\f\n\r\t\v\\\""},
      {R"(\q)", {}, "q", "\\q: invalid escape"},
      {R"(\101)", {}, "101", "\\1: invalid escape"},
      {R"(\%d)", {}, "%d", "\\%: invalid escape"},
      {R"(\x41n|\0101n|)",
       {},
       "A\n|A\n|"},  // the character behind the digits belongs to the escape
      {R"(\x41q\x41%d\x41\n)", {}, "AqA%dA\\n"},
      {R"(\x41B|\x4142|)",
       {},
       "\x1B|\x14"
       "2|"},
      {R"(\x41c|)", {}, "\x1C|"},
      {R"(\x141)", {}, "A"},
      {R"(\x4G\x4g)", {}, "\x04G\x04g"},
      {R"(\07778\08|)",
       {},
       "\xFF"
       "8\0"s
       "8|"},
      {R"(\x41)", {}, "A"},
      {R"(\0)", {}, "\0"s},
      {R"(\xG)", {}, "\0G"s, "missing hexadecimal number in escape"},
      {R"(\x)", {}, "\0"s, "missing hexadecimal number in escape"},
      {"end\\", {}, "end\0"s},
  };
  for (const Row& row : rows)
    expect_formatted(row);
}

TEST(FormatTest, EscapeCEndsEverything) {
  const Row rows[] = {
      {R"(line1\cline2 %s)", {"left"}, "line1", "", 1, Formatted::kStopped},
      {R"(\x4zc\0101c|)", {}, "\x04zcA", "", 0, Formatted::kStopped},
      {"%b%s", {"a\\cb", "left"}, "a", "", 1, Formatted::kStopped},
  };
  for (const Row& row : rows)
    expect_formatted(row);
}

}  // namespace
}  // namespace marigold
