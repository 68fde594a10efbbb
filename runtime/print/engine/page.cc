// SPDX-License-Identifier: GPL-3.0-or-later
// Places text on the page: lines, columns, pitches, page ejects.

#include "runtime/print/engine/page.h"

#include <algorithm>
#include <array>
#include <utility>

#include "runtime/print/output/output_channel.h"

namespace marigold::inner {
namespace {

constexpr char kBackspace = 8;

ListState& list() {
  return list_state();
}

constexpr std::array<char, kWidestLine> run_of(char character) {
  std::array<char, kWidestLine> run{};
  run.fill(character);
  return run;
}
constexpr std::array<char, kWidestLine> kBlanks = run_of(' ');
constexpr std::array<char, kWidestLine> kBackspaces = run_of(kBackspace);

void write_run(int count, std::string_view run) {
  for (; count > 0; count -= kWidestLine)
    channel_write_plain(run.substr(0, static_cast<std::size_t>(count)));
}

void write_blanks(int count) {
  write_run(count, {kBlanks.data(), kBlanks.size()});
}

void write_backspaces(int count) {
  write_run(count, {kBackspaces.data(), kBackspaces.size()});
}

// ---- Attributes

// For a pitch without a control string the printer stays as it is.
void write_pitch(int pitch) {
  if (pitch == 10) channel_write_marker(Marker::kPitch10);
  if (pitch == 12) channel_write_marker(Marker::kPitch12);
  if (pitch == 17) channel_write_marker(Marker::kPitch17);
}

// ---- Lines

// The left margin is in the list's own pitch, whatever the pitch of the block.
void begin_line() {
  if (std::exchange(list().line_begun, true)) return;
  list().column = 1;
  if (list().properties.start_column <= 1) return;
  const Attributes wanted = std::exchange(list().wanted, Attributes{});
  page_flush_attributes();
  write_blanks(list().properties.start_column - 1);
  list().wanted = wanted;
}

void move_down(int line) {
  while (list().line < line)
    page_next_line();
}

// ---- Columns

// Text since the last move counts only if it has the pitch of the columns and is not bold, because
// printers move by other widths then. Every existing block is laid out for this count.
void count_moved() {
  const int moved = std::exchange(list().moved, 0);
  if (list().column_pitch == list().wanted.pitch && !list().wanted.bold) list().column += moved;
}

// In another pitch, finds the place from the line's start.
void move_from_start(int column) {
  write_backspaces(list().column - 1);
  const int pitch = std::exchange(list().wanted.pitch, list().column_pitch);
  page_flush_attributes();
  write_blanks(column - 1);
  list().wanted.pitch = pitch;
}

void move_to_column(int column) {
  if (column == list().column) return;
  begin_line();
  page_flush_attributes();
  if (list().column_pitch != list().wanted.pitch) {
    move_from_start(column);
  } else {
    write_blanks(column - list().column);
    write_backspaces(list().column - column);
  }
  list().column = column;
}

int column_from(int column, const PlaceOrder& order) {
  const int wanted = order.column_mode == PlaceMode::kAbsolute  ? order.column
                     : order.column_mode == PlaceMode::kCurrent ? column
                                                                : column + order.column;
  return std::clamp(wanted, 1, kWidestLine);
}

int column_of(const PlaceOrder& order) {
  count_moved();
  return column_from(list().column, order);
}

// ---- The page's start and end

void fresh_page() {
  list().page_fresh = true;
  list().body_printed = false;
  list().printed = false;
  list().line = 1;
  list().column = 1;
  list().moved = 0;
  list().line_begun = false;
}

// A header or footer looks the same whatever block the page ends in, and changes nothing for that
// block.
void run_aside(const std::string& block, BlockKind kind) {
  const Attributes wanted = std::exchange(list().wanted, Attributes{});
  const int column_pitch = list().column_pitch;
  const int list_column_pitch = std::exchange(list().list_column_pitch, kStartPitch);
  list().run_block(block, kind);
  list().list_column_pitch = list_column_pitch;
  list().wanted = wanted;
  list().column_pitch = column_pitch;
}

void start_body() {
  list().page_fresh = false;
  move_down(list().properties.first_line);
  if (list().has_header) run_aside(list().header, BlockKind::kHeader);
}

void eject_now() {
  const WaitingEject waiting = std::exchange(list().waiting, {});
  page_eject(true);
  const int line = std::max(waiting.line, list().line) + waiting.down;
  if (line <= list().footer_line) move_down(line);
  move_to_column(waiting.column);
}

bool body_begins_page() {
  return list().waiting.waits || list().page_fresh;
}

// Prints everything that must come before the body. Returns false if the header aborts the list.
bool begin_body_page() {
  if (list().waiting.waits) eject_now();
  if (list().page_fresh) start_body();
  return !list().aborted;
}

// ---- Placement

int line_of(const PlaceOrder& order, BlockKind kind) {
  if (order.line_mode == PlaceMode::kCurrent) return list().line;
  if (order.line_mode == PlaceMode::kCurrentPlus) return list().line + order.line;
  // A footer's lines lie below the last one that a body may use.
  if (kind == BlockKind::kFooter) return list().footer_line + order.line;
  return list().properties.first_line + order.line - 1;
}

// Notes a move on the next page, which begins only if text follows.
void place_waiting(const PlaceOrder& order) {
  constexpr int kEnough = 1'000'000;
  WaitingEject& waiting = list().waiting;
  if (order.line_mode == PlaceMode::kCurrentPlus) {
    waiting.down = std::clamp(waiting.down + order.line, -kEnough, kEnough);
  } else if (order.line_mode == PlaceMode::kAbsolute) {
    const int line = list().properties.first_line + order.line - 1;
    waiting.line = line <= list().footer_line ? line : 0;
    waiting.down = 0;
  }
  waiting.column = column_from(waiting.column, order);
}

void place_body(const PlaceOrder& order) {
  const int line = line_of(order, BlockKind::kBody);
  if (line >= list().line && line <= list().footer_line) {
    move_down(line);
    return move_to_column(column_of(order));
  }
  const bool again_there = order.line_mode == PlaceMode::kAbsolute && line <= list().footer_line;
  list().waiting = {
      .waits = true,
      .line = again_there ? line : 0,
      .column = order.column_mode == PlaceMode::kAbsolute ? column_from(1, order) : 1};
}

// Header and footer stay on their page: one that ejected the page would print itself again.
void place_aside(const PlaceOrder& order, BlockKind kind) {
  const int last = std::max(list().line, list().properties.page_length);
  move_down(std::clamp(line_of(order, kind), list().line, last));
  move_to_column(column_of(order));
}

// Prepares the page for text of this width; returns false if nothing can be printed.
inline bool prepare(std::size_t width, BlockKind kind) {
  if (list().aborted) return false;
  if (kind == BlockKind::kBody) {
    if (body_begins_page() && !begin_body_page()) return false;
    list().body_printed = true;
  }
  if (!list().line_begun) begin_line();
  if (list().wanted != list().shown) page_flush_attributes();
  list().moved += static_cast<int>(width);
  list().printed = true;
  return true;
}

}  // namespace

void page_flush_attributes() {
  const Attributes wanted = list().wanted;
  const Attributes shown = std::exchange(list().shown, wanted);
  if (wanted.bold && !shown.bold) channel_write_marker(Marker::kBoldOn);
  if (!wanted.bold && shown.bold) {
    channel_write_marker(Marker::kBoldOff);
    // Many printers lose a narrow pitch with bold.
    if (wanted.pitch != 10 || shown.pitch != 10) write_pitch(wanted.pitch);
  } else if (wanted.pitch != shown.pitch) {
    write_pitch(wanted.pitch);
  }
}

void page_print(std::string_view text, BlockKind kind) {
  if (prepare(text.size(), kind)) channel_write_plain(text);
}

void page_print_marked(std::string_view text, std::size_t width, BlockKind kind) {
  if (prepare(width, kind)) channel_write(text);
}

void page_next_line() {
  channel_write_marker(Marker::kNewLine);
  ++list().line;
  list().column = 1;
  list().moved = 0;
  list().line_begun = false;
}

void page_place(const PlaceOrder& order, const Block& block, BlockKind kind, bool first) {
  if (kind != BlockKind::kBody) return place_aside(order, kind);
  if (list().waiting.waits) return place_waiting(order);
  if (list().page_fresh) {
    start_body();
  } else if (first && block.properties.same_page && list().body_printed &&
             list().line + block.properties.length > list().footer_line) {
    page_eject(true);
  }
  if (!list().aborted) place_body(order);
}

int page_of_next_text() {
  return list().page + (list().waiting.waits ? 1 : 0);
}

void page_end() {
  if (list().body_printed) list().waiting = {.waits = true};
}

void page_print_abort_text(std::string_view text) {
  list().wanted = {};
  begin_body_page();
  const auto line = [] { return list().line + (list().line_begun ? 2 : 1); };
  if (line() > list().footer_line && list().body_printed) page_eject(true);
  move_down(std::min(line(), std::max(list().footer_line, list().line)));
  page_print(text, BlockKind::kBody);
}

void page_eject(bool goes_on) {
  list().waiting = {};
  move_down(list().footer_line);
  if (list().has_footer) run_aside(list().footer, BlockKind::kFooter);
  channel_write_marker(Marker::kNewPage);
  fresh_page();
  ++list().page;
  if (goes_on) start_body();
}

}  // namespace marigold::inner
