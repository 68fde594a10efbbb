// SPDX-License-Identifier: GPL-3.0-or-later
// The markers that output lines carry for the output channel: a name between two bytes of value 5.
//
// Two markers have operands after a comma, up to the closing byte: "PAGE,MASK" and
// "UEBERTRAG,TOTAL,MASK". An empty mask shows as many digits as the number has.
#pragma once

#include <cstddef>
#include <string_view>

#include "marigold/output.h"  // IWYU pragma: export

namespace marigold::inner {

inline constexpr char kMarkerByte = 5;

struct MarkerText {
  Marker marker = Marker::kUnknown;
  int total = 0;               // of kTotal, 1 to 4
  std::string_view mask = {};  // of kTotal and kPage
};

// Parses the text between the marker bytes.
MarkerText marker_of(std::string_view name);

// Returns the number of characters that the marker prints; a number without a mask counts as none.
std::size_t marker_width(const MarkerText& marker);

// Returns the bytes of a marker without operands, marker bytes included.
std::string_view marker_text(Marker marker);

}  // namespace marigold::inner
