// Why a call failed, where its number alone says too little.
#pragma once

namespace marigold::isam {

// Notes the reason and gives the number back. The text is a constant.
int refuse(int number, const char* reason);

inline constexpr const char* kHalfDone =
    "a program ended in the middle of a change; one that may write the file must open it first";

// Forgets the one noted last; at the start of each operation that can be refused so.
void forget_reason();
const char* noted_reason();

}  // namespace marigold::isam
