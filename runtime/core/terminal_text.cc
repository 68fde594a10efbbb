// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/terminal_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "runtime/platform/stream.h"

namespace marigold::inner {
namespace {

bool is_there(const char* value) {
  return value != nullptr && *value != 0;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

unsigned byte_at(std::string_view text, std::size_t place) {
  return place < text.size() ? static_cast<unsigned char>(text[place]) : 0U;
}

bool is_upper_control(unsigned value) {
  return value >= 0x80U && value <= 0x9FU;
}

// Returns the size of the UTF-8 character beyond ASCII at the beginning of the text; 0 if the text
// does not begin with one.
std::size_t utf8_size(std::string_view text) {
  const unsigned lead = byte_at(text, 0);
  if (lead < 0xC2U || lead > 0xF4U) return 0;
  const std::size_t size = lead < 0xE0U ? 2 : lead < 0xF0U ? 3 : 4;
  const unsigned second = byte_at(text, 1);
  // Refuses an overlong form, a surrogate, and a character beyond the last one.
  if ((lead == 0xE0U && second < 0xA0U) || (lead == 0xEDU && second > 0x9FU)) return 0;
  if ((lead == 0xF0U && second < 0x90U) || (lead == 0xF4U && second > 0x8FU)) return 0;
  for (std::size_t place = 1; place < size; ++place)
    if ((byte_at(text, place) & 0xC0U) != 0x80U) return 0;
  return size;
}

bool is_control(std::string_view text, LineEnds line_ends) {
  const unsigned byte = byte_at(text, 0);
  if (byte == '\t' || (byte == '\n' && line_ends == LineEnds::kKept)) return false;
  return byte < 0x20U || byte == 0x7FU || is_upper_control(byte);
}

void append_shown(std::string& shown, unsigned byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  shown.append("\\x").append(1, kDigits[byte >> 4U]).append(1, kDigits[byte & 0xFU]);
}

}  // namespace

TerminalCharset terminal_charset(const char* lc_all, const char* lc_ctype, const char* lang) {
  std::string_view locale;
  for (const char* value : {lang, lc_ctype, lc_all}) {
    if (is_there(value)) locale = value;
  }
  const std::size_t point = std::min(locale.find('.'), locale.size());
  std::string_view rest = locale.substr(point);
  const std::string set = lower_case(rest.substr(0, rest.find('@')));
  if (set == ".utf-8" || set == ".utf8") return TerminalCharset::kUtf8;
  return set.find("8859") != std::string::npos ? TerminalCharset::kIso8859
                                               : TerminalCharset::kUnknown;
}

TerminalCharset terminal_charset() {
  return terminal_charset(std::getenv("LC_ALL"), std::getenv("LC_CTYPE"), std::getenv("LANG"));
}

std::string visible_text(std::string_view text, TerminalCharset charset, LineEnds line_ends) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t utf8 = charset == TerminalCharset::kUtf8 ? utf8_size(text) : 0;
    const std::size_t size = std::max<std::size_t>(utf8, 1);
    const bool control =
        utf8 == 0 ? is_control(text, line_ends)
                  : utf8 == 2 && byte_at(text, 0) == 0xC2U && is_upper_control(byte_at(text, 1));
    for (const char byte : text.substr(0, size)) {
      if (control)
        append_shown(shown, static_cast<unsigned char>(byte));
      else
        shown += byte;
    }
    text.remove_prefix(size);
  }
  return shown;
}

int write_visible(std::string_view bytes) {
  if (!stream_is_terminal(Stream::kOutput)) return stream_write(Stream::kOutput, bytes);
  return stream_write(Stream::kOutput, visible_text(bytes, terminal_charset(), LineEnds::kKept));
}

std::string error_text(std::string_view text, LineEnds line_ends) {
  if (!stream_is_terminal(Stream::kError)) return std::string(text);
  return visible_text(text, terminal_charset(), line_ends);
}

}  // namespace marigold::inner
