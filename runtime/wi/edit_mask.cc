#include "runtime/wi/edit_mask.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace marigold {
namespace {

bool is_place(char c) {
  return c == '#' || c == '0';
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool has_sign(std::string_view mask) {
  return mask.starts_with('-');
}

std::string_view before_comma(std::string_view mask) {
  return mask.substr(0, mask.find(','));
}

std::string_view behind_comma(std::string_view mask) {
  const std::size_t comma = mask.find(',');
  return comma == std::string_view::npos ? std::string_view{} : mask.substr(comma + 1);
}

std::size_t places(std::string_view part) {
  return static_cast<std::size_t>(std::ranges::count_if(part, is_place));
}

// A positive number in decimal, the digits before and behind the point.
struct Decimal {
  std::string whole;
  std::string fraction;
};

Decimal shortest_decimal(double value) {
  std::array<char, 400> text{};  // the largest double has 309 digits, the smallest 324 places
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed).ptr;
  const std::string_view digits(text.data(), static_cast<std::size_t>(end - text.data()));
  const std::size_t point = std::min(digits.find('.'), digits.size());
  return {std::string(digits.substr(0, point)),
          std::string(digits.substr(std::min(point + 1, digits.size())))};
}

// Adds one to a row of digits; true when that carries beyond its first.
bool increment(std::string& digits) {
  for (std::size_t i = digits.size(); i-- > 0;) {
    if (digits[i] != '9') {
      ++digits[i];
      return false;
    }
    digits[i] = '0';
  }
  return true;
}

void round_to(Decimal& number, std::size_t fraction_places) {
  const bool up =
      number.fraction.size() > fraction_places && number.fraction[fraction_places] >= '5';
  number.fraction.resize(fraction_places, '0');
  if (up && increment(number.fraction) && increment(number.whole)) number.whole.insert(0, 1, '1');
  number.whole.erase(0, std::min(number.whole.find_first_not_of('0'), number.whole.size()));
}

// Puts digits, right-aligned, into the places of the part before the comma.
std::string fill_whole(std::string_view part, const std::string& digits) {
  std::string text(part);
  const std::size_t blank_places = places(part) - digits.size();
  std::size_t place = 0;
  bool shown = false;  // a digit stands before this place
  for (char& c : text) {
    if (c == '.' && !shown) c = ' ';
    if (!is_place(c)) continue;
    shown = shown || c == '0' || place >= blank_places;
    if (place >= blank_places) {
      c = digits[place - blank_places];
    } else {
      c = shown ? '0' : ' ';
    }
    ++place;
  }
  return text;
}

std::string fill_fraction(std::string_view part, std::string_view digits) {
  std::string text(part);
  for (char& c : text) {
    if (!is_place(c)) continue;
    c = digits.front();
    digits.remove_prefix(1);
  }
  return text;
}

}  // namespace

std::string edit_number(std::string_view mask, double value) {
  std::string overflow(mask.size(), '*');
  if (!std::isfinite(value)) return overflow;
  Decimal number = shortest_decimal(std::abs(value));
  round_to(number, places(behind_comma(mask)));
  const bool is_zero =
      number.whole.empty() && number.fraction.find_first_not_of('0') == std::string::npos;
  const bool negative = value < 0 && !is_zero;
  if (number.whole.size() > places(before_comma(mask)) || (negative && !has_sign(mask)))
    return overflow;
  std::string text = fill_whole(before_comma(mask), number.whole);
  if (has_sign(mask)) text[0] = negative ? '-' : ' ';
  if (text.size() == mask.size()) return text;
  text += ',';
  return text.append(fill_fraction(behind_comma(mask), number.fraction));
}

bool read_number(std::string_view mask, std::string_view text, double& value) {
  std::string digits;  // as a C number
  std::size_t whole = 0;
  std::size_t fraction = 0;
  bool negative = false;
  bool behind = false;
  for (const char c : text) {
    if (is_digit(c)) {
      digits += c;
      ++(behind ? fraction : whole);
    } else if (c == ',' && !behind && mask.find(',') != std::string_view::npos) {
      digits += '.';
      behind = true;
    } else if (c == '-' && has_sign(mask) && !negative && digits.empty()) {
      negative = true;
    } else if (c != ' ' &&
               (c == '-' || c == ',' || is_place(c) || mask.find(c) == std::string_view::npos)) {
      return false;
    }
  }
  const std::size_t leading = std::min(digits.find_first_not_of('0'), whole);
  if (whole - leading > places(before_comma(mask)) || fraction > places(behind_comma(mask)))
    return false;
  double read = 0;
  digits.insert(0, 1, '0');  // the comma may come first
  if (std::from_chars(digits.data(), digits.data() + digits.size(), read).ec != std::errc{})
    return false;
  value = negative && read != 0 ? -read : read;
  return true;
}

}  // namespace marigold
