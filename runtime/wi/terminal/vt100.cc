// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/terminal/vt100.h"

#include <array>
#include <cstdio>

#include "marigold/windows.h"
#include "runtime/platform/stream.h"
#include "runtime/wi/terminal/terminal_console.h"

namespace marigold::inner {
namespace {

struct Transition {
  std::uint8_t attribute;
  std::string_view on;
  std::string_view off;
};

// In the order of output. Bright and the second highlight have no look on this screen; the table
// keeps a place for each.
constexpr std::array<Transition, 3> kTransitions = {{
    {kAttributeSecondHighlight, "", ""},
    {kAttributeReverse, "\x1B[7m", "\x1B[m"},
    {kAttributeBright, "", ""},
}};

constexpr std::uint8_t kNotShown = '.';
constexpr std::uint8_t kDelete = 127;
constexpr char kUtf8LeadOfControls = '\xC2';

}  // namespace

void Vt100::clear() {
  append("\x1B[H\x1B[J");
}

void Vt100::place_cursor(int column, int row) {
  std::array<char, 32> sequence{};  // two numbers of up to 11 characters, and 4 around them
  const int length = std::snprintf(sequence.data(), sequence.size(), "\x1B[%d;%dH", row, column);
  append({sequence.data(), static_cast<std::size_t>(length)});
}

void Vt100::bell() {
  append("\a");
}

void Vt100::set_attribute(std::uint8_t attribute) {
  const unsigned changed = now_.attribute ^ attribute;
  for (const Transition& transition : kTransitions) {
    if ((changed & transition.attribute) == 0) continue;
    append((attribute & transition.attribute) != 0 ? transition.on : transition.off);
  }
  now_.attribute = attribute;
}

void Vt100::reset_attribute() {
  append("\x1B[m");
  now_.attribute = 0;
}

bool Vt100::is_control(std::uint8_t byte) const {
  if (byte < ' ' || byte == kDelete) return true;
  if (byte < 128 || byte > 159) return false;
  return charset_ == TerminalCharset::kIso8859 ||
         (charset_ == TerminalCharset::kUtf8 && now_.last == kUtf8LeadOfControls);
}

void Vt100::put(std::uint8_t byte) {
  const char shown = static_cast<char>(is_control(byte) ? kNotShown : byte);
  append({&shown, 1});
}

void Vt100::flush() {
  const auto send = terminal_console().send;
  if (send != nullptr) {
    send(bytes_.view());
  } else {
    static_cast<void>(stream_write(Stream::kOutput, bytes_.view()));
  }
  bytes_.clear();
  sent_ = now_;
  has_sent_part_ = false;
}

void Vt100::drop() {
  bytes_.clear();
  now_ = sent_;
}

void Vt100::append(std::string_view bytes) {
  if (!bytes_.append(bytes)) {
    flush();
    has_sent_part_ = true;
    bytes_.append_cut(bytes);
  }
  if (!bytes.empty()) now_.last = bytes.back();
}

}  // namespace marigold::inner
