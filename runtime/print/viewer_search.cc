#include "runtime/print/viewer_search.h"

#include <algorithm>
#include <array>

namespace marigold {
namespace {

// About 1 MiB: big enough to be read fast, small enough that a key is seen at once.
constexpr std::size_t kPieceRecords = 4096;

// "[", "\" and "]" are capital umlauts in the national 7-bit set, "{", "|" and "}" the small ones.
char small(char c) {
  return c >= 'A' && c <= ']' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::size_t find_small(std::string_view line, std::string_view text, std::size_t from) {
  if (text.empty()) return std::string_view::npos;
  std::array<char, kDisplayColumns> folded;
  std::ranges::transform(line, folded.begin(), small);
  return std::string_view(folded.data(), line.size()).find(text, from);
}

}  // namespace

void ViewerSearch::set_text(std::string_view text) {
  text_ = text;
  std::ranges::transform(text_, text_.begin(), small);
}

SearchStep ViewerSearch::step(const ViewerFile& file, SearchPlace& place, int& failed) {
  if (text_.empty()) return SearchStep::kNotFound;
  records_.resize(kPieceRecords);
  std::size_t count = 0;
  failed = file.read(place.line, records_, count);
  if (failed != 0) return SearchStep::kFailed;
  for (std::size_t index = 0; index < count; ++index, ++place.line, place.column = 0) {
    const std::size_t column = find_in_record(records_[index], place.column);
    if (column == std::string_view::npos) continue;
    place.column = column;
    return SearchStep::kFound;
  }
  return count == 0 ? SearchStep::kNotFound : SearchStep::kGoOn;
}

std::size_t ViewerSearch::find(const VisibleLine& line, std::size_t from) const {
  return find_small(line.view(), text_, from);
}

std::size_t ViewerSearch::find_in_record(const DisplayRecord& record, std::size_t from) const {
  if (record.flag != kWithHighlight)
    return find_small({record.text.data(), record.text.size()}, text_, from);
  VisibleLine line;
  visible_line(record, line);
  return find(line, from);
}

}  // namespace marigold
