// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer_search.h"

#include <algorithm>
#include <array>

#include "runtime/wi/terminal/letters.h"

namespace marigold::inner {
namespace {

// About 1 MiB: large enough for fast reads, small enough to react to a key at once.
constexpr std::size_t kPieceRecords = 4096;

// Whether the first and the last character of a text occur at their distance anywhere in the line.
// Nearly always they do not, and this test finds that out without a branch, many places at a time.
bool may_hold(std::string_view line, std::string_view text) {
  if (text.size() > line.size()) return false;
  const std::string_view ends = line.substr(text.size() - 1);
  const char first = text.front();
  const char last = text.back();
  unsigned char found = 0;
  for (std::size_t place = 0; place < ends.size(); ++place)
    found |= static_cast<unsigned char>(static_cast<unsigned>(line[place] == first) &
                                        static_cast<unsigned>(ends[place] == last));
  return found != 0;
}

std::size_t find_folded(std::string_view line, std::string_view text, std::size_t from) {
  if (text.empty()) return std::string_view::npos;
  std::array<char, kDisplayColumns> characters;
  std::ranges::transform(line, characters.begin(), fold_letter);
  const std::string_view folded(characters.data(), line.size());
  return may_hold(folded, text) ? folded.find(text, from) : std::string_view::npos;
}

}  // namespace

void ViewerSearch::set_text(std::string_view text) {
  text_ = text;
  std::ranges::transform(text_, text_.begin(), fold_letter);
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
  return count < kPieceRecords ? SearchStep::kNotFound : SearchStep::kGoOn;
}

std::size_t ViewerSearch::find(const VisibleLine& line, std::size_t from) const {
  return find_folded(line.view(), text_, from);
}

std::size_t ViewerSearch::find_in_record(const DisplayRecord& record, std::size_t from) const {
  if (record.flag != kWithHighlight)
    return find_folded({record.text.data(), record.text.size()}, text_, from);
  VisibleLine line;
  visible_line(record, line);
  return find(line, from);
}

}  // namespace marigold::inner
