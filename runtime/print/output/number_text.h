// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers in the form in which lists print them.
#pragma once

#include <string>
#include <string_view>

namespace marigold::inner {

struct NumberText {
  std::string text;
  bool fits = true;  // false: the text is asterisks
};

// Returns the number edited by the mask. With an empty mask it has as many digits as it needs: up
// to 15, and all of a whole number that a double holds exactly.
NumberText number_text(std::string_view mask, double number);

}  // namespace marigold::inner
