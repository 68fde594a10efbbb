// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers as lists print them.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

struct NumberText {
  std::string text;
  bool fits = true;  // else asterisks stand for it
};

// The number by the mask, or with as many digits as it has when the mask is empty: up to 15, and
// all of a whole number that a double holds exactly.
NumberText number_text(std::string_view mask, double number);

}  // namespace marigold
