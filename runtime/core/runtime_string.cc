// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/runtime_string.h"

#include <cstring>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"

namespace marigold::inner {

namespace {

constexpr unsigned char kDivisionSign = 0xF7;  // no letter, among the small letters
constexpr unsigned char kCaseDistance = 'a' - 'A';

}  // namespace

int st_length(const char* text) {
  const std::size_t length = strnlen(text, kLongestString + 1);
  if (length > kLongestString) raise_fatal(kErrorLongSetting);
  return static_cast<int>(length);
}

char st_upper(char character) {
  const auto code = static_cast<unsigned char>(character);
  const bool ascii_letter = code >= 'a' && code <= 'z';
  const bool national_letter = code >= 0xE0 && code <= 0xFE && code != kDivisionSign;
  return ascii_letter || national_letter ? static_cast<char>(code - kCaseDistance) : character;
}

}  // namespace marigold::inner
