// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"

#include <algorithm>

#include "runtime/core/edit_mask.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/dialog/line_field.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

std::string text_of(const SystemText& text) {
  return std::string(text.view());
}

// Edits until a key leaves the field and `accept` takes the text, or until a key discards the text.
template <typename Accept>
int edit(const FieldPlace& place, LineEditor& line, Accept accept) {
  for (;;) {
    const int code = line_field_run(place, line, kReverseText);
    if (code == kKeyHelp) {
      help_show(place.help_key);
    } else if (code == kKeyEscape || code == kKeyStart || accept()) {
      return code;
    }
  }
}

void show(const FieldPlace& place, const LineEditor& line) {
  line_field_show(place, line, kReverseText);
}

LineEditor make_editor(const FieldPlace& place, std::string text, std::size_t most) {
  return {.text = std::move(text),
          .most = most,
          .width = static_cast<std::size_t>(std::clamp(place.width, 1, kScreenColumns)),
          .cursor = 0,
          .first = 0,
          .inserting = true,
          .replacing = false};
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? "" : std::string(text.substr(first));
}

}  // namespace

void inner::line_field_show(const FieldPlace& place, const LineEditor& line,
                            const char* attribute) {
  const std::string_view shown = std::string_view(line.text).substr(line.first);
  const int width = static_cast<int>(line.width);
  print_with(place.window, attribute, place.row, place.column, fit(shown, width));
  wi_refresh_active();
  terminal_refresh();
  const auto offset = static_cast<int>(std::min(line.cursor - line.first, line.width - 1));
  const int column = std::clamp(place.column, -kScreenColumns, kScreenColumns);
  wi_set_cursor(place.window, place.row, column + offset);
  terminal_show_cursor(true);
}

int inner::line_field_run(const FieldPlace& place, LineEditor& line, const char* attribute) {
  for (;;) {
    line_field_show(place, line, attribute);
    std::uint8_t character = 0;
    const int code = field_key(character);
    const Edited edited = line_edit(line, code, character);
    if (edited == Edited::kFull) message_line(systxt_toolong.c_str(), place.help_key);
    if (edited != Edited::kNot) continue;
    if (code == kKeyStatistics || code == kKeyDebugFields || code == kKeyDebugList) continue;
    return code;
  }
}

int text_field(const FieldPlace& place, std::string& text, std::size_t least, std::size_t most) {
  LineEditor line = make_editor(place, text.substr(0, most), most);
  const int code = edit(place, line, [&] {
    if (line.text.size() >= least) return true;
    const std::string bounds = text_of(systxt_min) + " " + std::to_string(least) +
                               text_of(systxt_tomax) + " " + std::to_string(most) +
                               text_of(systxt_chrs);
    message_line(bounds.c_str(), place.help_key);
    return false;
  });
  const bool given_up = code == kKeyEscape || code == kKeyStart;
  if (!given_up) text = line.text;
  line.text = text;
  line.first = 0;
  line.cursor = 0;
  show(place, line);
  return code;
}

int number_field(const FieldPlace& place, std::string_view mask, double& value, double least,
                 double most) {
  FieldPlace at = place;
  at.width = static_cast<int>(std::min<std::size_t>(std::max<std::size_t>(mask.size(), 1), 80));
  LineEditor line = make_editor(at, trimmed(edit_number(mask, value)), mask.size());
  double typed = value;
  const int code = edit(at, line, [&] {
    if (read_number(mask, line.text, typed) && typed >= least && typed <= most) return true;
    const std::string bounds = text_of(systxt_num_min) + " " + trimmed(edit_number(mask, least)) +
                               text_of(systxt_tomax) + " " + trimmed(edit_number(mask, most)) +
                               " " + text_of(systxt_range);
    message_line(bounds.c_str(), place.help_key);
    return false;
  });
  if (code != kKeyEscape && code != kKeyStart) value = typed;
  line.text = edit_number(mask, value);
  line.first = 0;
  line.cursor = 0;
  show(at, line);
  return code;
}

}  // namespace marigold
