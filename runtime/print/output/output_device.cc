// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/output_device.h"

#include <string>

#include "marigold/output.h"
#include "runtime/print/output/print_defaults.h"
#include "runtime/print/output/screen_output.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr char kBackspace = 8;

std::string_view control_string(Marker marker) {
  const PrintDefaults& defaults = print_defaults();
  switch (marker) {
    case Marker::kPitch10:
      return defaults.pitch_10;
    case Marker::kPitch12:
      return defaults.pitch_12;
    case Marker::kPitch17:
      return defaults.pitch_17;
    case Marker::kBoldOn:
      return defaults.bold_on;
    case Marker::kBoldOff:
      return defaults.bold_off;
    default:
      return {};
  }
}

// ---- The printer. The buffer wakes the command once for many lines.

constexpr std::size_t kPrinterBuffer = std::size_t{256} << 10;

struct State {
  std::string bytes;
  int error_flag = 0;
};
State state;

void send() {
  int error_flag = 0;
  if (!state.bytes.empty()) write_printer(state.bytes, error_flag);
  state.error_flag |= error_flag;
  state.bytes.clear();
}

void print_bytes(std::string_view bytes) {
  state.bytes.append(bytes);
  if (state.bytes.size() >= kPrinterBuffer) send();
}

int end_printing() {
  send();
  const bool lost = printer_is_open() && !printer_takes_bytes();
  const int error_flag = lost ? 1 : state.error_flag;
  state = {};
  return error_flag;
}

// ---- The screen

void show_text(std::string_view text) {
  screen_output_bytes(text);
  if (text.front() == kBackspace)
    screen_output_backspaces(text.size());
  else
    screen_output_text(text);
}

void show_control(Marker marker) {
  screen_output_bytes(control_string(marker));
  if (marker == Marker::kBoldOn) screen_output_highlight(true);
  if (marker == Marker::kBoldOff) screen_output_highlight(false);
}

}  // namespace

constexpr OutputDevice kPrinterDevice{
    .text = print_bytes,
    .control = [](Marker marker) { print_bytes(control_string(marker)); },
    .end_line = [] { print_bytes(kLineEnd); },
    .end_page = [] {},
    .close = end_printing,
};

constexpr OutputDevice inner::kScreenDevice{
    .text = show_text,
    .control = show_control,
    .end_line =
        [] {
          screen_output_bytes(kLineEnd);
          screen_output_end_line();
        },
    .end_page = [] {},
    .close =
        [] {
          screen_output_end();
          return 0;
        },
};

}  // namespace marigold
