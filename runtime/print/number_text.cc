#include "runtime/print/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "runtime/wi/edit_mask.h"

namespace marigold {

std::string number_text(std::string_view mask, double number) {
  if (!mask.empty()) return edit_number(mask, number);
  constexpr int kDigits = 15;  // what a decimal number keeps in a double
  std::array<char, 32> form{};
  char* const begin = form.data();
  char* const end =
      std::to_chars(begin, begin + form.size(), number, std::chars_format::general, kDigits).ptr;
  std::replace(begin, end, '.', ',');
  return {begin, end};
}

}  // namespace marigold
