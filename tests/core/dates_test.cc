// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/core.h"

#include <chrono>
#include <ctime>

#include "runtime/core/user_interface.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(DatesTest, TheCheckReportsWhatIsNoDate) {
  static std::string shown;  // for a function without a state of its own
  user_interface().message = [](const char* text, const char* help_key) {
    shown += std::string(text) + "|" + help_key;
  };
  const std::pair<int, int> rows[] = {
      {290296, 1}, {290297, 0}, {310497, 0}, {10100, 0},  {10101, 1},   {311299, 1},
      {10001, 0},  {101, 0},    {0, 0},      {-10101, 0}, {11301, 0},   {320101, 0},
      {300204, 0}, {300404, 1}, {310104, 1}, {1411, 0},   {1010101, 0}, {-2147483647 - 1, 0}};
  for (const auto& [date, valid] : rows) {
    shown.clear();
    EXPECT_EQ(date_check(date), valid) << date;
    EXPECT_EQ(shown, valid == 1 ? "" : "Datum nicht korrekt ! |ADFEH__") << date;
  }
  user_interface_start();
}

// The library's calendar agrees with the runtime's from 1901 to 1999.
TEST(DatesTest, EveryDayHasItsNumberAndWeekdayAndComesBack) {
  const char* const names[] = {"Sonntag",    "Montag",  "Dienstag", "Mittwoch",
                               "Donnerstag", "Freitag", "Samstag"};
  using namespace std::chrono_literals;
  std::chrono::sys_days day = 1901y / 1 / 1;
  for (int number = 366; number <= 36524; ++number, day += std::chrono::days(1)) {
    const std::chrono::year_month_day parts(day);
    const unsigned weekday = std::chrono::weekday(day).c_encoding();
    const int date =
        static_cast<int>(unsigned{parts.day()} * 10000 + unsigned{parts.month()} * 100) +
        int{parts.year()} - 1900;
    int result = 0;
    ASSERT_EQ(date_day_number(date, result), 1) << date;
    ASSERT_EQ(result, number) << date;
    ASSERT_EQ(date_of_day_number(number), date);
    int index = -1;
    const char* name = nullptr;
    ASSERT_EQ(date_weekday(date, index, name), 1);
    ASSERT_EQ(index, static_cast<int>(weekday)) << date;
    ASSERT_STREQ(name, names[weekday]);
  }
  EXPECT_EQ(day, std::chrono::sys_days(2000y / 1 / 1));
}

TEST(DatesTest, InvalidDatesAreAnsweredInSilence) {
  int number = 5;
  int index = 5;
  const char* name = nullptr;
  EXPECT_EQ(errors_of([&] { date_day_number(310497, number); }), "");
  EXPECT_EQ(number, 0);
  EXPECT_EQ(date_weekday(10100, index, name), 0);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(date_weekday(141126, index, name), 1);
  EXPECT_STREQ(name, "Sonntag");
  for (const int month : {0, 13, -1})
    EXPECT_STREQ(date_month_name(month), "");
  EXPECT_STREQ(date_month_name(3), "M{rz");
  EXPECT_STREQ(date_month_name(12), "Dezember");
  EXPECT_EQ(date_of_day_number(-1), 0);
}

TEST(DatesTest, LayoutsAndOrder) {
  EXPECT_EQ(date_to_sort_layout(141126), 261114);
  EXPECT_EQ(date_to_display_layout(261114), 141126);
  EXPECT_EQ(date_to_display_layout(1114), 1411);
  EXPECT_EQ(date_not_later(311299, 10101), 0);
  EXPECT_EQ(date_not_later(10101, 311299), 1);
  EXPECT_EQ(date_not_later(10101, 10101), 1);
  const DateParts parts = date_split(50126);
  EXPECT_EQ(parts.day * 1000000 + parts.month * 10000 + parts.year * 100 + parts.year_in_four,
            5012602);
  const std::time_t now = std::time(nullptr);
  const std::tm today = *std::localtime(&now);
  EXPECT_EQ(date_today(), today.tm_mday * 10000 + (today.tm_mon + 1) * 100 + today.tm_year % 100);
}

TEST(DatesTest, Texts) {
  using Row = std::pair<int, const char*>;
  for (const auto& [date, text] : {Row(141126, "14.11.26"),
                                   {50126, "05.01.26"},
                                   {1411, "   14.11"},
                                   {9999, "   99.99"},
                                   {10000, "01.00.00"},
                                   {0, "        "}})
    EXPECT_EQ(date_text(date).view(), text);
  for (const auto& [time, text] : {Row(930, "09:30"), {2359, "23:59"}, {0, "        "}})
    EXPECT_EQ(date_time_text(time).view(), text);
  for (const auto& [seconds, text] :
       {Row(3725, "01:02:05"), {359999, "99:59:59"}, {400000, "99:59:59"}, {0, "00:00:00"}})
    EXPECT_EQ(date_duration_text(seconds).view(), text);
}

}  // namespace marigold::inner::test
