// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/edit_mask.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace marigold {

using namespace inner;

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

// The digits of a positive number: before the comma without leading zeros, after it as many as the
// caller wants.
struct Digits {
  std::array<char, 800> text;  // the largest double has 309 digits, the smallest 324 places
  std::size_t whole = 0;
  std::size_t fraction = 0;

  [[nodiscard]] std::size_t size() const { return whole + fraction; }
  [[nodiscard]] bool is_zero() const {
    return whole == 0 && std::all_of(text.begin(), text.begin() + fraction,
                                     [](char digit) { return digit == '0'; });
  }
};

// Adds one to the last place.
void increment(Digits& digits) {
  for (std::size_t i = digits.size(); i-- > 0;) {
    if (digits.text[i] != '9') {
      ++digits.text[i];
      return;
    }
    digits.text[i] = '0';
  }
  std::copy_backward(digits.text.begin(), digits.text.begin() + digits.size(),
                     digits.text.begin() + digits.size() + 1);
  digits.text[0] = '1';
  ++digits.whole;
}

// Rounds the value's shortest decimal form.
void round_exactly(double value, std::size_t fraction_places, Digits& digits) {
  char* const begin = digits.text.data();
  constexpr std::size_t kForm = 400;
  char* const end = std::to_chars(begin, begin + kForm, value, std::chars_format::fixed).ptr;
  char* const point = std::find(begin, end, '.');
  const char* const first = std::find_if(begin, point, [](char digit) { return digit != '0'; });
  const std::size_t known = point == end ? 0 : static_cast<std::size_t>(end - point - 1);
  const bool up = known > fraction_places && point[1 + fraction_places] >= '5';
  digits.whole = static_cast<std::size_t>(point - first);
  digits.fraction = fraction_places;
  std::copy(first, static_cast<const char*>(point), begin);
  char* at = begin + digits.whole;
  if (known > 0) at = std::copy_n(point + 1, std::min(known, fraction_places), at);
  std::fill(at, begin + digits.size(), '0');
  if (up) increment(digits);
}

// Rounds a number of everyday size to a whole number of its last place. Returns false for a large
// number and for one near the middle between two roundings, where a floating-point product could
// round the wrong way.
bool round_quickly(double value, std::size_t fraction_places, std::uint64_t& number) {
  static constexpr std::array kPowers = {1.0, 10.0, 100.0, 1e3, 1e4, 1e5, 1e6};
  constexpr double kMost = 1e11;
  constexpr double kNearMiddle = 1e-3;
  if (fraction_places >= kPowers.size()) return false;
  const double scaled = value * kPowers[fraction_places];
  if (!(scaled < kMost)) return false;
  const auto whole = static_cast<std::int64_t>(scaled);
  const double rest = scaled - static_cast<double>(whole) - 0.5;
  if (std::abs(rest) < kNearMiddle) return false;
  number = static_cast<std::uint64_t>(rest > 0 ? whole + 1 : whole);
  return true;
}

// "00" to "99", to write two digits of a number at a time.
constexpr std::array kPairs = [] {
  std::array<char, 200> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const std::size_t number = i / 2;
    pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? number / 10 : number % 10));
  }
  return pairs;
}();

// Puts digits, right-aligned, into the places of the part before the comma.
void fill_whole(char* part, std::size_t length, std::size_t blank_places, const char* digits) {
  std::size_t place = 0;
  bool shown = false;  // a digit stands before this place
  for (char* c = part; c != part + length; ++c) {
    if (*c == '.' && !shown) *c = ' ';
    if (!is_place(*c)) continue;
    shown = shown || *c == '0' || place >= blank_places;
    if (place >= blank_places)
      *c = digits[place - blank_places];
    else
      *c = shown ? '0' : ' ';
    ++place;
  }
}

void fill_fraction(char* part, std::size_t length, const char* digits) {
  for (char* c = part; c != part + length; ++c)
    if (is_place(*c)) *c = *digits++;
}

}  // namespace

inner::NumberMask::NumberMask(std::string_view text)
    : text_(text),
      comma_(before_comma(text).size()),
      whole_places_(places(text.substr(0, comma_))),
      fraction_places_(places(text.substr(comma_))),
      has_sign_(has_sign(text)) {
  if (text.size() <= kQuickSize) count_places();
}

void inner::NumberMask::count_places() {
  const std::size_t shown_from = std::min(text_.find('0'), comma_);
  std::size_t place = whole_places_ + fraction_places_;
  for (std::size_t i = 0; i < std::min<std::size_t>(place, kMostDigits); ++i)
    most_ = 10 * most_ + 9;
  for (std::size_t at = 0; at < text_.size(); ++at) {
    const char c = text_[at];
    const bool shown = at >= shown_from;
    zero_[at] = c;
    if (is_place(c)) {
      places_[--place] = static_cast<std::uint8_t>(at);
      zero_[at] = shown ? '0' : ' ';
    } else if (c == '.' && !shown) {
      points_[point_count_++] = static_cast<std::uint8_t>(at);
      zero_[at] = ' ';
    }
  }
  if (has_sign_) zero_[0] = ' ';
}

bool inner::NumberMask::edit(double value, char* edited) const {
  const bool fits = std::isfinite(value) && fill(value, edited);
  if (!fits) std::fill_n(edited, text_.size(), '*');
  return fits;
}

// The functions below return false if the number does not fit.
bool inner::NumberMask::fill(double value, char* edited) const {
  std::uint64_t number = 0;
  if (text_.size() > kQuickSize || !round_quickly(std::abs(value), fraction_places_, number))
    return fill_exactly(value, edited);
  const bool negative = value < 0 && number != 0;
  if ((negative && !has_sign_) || !fill_quickly(number, edited)) return false;
  if (negative) edited[0] = '-';
  return true;
}

bool inner::NumberMask::fill_quickly(std::uint64_t number, char* edited) const {
  if (number > most_) return false;
  std::memcpy(edited, zero_.data(), text_.size());
  const std::uint8_t* place = places_.data();
  for (; number >= 10; number /= 100) {
    const char* const pair = &kPairs[number % 100 * 2];
    edited[*place++] = pair[1];
    edited[*place++] = pair[0];
  }
  if (number > 0) edited[*place++] = static_cast<char>('0' + number);
  const std::size_t first = place == places_.data() ? text_.size() : place[-1];
  for (std::size_t point = 0; point < point_count_; ++point)
    if (points_[point] > first) edited[points_[point]] = '.';
  return true;
}

bool inner::NumberMask::fill_exactly(double value, char* edited) const {
  std::ranges::copy(text_, edited);
  if (fraction_places_ > 390) return false;  // more places than the shortest form of any number
  Digits digits;
  round_exactly(std::abs(value), fraction_places_, digits);
  const bool negative = value < 0 && !digits.is_zero();
  if (digits.whole > whole_places_ || (negative && !has_sign_)) return false;
  fill_whole(edited, comma_, whole_places_ - digits.whole, digits.text.data());
  if (has_sign_) edited[0] = negative ? '-' : ' ';
  fill_fraction(edited + comma_, text_.size() - comma_, digits.text.data() + digits.whole);
  return true;
}

std::string edit_number(std::string_view mask, double value) {
  std::string text(mask.size(), ' ');
  NumberMask(mask).edit(value, text.data());
  return text;
}

bool read_number(std::string_view mask, std::string_view text, double& value) {
  std::string digits;  // in the form of a C number
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
