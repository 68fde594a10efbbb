// One row of the screen in the window system: 80 characters and, after them, their 80 attributes.
// Characters are ISO 8859-1, or line-drawing codes if the attribute has that bit.
#pragma once

#include <array>
#include <cstdint>

namespace marigold {

inline constexpr int kScreenColumns = 80;
inline constexpr int kScreenRows = 24;

// Attribute bits. The second and the fourth highlight have no look of their own; programs set them
// and read them back.
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
