// SPDX-License-Identifier: GPL-3.0-or-later
// Reasons of failures whose number alone says too little.
#pragma once

#include <string>

namespace marigold::inner::isam {

// Notes the reason and returns the number.
int refuse(int number, std::string reason);

inline constexpr const char* kHalfDone =
    "a program died during a change; a program that may write the file must open it first";

// Forgets the last reason; called when an operation starts.
void forget_reason();
const char* noted_reason();

}  // namespace marigold::inner::isam
