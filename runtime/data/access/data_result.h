// Results of the operations on data files. Any other outcome ends the process.
#pragma once

namespace marigold {

inline constexpr int kDataDone = 0;
inline constexpr int kDataAlreadyOpen = 1;
inline constexpr int kDataNotFound = 3;  // also: end of the file
inline constexpr int kDataLocked = 4;    // by another process

}  // namespace marigold
