// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/print_defaults.h"

#include "tests/print/list_support.h"

namespace marigold::inner::test {
namespace {

using PrintDefaultsTest = PrintTest;

TEST_F(PrintDefaultsTest, LinesAreKeysAndValues) {
  PrintDefaults defaults;
  const std::string text =
      "# a printer\r\n\n  pitch_10 = \\e[1w\\x00\\s\r\npitch_12=a = b\npitch_17 = \\\\ \\t\\f\\r\\n\n"
      "bold_on = \\x1bG\nbold_off = \xfc\ntoday = 01.02.1994\npage_limit = 66\n"
      "page_limit_first_line=3";
  EXPECT_TRUE(print_defaults_scan(text, defaults).empty());
  EXPECT_EQ(defaults.pitch_10, "\x1b[1w\0 "s);
  EXPECT_EQ(defaults.pitch_12, "a = b");
  EXPECT_EQ(defaults.pitch_17, "\\ \t\f\r\n");
  EXPECT_EQ(defaults.bold_on, "\x1bG");
  EXPECT_EQ(defaults.bold_off, "\xfc");
  EXPECT_EQ(defaults.today, "01.02.1994");
  EXPECT_EQ(defaults.page_limit, 66);
  EXPECT_EQ(defaults.page_limit_first_line, 3);
}

TEST_F(PrintDefaultsTest, LinesAtFaultAreToldAndChangeNothing) {
  const std::string long_bold(11, 'x');
  const std::pair<std::string, std::string> rows[] = {
      {"pitch_11 = x", "unknown key"},
      {"pitch_10", "neither a comment (#) nor KEY = VALUE"},
      {"bold_on = " + long_bold, "too many bytes (bold at most 10, a pitch at most 250)"},
      {"bold_on = \\q", "unknown escape; there are \\e \\n \\r \\t \\f \\s \\\\ and \\xHH"},
      {"bold_on = \\x1", "unknown escape; there are \\e \\n \\r \\t \\f \\s \\\\ and \\xHH"},
      {"bold_on = \\", "unknown escape; there are \\e \\n \\r \\t \\f \\s \\\\ and \\xHH"},
      {"today = 1.2.1994", "not a date (DD.MM.YYYY)"},
      {"page_limit = -1", "not a number of lines (0 to 9999)"},
      {"page_limit = 6x", "not a number of lines (0 to 9999)"}};
  for (const auto& [line, reason] : rows) {
    PrintDefaults defaults = {.bold_on = "b", .today = "d", .page_limit = 5};
    const auto errors = print_defaults_scan("\n" + line + "\nbold_off = b", defaults);
    ASSERT_EQ(errors.size(), 1U) << line;
    EXPECT_EQ(errors[0].line, 2);
    EXPECT_EQ(errors[0].reason, reason);
    EXPECT_EQ(defaults.bold_on + defaults.today + std::to_string(defaults.page_limit), "bd5");
    EXPECT_EQ(defaults.bold_off, "b");
  }
}

TEST_F(PrintDefaultsTest, TheFileIsReadOrThatIsTheEnd) {
  EXPECT_DEATH(print_defaults_load(), "error 60\n");
  write_file("DEFAULT.DAT", "today = 24.12.2025\nnonsense\n");
  EXPECT_EQ(errors_of(print_defaults_load),
            "./DEFAULT.DAT:2: neither a comment (#) nor KEY = VALUE\n");
  EXPECT_EQ(print_today(), "24.12.2025");
  EXPECT_EQ(print_short_date(print_today()), "24.12.25");
  print_defaults_set({});
  EXPECT_EQ(print_today().size(), 10U);
}

}  // namespace
}  // namespace marigold::inner::test
