// SPDX-License-Identifier: GPL-3.0-or-later
// Looks for a text in the display lines, forward and piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/print/viewer/viewer_file.h"

namespace marigold::inner {

// A place in the list: line from 1, column of the line's visible text from 0.
struct SearchPlace {
  std::int64_t line = 0;
  std::size_t column = 0;
  bool operator==(const SearchPlace&) const = default;
};

enum class SearchStep { kFound, kGoOn, kNotFound, kFailed };

class ViewerSearch {
 public:
  // Treats large and small letters as equal, and umlauts of the keyboard as equal to those of the
  // national 7-bit set. An empty text is found nowhere.
  void set_text(std::string_view text);
  [[nodiscard]] bool empty() const { return text_.empty(); }
  [[nodiscard]] std::size_t length() const { return text_.size(); }

  // Searches the next piece of the file from this place on. `place` becomes the place of the first
  // hit (kFound), or of the next piece (kGoOn). kNotFound: no hit up to the end. kFailed: the file
  // cannot be read, and `failed` is the system's error number.
  SearchStep step(const ViewerFile& file, SearchPlace& place, int& failed);

  // Returns the column, from 0, of the first hit in a line from this column on; npos without a hit.
  [[nodiscard]] std::size_t find(const VisibleLine& line, std::size_t from) const;

 private:
  [[nodiscard]] std::size_t find_in_record(const DisplayRecord& record, std::size_t from) const;

  std::string text_;
  std::vector<DisplayRecord> records_;  // of a piece
};

}  // namespace marigold::inner
