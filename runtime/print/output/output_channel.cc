// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/output_channel.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "runtime/core/program_end.h"
#include "runtime/core/settings.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/print/output/number_text.h"
#include "runtime/print/output/print_defaults.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kLineBuffer = 250;
constexpr std::size_t kLongestCollected = 1000;
constexpr char kBackspace = 8;

struct State {
  const OutputDevice* device = nullptr;  // null: closed
  std::string name;
  int page_length = 1;
  int line = 0;  // lines ended on this page
  int page = 0;
  bool page_begun = false;
  bool line_begun = false;
  bool stopped = false;
  std::array<char, kLineBuffer> text{};  // of the line, not yet given to the device
  std::size_t text_length = 0;
  std::string today;
  std::array<double, kTotals> totals{};
  void (*on_overflow)(int total, std::string_view mask, double number) = nullptr;
  // ---- Header and footer texts
  std::string header;
  std::string footer;
  int footer_lines = 0;
  bool collecting = false;
  std::string collected;
  bool repeating = false;  // the header or footer is being printed
};
State state;

void flush_text() {
  if (state.text_length == 0) return;
  state.device->text({state.text.data(), std::exchange(state.text_length, 0)});
}

void repeat(const std::string& text) {
  state.repeating = true;
  channel_write(text);
  state.repeating = false;
}

void begin_page() {
  if (std::exchange(state.page_begun, true)) return;
  ++state.page;
  repeat(state.header);
}

void end_line() {
  flush_text();
  state.device->end_line();
  state.line_begun = false;
  ++state.line;
}

void end_page() {
  begin_page();
  const int body = state.page_length - state.footer_lines;
  while (state.line < body || state.line_begun)
    end_line();
  repeat(state.footer);
  flush_text();
  state.device->end_page();
  state.line_begun = false;
  state.line = 0;
  state.page_begun = false;
}

void new_line() {
  begin_page();
  end_line();
  if (!state.repeating && state.line >= state.page_length - state.footer_lines) end_page();
}

void append(std::string_view text) {
  std::memcpy(state.text.data() + state.text_length, text.data(), text.size());
  state.text_length += text.size();
}

void buffer(std::string_view text) {
  while (text.size() >= kLineBuffer - state.text_length) {
    const std::string_view piece = text.substr(0, kLineBuffer - state.text_length);
    append(piece);
    flush_text();
    text.remove_prefix(piece.size());
  }
  append(text);
}

void put_backspaces(std::string_view backspaces) {
  flush_text();
  state.device->text(backspaces);
}

void put(std::string_view text) {
  if (!state.page_begun) begin_page();
  state.line_begun = true;
  for (;;) {
    const std::size_t plain = std::min(text.find(kBackspace), text.size());
    buffer(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) return;
    const std::size_t back = std::min(text.find_first_not_of(kBackspace), text.size());
    put_backspaces(text.substr(0, back));
    text.remove_prefix(back);
  }
}

// ---- Header and footer texts

void collect(std::string_view text) {
  if (state.collected.size() + text.size() > kLongestCollected) raise_fatal(kErrorCollected);
  state.collected.append(text);
}

int lines_of(std::string_view text) {
  const std::string_view line_end = marker_text(Marker::kNewLine);
  int lines = 0;
  for (std::size_t at = 0; (at = text.find(line_end, at)) != std::string_view::npos;
       at += line_end.size())
    ++lines;
  return lines;
}

// Returns true if the marker begins or ends a collected text.
bool rule_collecting(Marker marker) {
  switch (marker) {
    case Marker::kCollect:
      state.collecting = !state.repeating;
      state.collected.clear();
      return true;
    case Marker::kHeaderEnd:
      if (state.collecting) state.header = std::exchange(state.collected, {});
      return true;
    case Marker::kFooterEnd:
      if (state.collecting) state.footer = std::exchange(state.collected, {});
      state.footer_lines = lines_of(state.footer);
      return true;
    case Marker::kCollectEnd:
      state.collecting = false;
      return true;
    default:
      return false;
  }
}

