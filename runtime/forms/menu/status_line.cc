// SPDX-License-Identifier: GPL-3.0-or-later
#include <string>

#include "marigold/menus.h"
#include "runtime/data/access/data_handle.h"
#include "runtime/isam/common/isam.h"
#include "runtime/texte/screen_text.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

constexpr int kOperatorColumn = 2;
constexpr int kOperatorColumns = 24;
constexpr int kFileColumn = 28;
constexpr int kFileColumns = 30;
constexpr int kRecordsColumn = 60;
constexpr int kRecordsColumns = 20;

std::int64_t count_of(const StatusLine& line) {
  const DataFile* file = line.counted;
  const bool counts =
      line.records < 0 && file != nullptr && file->open && file->definition.type == FileType::kIsam;
  return counts ? iscount(file->engine.descriptor) : line.records;
}

std::string records_text(const StatusLine& line) {
  const std::int64_t count = count_of(line);
  if (count < 0) return "";
  return std::to_string(count) + " " + screen_text_or("STATUS.RECORDS", "records");
}

void print(int window, int column, int columns, const std::string& text) {
  p_printstr(window, 1, column, cut_visibly(text, columns).c_str());
}

}  // namespace

void status_line_show(int& window, const StatusLine& line) {
  const bool is_new = window == 0;
  if (is_new) create_w(window, kScreenRows, 1, 1, kScreenColumns, true);
  p_set_atr(window, kReverseText);
  print(window, 1, kScreenColumns, "");
  print(window, kOperatorColumn, kOperatorColumns, line.operator_name);
  print(window, kFileColumn, kFileColumns, screen_text(line.file));
  const std::string records = records_text(line);
  const int missing = kRecordsColumns - static_cast<int>(records.size());
  print(window, kRecordsColumn, kRecordsColumns,
        std::string(missing > 0 ? missing : 0, ' ') + records);
  const int active = wi_active();
  if (is_new) {
    p_active_w(window);
    if (active != kNoWindow) p_active_w(active);
  } else {
    p_refreshany_w(window);
  }
  terminal_refresh();
}

}  // namespace marigold
