// The markers that output lines carry for the output channel: a name between two bytes of value 5.
//
// Two of them have operands behind a comma, up to the closing byte: "PAGE,MASK" and
// "UEBERTRAG,TOTAL,MASK". An empty mask shows as many digits as there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace marigold {

inline constexpr char kMarkerByte = 5;

enum class Marker : std::uint8_t {
  kNewLine,     // "NL"
  kNewPage,     // "NP"
  kPitch10,     // "10Z"
  kPitch12,     // "12Z"
  kPitch17,     // "16Z": printers of the time had no other name for it
  kBoldOn,      // "FETTEIN"
  kBoldOff,     // "FETTAUS"
  kHeaderEnd,   // "KOPFEND"
  kFooterEnd,   // "FUSSEND"
  kShortDate,   // "TTMMJJ"
  kLongDate,    // "TTMMJJJJ"
  kPage,        // "PAGE,"
  kTotal,       // "UEBERTRAG,"
  kCollect,     // "BB"
  kCollectEnd,  // "BE"
  kUnknown,
};

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