void control(Marker marker) {
  begin_page();
  flush_text();
  state.device->control(marker);
}

void put_number(const MarkerText& marker, double number) {
  const NumberText form = number_text(marker.mask, number);
  put(form.text);
  if (!form.fits && state.on_overflow != nullptr)
    state.on_overflow(marker.total, marker.mask, number);
}

void obey(const MarkerText& marker) {
  switch (marker.marker) {
    case Marker::kNewLine:
      return new_line();
    case Marker::kNewPage:
      if (!state.repeating) end_page();
      return;
    case Marker::kShortDate:
      return put(print_short_date(state.today));
    case Marker::kLongDate:
      return put(state.today);
    case Marker::kPage:
      return put_number(marker, state.page);
    case Marker::kTotal:
      return put_number(marker, state.totals.at(static_cast<std::size_t>(marker.total) - 1));
    default:
      return control(marker.marker);
  }
}

// Returns the marker at the front of the text, its marker bytes included.
std::string_view first_marker(std::string_view text) {
  const std::size_t end = text.find(kMarkerByte, 1);
  if (end == std::string_view::npos) raise_fatal(kErrorPrintMarker);
  return text.substr(0, end + 1);
}

void write_marker(std::string_view text) {
  const MarkerText marker = marker_of(text.substr(1, text.size() - 2));
  if (marker.marker == Marker::kUnknown) raise_fatal(kErrorPrintMarker);
  if (rule_collecting(marker.marker)) return;
  if (state.collecting) return collect(text);
  obey(marker);
}

void end_with_program() {
  channel_close();
}

}  // namespace

void channel_open(std::string_view name, int page_length, const OutputDevice& device) {
  if (channel_is_open()) raise_fatal(kErrorIsOpen);
  print_defaults_start();
  state = {};
  state.device = &device;
  state.name = name;
  state.page_length = page_length;
  state.today = print_today();
  open_subsystems().print_output = true;
  program_end_add(end_with_program);
}

bool channel_is_open() {
  return state.device != nullptr;
}

int channel_close() {
  if (!channel_is_open()) raise_fatal(kErrorIsClosed);
  flush_text();
  open_subsystems().print_output = false;
  program_end_remove(end_with_program);
  return std::exchange(state.device, nullptr)->close();
}

void channel_write(std::string_view text) {
  if (!channel_is_open()) raise_fatal(kErrorChannelClosed);
  while (!text.empty() && !state.stopped) {
    if (text.front() == kMarkerByte) {
      const std::string_view marker = first_marker(text);
      write_marker(marker);
      text.remove_prefix(marker.size());
      continue;
    }
    const std::string_view plain = text.substr(0, text.find(kMarkerByte));
    channel_write_plain(plain);
    text.remove_prefix(plain.size());
  }
}

void channel_write_plain(std::string_view text) {
  if (!channel_is_open()) raise_fatal(kErrorChannelClosed);
  if (state.stopped) return;
  if (state.collecting)
    collect(text);
  else
    put(text);
}

void channel_write_marker(Marker marker) {
  if (!channel_is_open()) raise_fatal(kErrorChannelClosed);
  if (state.stopped) return;
  if (state.collecting)
    collect(marker_text(marker));
  else
    obey({.marker = marker});
}

void channel_stop(bool stopped) {
  state.stopped = stopped;
}

int channel_page_length() {
  return state.page_length;
}

void channel_on_overflow(void (*told)(int total, std::string_view mask, double number)) {
  state.on_overflow = told;
}

void channel_add_total(int total, double number) {
  if (total < 1 || total > kTotals) raise_fatal(kErrorPrintMarker);
  state.totals.at(static_cast<std::size_t>(total) - 1) += number;
}

}  // namespace marigold
