// Numbers as lists print them.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

// The number by the mask, or with as many digits as it has when the mask is empty.
std::string number_text(std::string_view mask, double number);

}  // namespace marigold
