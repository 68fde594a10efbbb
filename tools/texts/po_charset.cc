// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/po_charset.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace marigold::inner {
namespace {

constexpr char kFirstPrintable = ' ';
constexpr char kLastAscii = '\x7F';

bool is_ascii(char character) {
  return character >= '\0' && character <= kLastAscii;
}

void append_escapes(std::string_view bytes, std::string& output) {
  for (const char byte : bytes) {
    std::array<char, 8> number{};
    std::snprintf(number.data(), number.size(), "\\%03o", static_cast<unsigned char>(byte));
    output += number.data();
  }
}

void replace_all(std::string& text, std::string_view what, char by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    text.replace(at, what.size(), 1, by);
}

}  // namespace

bool PoCharset::open(const std::string& name) {
  name_ = name;
  const bool known = name.find('/') == std::string::npos && to_utf8_.open("UTF-8", name) &&
                     from_utf8_.open(name, "UTF-8");
  if (!known) return false;
  hides_ascii_ = marigold::inner::hides_ascii(name, from_utf8_);
  if (hides_ascii_) find_other_ascii();
  return true;
}

void PoCharset::find_other_ascii() {
  for (char byte = kFirstPrintable; byte < kLastAscii; ++byte) {
    std::string text;
    const bool whole = to_utf8_.convert({&byte, 1}, text) == std::string::npos;
    if (whole && text.size() > 1) other_ascii_.emplace_back(text, byte);
  }
}

std::size_t PoCharset::to_utf8(std::string_view bytes, std::string& text) const {
  const std::size_t failed = to_utf8_.convert(bytes, text);
  for (const auto& [other, ascii] : other_ascii_)
    replace_all(text, other, ascii);
  return failed;
}

std::size_t PoCharset::escape(std::string_view file, std::string& escaped) const {
  escaped.clear();
  std::string text;
  const std::size_t failed = to_utf8(file, text);
  if (failed != std::string::npos) return failed;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n') + 1);
    const std::size_t length = line.empty() ? rest.size() : line.size();
    if (!escape_line(rest.substr(0, length), escaped)) return 0;
    rest.remove_prefix(length);
  }
  return std::string::npos;
}

bool PoCharset::escape_line(std::string_view line, std::string& escaped) const {
  // Readers look in a comment for its line end only, not for escapes.
  const bool is_comment = line.starts_with('#');
  // Converts a run of characters together: a charset with shifts shares them within a run.
  while (!line.empty()) {
    const auto run_start = std::ranges::find_if_not(line, is_ascii);
    escaped.append(line.begin(), run_start);
    const auto run_end = std::find_if(run_start, line.end(), is_ascii);
    std::string bytes;
    // A character with two codes in the charset may come back with the other code; both mean the
    // same.
    if (from_utf8_.convert({run_start, run_end}, bytes) != std::string::npos) return false;
    if (is_comment) {
      escaped += bytes;
    } else {
      append_escapes(bytes, escaped);
    }
    line = {run_end, line.end()};
  }
  return true;
}

std::string po_charset_named(std::string_view file) {
  constexpr std::string_view kLabel = "charset=";
  while (!file.empty()) {
    const std::string_view line = file.substr(0, file.find('\n'));
    file.remove_prefix(std::min(line.size() + 1, file.size()));
    const std::size_t label = line.find(kLabel);
    if (line.starts_with('#') || label == std::string_view::npos) continue;
    const std::string_view name = line.substr(label + kLabel.size());
    return std::string(name.substr(0, name.find_first_of(" \t\r;\\\"")));
  }
  return "";
}

int po_line_at(std::string_view file, std::size_t position) {
  const auto end = file.begin() + static_cast<std::ptrdiff_t>(std::min(position, file.size()));
  return 1 + static_cast<int>(std::count(file.begin(), end, '\n'));
}

}  // namespace marigold::inner
