// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/meta_marker.h"

#include <algorithm>

namespace marigold::inner {
namespace {

struct MarkerRow {
  std::string_view text;
  Marker marker;
};

// In the order of the enumeration, so that the number of a marker is its index.
constexpr MarkerRow kMarkers[] = {
    {"\5NL\5", Marker::kNewLine},        {"\5NP\5", Marker::kNewPage},
    {"\00510Z\5", Marker::kPitch10},     {"\00512Z\5", Marker::kPitch12},
    {"\00516Z\5", Marker::kPitch17},     {"\5FETTEIN\5", Marker::kBoldOn},
    {"\5FETTAUS\5", Marker::kBoldOff},   {"\5KOPFEND\5", Marker::kHeaderEnd},
    {"\5FUSSEND\5", Marker::kFooterEnd}, {"\5TTMMJJ\5", Marker::kShortDate},
    {"\5TTMMJJJJ\5", Marker::kLongDate}, {"\5PAGE,\5", Marker::kPage},
    {"\5UEBERTRAG,\5", Marker::kTotal},  {"\5BB\5", Marker::kCollect},
    {"\5BE\5", Marker::kCollectEnd},
};

constexpr std::string_view name_of(const MarkerRow& row) {
  return row.text.substr(1, row.text.size() - 2);
}

constexpr int kMostTotals = 4;

MarkerText with_operands(Marker marker, std::string_view operands) {
  if (marker == Marker::kPage) return {.marker = marker, .mask = operands};
  const int total = operands.empty() ? 0 : operands.front() - '0';
  if (total < 1 || total > kMostTotals || (operands.size() > 1 && operands[1] != ',')) return {};
  return {marker, total, operands.substr(std::min<std::size_t>(2, operands.size()))};
}

}  // namespace

MarkerText marker_of(std::string_view name) {
  for (const MarkerRow& row : kMarkers) {
    const std::string_view known = name_of(row);
    if (name == known && !known.ends_with(',')) return {.marker = row.marker};
    if (known.ends_with(',') && name.starts_with(known))
      return with_operands(row.marker, name.substr(known.size()));
  }
  return {};
}

std::size_t marker_width(const MarkerText& marker) {
  constexpr std::size_t kShortDate = 8;
  constexpr std::size_t kLongDate = 10;
  if (marker.marker == Marker::kShortDate) return kShortDate;
  return marker.marker == Marker::kLongDate ? kLongDate : marker.mask.size();
}

std::string_view marker_text(Marker marker) {
  return kMarkers[static_cast<std::size_t>(marker)].text;
}

}  // namespace marigold::inner
