// SPDX-License-Identifier: GPL-3.0-or-later
// The markers that output lines carry for the output channel: a name between two bytes of value 5.
//
// Two of them have operands behind a comma, up to the closing byte: "PAGE,MASK" and
// "UEBERTRAG,TOTAL,MASK". An empty mask shows as many digits as there are.
#pragma once

#include <cstddef>
#include <string_view>

#include "marigold/output.h"  // IWYU pragma: export

namespace marigold {

inline constexpr char kMarkerByte = 5;

struct MarkerText {
  Marker marker = Marker::kUnknown;
  int total = 0;               // of kTotal, 1 to 4
  std::string_view mask = {};  // of kTotal and kPage
};

// What stands between the marker bytes.
MarkerText marker_of(std::string_view name);

// The characters that it prints; a number without a mask counts as none.
std::size_t marker_width(const MarkerText& marker);

// A marker without operands, with its bytes around it.
std::string_view marker_text(Marker marker);

}  // namespace marigold
