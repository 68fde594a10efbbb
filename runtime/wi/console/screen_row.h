// One row of the screen as the window system keeps it: 80 characters and, behind them, their 80
// attributes. Characters are ISO 8859-1, or line-drawing codes where the attribute says so.
#pragma once

#include <array>
#include <cstdint>

namespace marigold {

inline constexpr int kScreenColumns = 80;
inline constexpr int kScreenRows = 24;

// Attribute bits. The two highlights without a look of their own are data that programs set and
// read back.
inline constexpr std::uint8_t kAttributeLineDrawing = 1;
inline constexpr std::uint8_t kAttributeSecondHighlight = 2;
inline constexpr std::uint8_t kAttributeFourthHighlight = 16;
inline constexpr std::uint8_t kAttributeBright = 32;
inline constexpr std::uint8_t kAttributeReverse = 64;

struct ScreenRow {
  std::array<std::uint8_t, kScreenColumns> characters{};
  std::array<std::uint8_t, kScreenColumns> attributes{};
};
static_assert(sizeof(ScreenRow) == std::size_t{2} * kScreenColumns);

}  // namespace marigold
