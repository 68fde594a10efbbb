// SPDX-License-Identifier: GPL-3.0-or-later
// Looks for a text in the display lines, forward and piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/print/viewer/viewer_file.h"

namespace marigold {

// A place in the list: the line from 1, the column of its visible text from 0.
struct SearchPlace {
  std::int64_t line = 0;
  std::size_t column = 0;
  bool operator==(const SearchPlace&) const = default;
};

enum class SearchStep { kFound, kGoOn, kNotFound, kFailed };

class ViewerSearch {
 public:
  // Large and small letters count as the same, and so do umlauts of the national 7-bit set and of
  // the keyboard. An empty text is found nowhere.
  void set_text(std::string_view text);
  [[nodiscard]] bool empty() const { return text_.empty(); }
  [[nodiscard]] std::size_t length() const { return text_.size(); }

  // Searches the next piece of the file from this place on. `place` becomes that of the first hit
  // (kFound) or of where to go on (kGoOn). kNotFound: there is no hit up to the end. kFailed: the
  // file cannot be read, `failed` is the system's error number.
  SearchStep step(const ViewerFile& file, SearchPlace& place, int& failed);

  // The column, from 0, of the first hit in a line from this column on; npos when there is none.
  [[nodiscard]] std::size_t find(const VisibleLine& line, std::size_t from) const;

 private:
  [[nodiscard]] std::size_t find_in_record(const DisplayRecord& record, std::size_t from) const;

  std::string text_;
  std::vector<DisplayRecord> records_;  // of a piece
};

}  // namespace marigold
