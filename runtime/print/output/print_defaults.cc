// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/print_defaults.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <system_error>

#include "runtime/core/settings.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kFileName = "DEFAULT.DAT";
constexpr std::string_view kBlanks = " \t\r";
constexpr std::size_t kDateLength = 10;
constexpr int kLongestPage = 9999;

struct State {
  PrintDefaults defaults;
  bool ready = false;  // loaded or set
};
State state;

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// ---- Values. Each function returns the reason why a value is wrong, or null.

std::optional<char> hexadecimal(std::string_view digits) {
  unsigned value = 0;
  const char* end = digits.data() + digits.size();
  const auto [stopped, error] = std::from_chars(digits.data(), end, value, 16);
  if (digits.size() != 2 || error != std::errc() || stopped != end) return std::nullopt;
  return static_cast<char>(value);
}

struct Escape {
  char letter;
  char byte;
};
constexpr Escape kEscapes[] = {{'e', 27}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'},
                               {'f', 12}, {'s', ' '},  {'\\', '\\'}};

// Takes an escape from the front of the text; its backslash has been taken already.
std::optional<char> take_escape(std::string_view& text) {
  if (text.starts_with('x')) {
    const std::optional<char> byte = hexadecimal(text.substr(1, 2));
    text.remove_prefix(std::min<std::size_t>(3, text.size()));
    return byte;
  }
  for (const auto& [letter, byte] : kEscapes) {
    if (!text.starts_with(letter)) continue;
    text.remove_prefix(1);
    return byte;
  }
  return std::nullopt;
}

const char* take_bytes(std::string_view value, std::size_t most, std::string& target) {
  std::string bytes;
  while (!value.empty()) {
    char byte = value.front();
    value.remove_prefix(1);
    if (byte == '\\') {
      const std::optional<char> escaped = take_escape(value);
      if (!escaped) return "unknown escape; there are \\e \\n \\r \\t \\f \\s \\\\ and \\xHH";
      byte = *escaped;
    }
    bytes += byte;
  }
  if (bytes.size() > most) return "too many bytes (bold at most 10, a pitch at most 250)";
  target = bytes;
  return nullptr;
}

const char* take_lines(std::string_view value, int& target) {
  int lines = 0;
  const char* end = value.data() + value.size();
  const auto [stopped, error] = std::from_chars(value.data(), end, lines);
  if (error != std::errc() || stopped != end || lines < 0 || lines > kLongestPage)
    return "not a number of lines (0 to 9999)";
  target = lines;
  return nullptr;
}

const char* take_date(std::string_view value, std::string& target) {
  bool right = value.empty() || value.size() == kDateLength;
  for (std::size_t at = 0; at < value.size() && right; ++at)
    right = at == 2 || at == 5 ? value[at] == '.' : value[at] >= '0' && value[at] <= '9';
  if (!right) return "not a date (DD.MM.YYYY)";
  target = value;
  return nullptr;
}

// ---- Lines

struct Entry {
  std::string_view key;
  const char* (*take)(std::string_view value, PrintDefaults& defaults);
};
constexpr Entry kEntries[] = {
    {"pitch_10",
     [](auto value, auto& to) { return take_bytes(value, kLongestPitchText, to.pitch_10); }},
    {"pitch_12",
     [](auto value, auto& to) { return take_bytes(value, kLongestPitchText, to.pitch_12); }},
    {"pitch_17",
     [](auto value, auto& to) { return take_bytes(value, kLongestPitchText, to.pitch_17); }},
    {"bold_on",
     [](auto value, auto& to) { return take_bytes(value, kLongestBoldText, to.bold_on); }},
    {"bold_off",
     [](auto value, auto& to) { return take_bytes(value, kLongestBoldText, to.bold_off); }},
    {"today", [](auto value, auto& to) { return take_date(value, to.today); }},
    {"page_limit", [](auto value, auto& to) { return take_lines(value, to.page_limit); }},
    {"page_limit_first_line",
     [](auto value, auto& to) { return take_lines(value, to.page_limit_first_line); }},
};

const char* take_line(std::string_view line, PrintDefaults& defaults) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return "neither a comment (#) nor KEY = VALUE";
  const std::string_view key = trimmed(line.substr(0, equals));
  for (const Entry& entry : kEntries)
    if (entry.key == key) return entry.take(trimmed(line.substr(equals + 1)), defaults);
  return "unknown key";
}

}  // namespace

std::vector<PrintDefaultsError> print_defaults_scan(std::string_view text,
                                                    PrintDefaults& defaults) {
  std::vector<PrintDefaultsError> errors;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.front() == '#') continue;
    if (const char* reason = take_line(line, defaults)) errors.push_back({number, reason});
  }
  return errors;
}

std::string print_defaults_path(std::string_view directory) {
  return path_join(directory, kFileName);
}

int print_defaults_read(const std::string& path, PrintDefaults& defaults,
                        std::vector<PrintDefaultsError>& errors) {
  if (file_size(path.c_str()) > kLargestDefaultsFile) return EFBIG;
  std::string text;
  if (const int failed = file_read(path.c_str(), text)) return failed;
  errors = print_defaults_scan(text, defaults);
  return 0;
}

void print_defaults_load() {
  const std::string path = print_defaults_path(settings().print_directory.view());
  const auto warn = [&](const std::string& reason) {
    user_interface().warning((path + reason).c_str());
  };
  PrintDefaults defaults;
  std::vector<PrintDefaultsError> errors;
  if (const int failed = print_defaults_read(path, defaults, errors)) {
    warn(": " + system_error_text(failed));
    raise_fatal(kErrorPrintDefaults);
  }
  print_defaults_set(defaults);
  for (const auto& [line, reason] : errors)
    warn(":" + std::to_string(line) + ": " + reason);
}

void print_defaults_start() {
  if (!state.ready) print_defaults_load();
}

const PrintDefaults& print_defaults() {
  return state.defaults;
}

void print_defaults_set(const PrintDefaults& defaults) {
  state.defaults = defaults;
  state.ready = true;
}

void print_defaults_reset() {
  state = {};
}

std::string print_today() {
  if (!state.defaults.today.empty()) return state.defaults.today;
  const LocalTime now = clock_local_time();
  std::string day = "DD.MM.YYYY";
  const auto put = [&](std::size_t at, std::size_t digits, int number) {
    for (std::size_t place = at + digits; place-- > at; number /= 10)
      day[place] = static_cast<char>('0' + number % 10);
  };
  put(0, 2, now.day);
  put(3, 2, now.month);
  put(6, 4, now.year);
  return day;
}

std::string print_short_date(std::string_view day) {
  constexpr std::size_t kYear = 2;
  const std::size_t year = day.size() - std::min(kYear, day.size());
  return std::string(day.substr(0, 6)).append(day.substr(year));
}

}  // namespace marigold::inner
