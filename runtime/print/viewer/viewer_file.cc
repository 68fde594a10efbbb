// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer_file.h"

#include <algorithm>
#include <cerrno>

namespace marigold::inner {

int ViewerFile::open(const RecordFile& file) {
  lines_ = 0;
  if (!file.is_open()) return ENOENT;
  std::uint64_t bytes = 0;
  if (const int failed = file.size(bytes)) return failed;
  file_ = &file;
  lines_ = static_cast<std::int64_t>(bytes / kDisplayRecordSize);
  return 0;
}

void ViewerFile::show_disk_full() {
  file_ = nullptr;
  lines_ = 1;
}

int ViewerFile::read(std::int64_t first, std::span<DisplayRecord> records,
                     std::size_t& count) const {
  count = 0;
  if (first < 1 || first > lines_ || records.empty()) return 0;
  if (file_ == nullptr) {
    records.front() = display_record(kDiskFullText);
    count = 1;
    return 0;
  }
  const auto left = static_cast<std::size_t>(lines_ - first + 1);
  const std::size_t wanted = std::min(records.size(), left) * kDisplayRecordSize;
  std::size_t bytes = 0;
  const auto offset = static_cast<std::uint64_t>(first - 1) * kDisplayRecordSize;
  if (const int failed = file_->read(offset, {records.front().text.data(), wanted}, bytes))
    return failed;
  count = bytes / kDisplayRecordSize;
  return 0;
}

void visible_line(const DisplayRecord& record, VisibleLine& line) {
  bool highlighted = false;
  line.length = 0;
  for (const char c : record.text) {
    const bool is_switch = c == kHighlightOn || c == kHighlightOff;
    if (is_switch && record.flag == kWithHighlight) {
      highlighted = c == kHighlightOn;
      continue;
    }
    line.text[line.length] = c;
    line.highlighted[line.length] = highlighted;
    ++line.length;
  }
}

}  // namespace marigold::inner
