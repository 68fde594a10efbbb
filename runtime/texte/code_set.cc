// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/code_set.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "runtime/core/settings.h"
#include "runtime/texte/language.h"

namespace marigold {

using namespace inner;

namespace {

constexpr char kFirstAscii = 1;
constexpr char kLastAscii = 127;

bool is_number(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// Returns the converter's name of a code set.
std::string converter_name(const std::string& name) {
  constexpr std::string_view kIsoFamily = "8859";
  if (name == kIsoFamily) return "ISO-8859-1";
  if (name.starts_with("8859-")) return "ISO-" + name;
  if (is_number(name)) return "CP" + name;
  return name;
}

std::string all_ascii() {
  std::string characters;
  for (char character = kFirstAscii; character < kLastAscii; ++character)
    characters += character;
  return characters + kLastAscii;
}

bool leaves_as_it_is(const CharacterConversion& conversion, const std::string& text) {
  std::string converted;
  return conversion.convert(text, converted) == std::string::npos && converted == text;
}

std::string as_utf8(char32_t character) {
  constexpr unsigned kPayload = 6;
  constexpr char32_t kMask = 0x3F;
  constexpr char32_t kFollower = 0x80;
  std::string bytes;
  if (character < 0x80) return {static_cast<char>(character)};
  if (character < 0x800) {
    bytes += static_cast<char>(0xC0U | character >> kPayload);
  } else {
    bytes += static_cast<char>(0xE0U | character >> 2 * kPayload);
    bytes += static_cast<char>(kFollower | (character >> kPayload & kMask));
  }
  bytes += static_cast<char>(kFollower | (character & kMask));
  return bytes;
}

// Whether a byte of a UTF-8 text is one of a character's bytes after the first.
bool is_inside_character(std::string_view text, std::size_t position) {
  constexpr unsigned kTopBits = 0xC0;
  constexpr unsigned kContinuation = 0x80;
  return position < text.size() &&
         (static_cast<unsigned char>(text[position]) & kTopBits) == kContinuation;
}

// Converts there and back, and compares: the converter drops some characters silently, and in some
// code sets one character has two codes.
std::size_t convert_both_ways(const CharacterConversion& there, const CharacterConversion& back,
                              std::string_view input, std::string& output) {
  const std::size_t failed = there.convert(input, output);
  if (failed != std::string::npos) return failed;
  std::string again;
  back.convert(output, again);
  if (again == input) return std::string::npos;
  const auto differs = std::ranges::mismatch(input, again).in1;
  return static_cast<std::size_t>(differs - input.begin());
}

}  // namespace

bool inner::hides_ascii(std::string_view converter_name, const CharacterConversion& from_utf8) {
  // The usual code sets need no search, which takes 65,000 conversions.
  for (const std::string_view innocent : {"UTF-8", "utf-8", "utf8", "ASCII", "ISO-8859-1"})
    if (converter_name == innocent) return false;
  // A code set with such characters has some within the first 65,536. In a code set with accents
  // after their letters (1258) the letter comes first and is plain ASCII.
  constexpr char32_t kFirst = 0x80;
  constexpr char32_t kLast = 0xFFFF;
  std::string bytes;
  for (char32_t character = kFirst; character <= kLast; ++character) {
    if (from_utf8.convert(as_utf8(character), bytes) != std::string::npos) continue;
    const auto is_low = [](char byte) { return static_cast<unsigned char>(byte) <= kLastAscii; };
    if (bytes.size() > 1 && std::any_of(bytes.begin() + 1, bytes.end(), is_low)) return true;
  }
  return false;
}

struct CodeSet::State {
  std::string name;
  std::string converter;
  CharacterConversion to_bytes;
  CharacterConversion to_text;

  // True if there is such a code set. The converter's own suffixes would let it replace characters.
  bool open() {
    converter = converter_name(name);
    const bool plain = converter.find('/') == std::string::npos && !converter.empty();
    return plain && to_bytes.open(converter, "UTF-8") && to_text.open("UTF-8", converter);
  }

  [[nodiscard]] bool keeps_ascii() const {
    const std::string ascii = all_ascii();
    return leaves_as_it_is(to_bytes, ascii) && leaves_as_it_is(to_text, ascii);
  }
};

CodeSet::CodeSet() : state_(std::make_unique<State>()) {}
CodeSet::~CodeSet() = default;
CodeSet::CodeSet(CodeSet&&) noexcept = default;
CodeSet& CodeSet::operator=(CodeSet&&) noexcept = default;

bool CodeSet::open(const std::string& name, std::string& reason) {
  state_->name = name;
  if (!state_->open()) {
    reason = "the code set \"" + name + "\" is not known";
    return false;
  }
  if (state_->keeps_ascii()) return true;
  reason = "the code set \"" + name +
           "\" cannot be used for texts: ASCII characters are not single bytes of the same "
           "number in it";
  return false;
}

bool CodeSet::open_for_texts(const std::string& name, std::string& reason) {
  if (!open(name, reason)) return false;
  if (!hides_ascii(state_->converter, state_->to_bytes)) return true;
  reason =
      "the code set \"" + name +
      "\" cannot be used for texts: bytes inside its characters are those of ASCII characters, "
      "% and \\ among them, and programs would take them for directives and escapes";
  return false;
}

std::size_t CodeSet::to_bytes(std::string_view text, std::string& bytes) const {
  return convert_both_ways(state_->to_bytes, state_->to_text, text, bytes);
}

std::size_t CodeSet::to_text(std::string_view bytes, std::string& text) const {
  return convert_both_ways(state_->to_text, state_->to_bytes, bytes, text);
}

std::string CodeSet::describe_lacking(std::string_view text, std::size_t position) const {
  return "the code set " + state_->name + " lacks " + describe_character(text, position);
}

const std::string& CodeSet::name() const {
  return state_->name;
}

std::string code_set_of_environment() {
  settings_read();
  return lang_split_identifier(settings().language_identifier.view()).code_set.c_str();
}

std::size_t inner::character_length(std::string_view text, std::size_t position) {
  std::size_t length = 1;
  while (is_inside_character(text, position + length))
    ++length;
  return length;
}

std::string latin1_as_utf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes)
    text += as_utf8(static_cast<unsigned char>(byte));
  return text;
}

std::string inner::describe_character(std::string_view text, std::size_t position) {
  while (position > 0 && is_inside_character(text, position))
    --position;
  const std::string_view character = text.substr(position, character_length(text, position));
  constexpr unsigned kPayloadOfFollower = 0x3F;
  constexpr std::array<unsigned, 5> kPayloadOfFirst = {0, 0x7F, 0x1F, 0x0F, 0x07};
  const std::size_t length = std::min(character.size(), kPayloadOfFirst.size() - 1);
  unsigned number = static_cast<unsigned char>(character.front()) & kPayloadOfFirst[length];
  for (std::size_t i = 1; i < length; ++i)
    number = number << 6U | (static_cast<unsigned char>(character[i]) & kPayloadOfFollower);
  std::array<char, 16> code{};
  std::snprintf(code.data(), code.size(), "U+%04X", number);
  constexpr unsigned kFirstPrintable = 0xA0;
  if (number < kFirstPrintable) return code.data();
  return std::string("\"").append(character).append("\" (").append(code.data()).append(")");
}

bool inner::is_utf8(std::string_view text) {
  CharacterConversion same;
  std::string copy;
  return same.open("UTF-8", "UTF-8") && same.convert(text, copy) == std::string::npos;
}

}  // namespace marigold
