// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/character_conversion.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

struct NamedCodePage {
  std::string_view name;
  UINT code_page;
};
constexpr NamedCodePage kNamed[] = {
    {"UTF-8", CP_UTF8}, {"UTF8", CP_UTF8},  {"ASCII", 20127},   {"US-ASCII", 20127},
    {"LATIN1", 28591},  {"LATIN-9", 28605}, {"LATIN9", 28605},  {"KOI8-R", 20866},
    {"KOI8-U", 21866},  {"SHIFT_JIS", 932}, {"SJIS", 932},      {"GBK", 936},
    {"BIG5", 950},      {"EUC-KR", 949},    {"GB18030", 54936}, {"EUC-JP", 20932},
};

struct Series {
  std::string_view prefix;
  UINT first;  // the code page of number 0
};
// "ISO-8859-15" is 28605, "CP1252" 1252.
constexpr Series kSeries[] = {{"ISO-8859-", 28590}, {"ISO8859-", 28590},
                              {"ISO_8859-", 28590}, {"CP", 0},
                              {"WINDOWS-", 0},      {"IBM", 0}};

std::optional<UINT> number_of(std::string_view digits) {
  UINT number = 0;
  const auto [end, failed] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (failed != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

std::optional<UINT> code_page_of(std::string name) {
  for (char& c : name)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const auto& [known, code_page] : kNamed)
    if (name == known) return code_page;
  for (const auto& [prefix, first] : kSeries) {
    if (!name.starts_with(prefix)) continue;
    const std::optional<UINT> number = number_of(std::string_view(name).substr(prefix.size()));
    if (number && IsValidCodePage(first + *number) != 0) return first + *number;
  }
  return std::nullopt;
}

// The code pages of Windows give a byte without a character the control character of its number,
// which such a text would not have on other systems.
bool leaves_bytes_free(UINT code_page) {
  return code_page == 874 || (code_page >= 1250 && code_page <= 1258);
}

bool has_control_of_c1(std::wstring_view text) {
  return std::ranges::any_of(text, [](wchar_t c) { return c >= 0x80 && c < 0xA0; });
}

}  // namespace

class CharacterConversion::Converter {
 public:
  Converter(UINT to, UINT from)
      : to_(to), from_(from), no_c1_(leaves_bytes_free(to) || leaves_bytes_free(from)) {}

  // Converts the text if each of its characters has an exact counterpart.
  bool convert(std::string_view text, std::string& output) const {
    output.clear();
    if (text.empty()) return true;
    const auto length = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    const int units =
        MultiByteToWideChar(from_, MB_ERR_INVALID_CHARS, text.data(), length, wide.data(), length);
    if (units == 0) return false;
    wide.resize(static_cast<std::size_t>(units));
    if (no_c1_ && has_control_of_c1(wide)) return false;
    constexpr std::size_t kMostBytes = 4;  // of a character
    output.resize(static_cast<std::size_t>(units) * kMostBytes);
    BOOL replaced = FALSE;
    const bool unicode = to_ == CP_UTF8 || to_ == 54936;
    const int bytes = WideCharToMultiByte(
        to_, unicode ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS, wide.data(), units,
        output.data(), static_cast<int>(output.size()), nullptr, unicode ? nullptr : &replaced);
    output.resize(static_cast<std::size_t>(bytes));
    return bytes > 0 && replaced == FALSE;
  }

  // Returns the length of the first character: the shortest beginning that is one.
  [[nodiscard]] std::size_t first_character(std::string_view text) const {
    constexpr std::size_t kMostBytes = 4;
    std::array<wchar_t, 4> wide{};
    for (std::size_t length = 1; length <= kMostBytes && length <= text.size(); ++length)
      if (MultiByteToWideChar(from_, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(length),
                              wide.data(), static_cast<int>(wide.size())) != 0)
        return length;
    return 1;
  }

 private:
  UINT to_;
  UINT from_;
  bool no_c1_;
};

CharacterConversion::CharacterConversion() = default;
CharacterConversion::~CharacterConversion() = default;
CharacterConversion::CharacterConversion(CharacterConversion&&) noexcept = default;
CharacterConversion& CharacterConversion::operator=(CharacterConversion&&) noexcept = default;

bool CharacterConversion::open(const std::string& to, const std::string& from) {
  const std::optional<UINT> target = code_page_of(to);
  const std::optional<UINT> source = code_page_of(from);
  if (!target || !source) return false;
  converter_ = std::make_unique<Converter>(*target, *source);
  return true;
}

// The system does not say which character failed, so they are converted one by one then.
std::size_t CharacterConversion::convert(std::string_view text, std::string& output) const {
  if (converter_->convert(text, output)) return std::string::npos;
  std::string whole;
  std::string one;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = converter_->first_character(text.substr(at));
    if (!converter_->convert(text.substr(at, length), one)) break;
    whole += one;
    at += length;
  }
  output = whole;
  return at < text.size() ? at : std::string::npos;
}

}  // namespace marigold::inner
