// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/forms/form/form_entry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "marigold/core.h"
#include "runtime/texte/screen_text.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kDateMask = "00.00.00";
constexpr std::string_view kTimeMask = "00:00";
constexpr std::int32_t kMonthAndDay = 10000;  // dates below it have no year
constexpr std::size_t kGroup = 3;             // digits after a point in a number

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view without_blanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The digits of a text in groups, as "14.11.26" has three; one of them without separators.
struct Digits {
  std::array<int, 3> groups{};
  std::array<std::size_t, 3> lengths{};
  std::size_t count = 0;
};

// Returns nothing for a text with other characters, an empty group or too many of either.
std::optional<Digits> split(std::string_view text, std::string_view separators) {
  Digits digits;
  bool inside = false;
  for (const char c : text) {
    if (is_digit(c)) {
      if (!inside && digits.count++ == digits.groups.size()) return std::nullopt;
      inside = true;
      digits.groups[digits.count - 1] = digits.groups[digits.count - 1] * 10 + (c - '0');
      if (++digits.lengths[digits.count - 1] > 6) return std::nullopt;
    } else if (inside && separators.find(c) != std::string_view::npos) {
      inside = false;
    } else {
      return std::nullopt;
    }
  }
  if (digits.count == 0) return std::nullopt;
  return digits;
}

std::int32_t this_year() {
  return date_split(date_today()).year;
}

// Returns the date in a typed text, or nothing.
std::optional<std::int32_t> read_date(std::string_view text) {
  const std::optional<Digits> digits = split(text, ".,/- ");
  if (!digits) return std::nullopt;
  const auto& [groups, lengths, count] = *digits;
  const bool has_long_group =
      std::ranges::any_of(lengths, [](std::size_t length) { return length > 2; });
  if (count > 1 && has_long_group) return std::nullopt;
  std::int32_t date = 0;
  if (count == 3) {
    date = groups[0] * kMonthAndDay + groups[1] * 100 + groups[2];
  } else if (count == 2) {
    date = groups[0] * kMonthAndDay + groups[1] * 100 + this_year();
  } else if (lengths[0] == 6) {
    date = groups[0];
  } else if (lengths[0] == 4) {
    date = groups[0] * 100 + this_year();
  } else {
    return std::nullopt;
  }
  std::int32_t day = 0;
  if (date_day_number(date, day) == 0) return std::nullopt;
  return date;
}

std::optional<std::int32_t> read_time(std::string_view text) {
  const std::optional<Digits> digits = split(text, ":.,-");
  if (!digits || digits->count > 2) return std::nullopt;
  const auto& [groups, lengths, count] = *digits;
  std::int32_t time = groups[0];
  if (count == 2) {
    if (lengths[0] > 2 || lengths[1] != 2) return std::nullopt;
    time = groups[0] * 100 + groups[1];
  } else if (lengths[0] <= 2) {
    time = groups[0] * 100;
  } else if (lengths[0] > 4) {
    return std::nullopt;
  }
  if (!entry_is_time(time)) return std::nullopt;
  return time;
}

// read_number ignores points wherever they stand, and would take the "12.5" of a numeric keypad for
// 125. Here a point is the comma if the mask has no points, and else stands before three digits.
bool read_entered_number(std::string_view mask, std::string text, double& number) {
  if (mask.find('.') == std::string_view::npos) {
    if (mask.find(',') != std::string_view::npos) std::ranges::replace(text, '.', ',');
    if (text.find('.') != std::string::npos) return false;
    return read_number(mask, text, number);
  }
  for (std::size_t point = text.find('.'); point != std::string::npos;
       point = text.find('.', point + 1)) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789", point + 1), text.size());
    if (point == 0 || end - point - 1 != kGroup) return false;
  }
  return read_number(mask, text, number);
}

bool is_whole_between(double number, double least, double most) {
  return number >= least && number <= most && number == std::trunc(number);
}

std::string stars(std::string_view mask) {
  return std::string(mask.size(), '*');
}

}  // namespace

std::string form_message(const FormText& text) {
  return screen_text_or(text.id, text.built_in);
}

std::string entry_plain_number(double number) {
  constexpr double kExact = 9e15;
  if (is_whole_between(number, -kExact, kExact))
    return std::to_string(static_cast<long long>(number));
  return std::to_string(number);
}

bool entry_is_date(double number) {
  if (!is_whole_between(number, 101, 999999)) return false;
  const auto date = static_cast<std::int32_t>(number);
  constexpr std::int32_t kLeapYear = 96;
  std::int32_t day = 0;
  const bool has_year = date >= kMonthAndDay;
  return date_day_number(has_year ? date : date * 100 + kLeapYear, day) != 0;
}

bool entry_is_time(double number) {
  if (!is_whole_between(number, 0, 2359)) return false;
  return static_cast<int>(number) % 100 < 60;
}

std::string entry_text(const FormItem& item) {
  const double number = item.value.number;
  switch (item.field->kind) {
    case FormFieldKind::kNumber:
      return edit_number(item.mask, number);
    case FormFieldKind::kDate:
      if (!is_whole_between(number, 0, 999999)) return stars(kDateMask);
      return std::string(date_text(static_cast<std::int32_t>(number)).view());
    case FormFieldKind::kTime:
      if (!is_whole_between(number, 0, 9999)) return stars(kTimeMask);
      return std::string(date_time_text(static_cast<std::int32_t>(number)).view())
          .substr(0, kTimeMask.size());
    case FormFieldKind::kYesNo:
    case FormFieldKind::kChoice:
      if (const ItemChoice* choice = item.choice()) return choice->text;
      if (item.is_empty()) return "";
      return item.is_text() ? item.value.text : entry_plain_number(number);
    default:
      return item.value.text;
  }
}

std::string entry_take(FormItem& item, const std::string& typed) {
  const std::string_view text = without_blanks(typed);
  double number = 0;
  switch (item.field->kind) {
    case FormFieldKind::kText:
      // find_last_not_of gives npos, one before 0, for blanks alone.
      item.value.text = typed.substr(0, typed.find_last_not_of(' ') + 1);
      return "";
    case FormFieldKind::kNumber:
      if (!read_entered_number(item.mask, typed, number)) return form_message(kFormNumber);
      break;
    case FormFieldKind::kDate:
      if (text.empty()) break;
      if (const auto date = read_date(text)) {
        number = *date;
        break;
      }
      return form_message(kFormDate);
    case FormFieldKind::kTime:
      if (text.empty()) break;
      if (const auto time = read_time(text)) {
        number = *time;
        break;
      }
      return form_message(kFormTime);
    default:
      return "";
  }
  item.value.number = number;
  return "";
}

}  // namespace marigold::inner
