// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/list_language/writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "runtime/print/output/meta_marker.h"
#include "tools/list_language/line.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

std::string in_braces(std::string_view words) {
  return std::string("{").append(words).append("}");
}

// Returns the marker at the beginning of a text, without the bytes around it; "" without one.
std::string_view leading_marker(std::string_view text) {
  if (text.empty() || text.front() != kMarkerByte) return {};
  const std::size_t end = text.find(kMarkerByte, 1);
  if (end == std::string_view::npos) return {};
  const std::string_view marker = text.substr(1, end - 1);
  const bool plain = std::ranges::all_of(marker, is_visible) && marker.find('}') == marker.npos;
  return plain ? marker : std::string_view();
}

std::string number_in_brackets(std::int32_t number, std::int32_t usual) {
  return number == usual ? "" : std::string("[").append(std::to_string(number)).append("]");
}

std::string as_number(double number) {
  if (!std::isfinite(number)) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "bits %016llX",
                  static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(number)));
    return text.data();
  }
  std::array<char, 400> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  const std::string text(digits.data(), end);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

std::string as_value(const BlockValue& value) {
  switch (value.kind) {
    case BlockValue::Kind::kInteger:
      return std::to_string(value.integer);
    case BlockValue::Kind::kNumber:
      return as_number(value.number);
    case BlockValue::Kind::kVariable:
      return std::string("$").append(written_variable(value.variable, value.generation));
  }
  return {};
}

std::string as_position(const BlockValue& mode, const BlockValue& value) {
  if (mode.kind == BlockValue::Kind::kInteger) {
    if (mode.integer == static_cast<std::int32_t>(PlaceMode::kAbsolute)) return as_value(value);
    if (mode.integer == static_cast<std::int32_t>(PlaceMode::kCurrent))
      return std::string("=").append(as_value(value));
    if (mode.integer == static_cast<std::int32_t>(PlaceMode::kCurrentPlus))
      return std::string("+").append(as_value(value));
  }
  return std::string("mode ").append(as_value(mode)).append(" ").append(as_value(value));
}

std::string as_place(const Instruction& place) {
  const BlockValue stay = {.integer = static_cast<std::int32_t>(PlaceMode::kCurrent)};
  std::string text;
  const auto add = [&](const char* word, const BlockValue& mode, const BlockValue& value) {
    if (mode == stay && value == BlockValue{}) return;
    text.append(text.empty() ? "" : " ").append(word).append(" ").append(as_position(mode, value));
  };
  add("line", place.values[0], place.values[1]);
  add("column", place.values[2], place.values[3]);
  return in_braces(text.empty() ? "here" : text);
}

std::string as_mask(std::string_view mask) {
  const bool plain = mask.find_first_not_of("#0123456789,.-+:/") == std::string_view::npos &&
                     mask.find_first_not_of("0123456789") != std::string_view::npos;
  return plain ? std::string(mask) : written_quoted(mask, '\'');
}

std::string as_printed_number(std::string_view words, std::string_view mask) {
  std::string text(words);
  if (!mask.empty()) text.append(" ").append(as_mask(mask));
  return in_braces(text);
}

// Fills the item with blanks to the width of the field, if blanks can show that width.
std::string as_field(const Instruction& field) {
  const bool of_record = field.code == BlockCode::kRecordField;
  std::string words(of_record ? "." : "");
  words += written_name(field.text, NameKind::kVariable) +
           number_in_brackets(field.generation, of_record ? 1 : 0);
  if (!field.mask.empty()) words.append(" ").append(as_mask(field.mask));
  if (field.total != 0) words.append(" total ").append(std::to_string(field.total));
  const Alignment usual = field.mask.empty() ? Alignment::kLeft : Alignment::kMask;
  const auto usual_width = static_cast<std::int32_t>(field.mask.size());
  const auto drawn = static_cast<std::int32_t>(words.size()) + 2;
  constexpr std::int32_t kWidest = 250;  // more blanks show nothing
  const bool draw = field.width != usual_width && field.width > drawn && field.width <= kWidest;
  const bool to_the_right = draw && field.alignment == Alignment::kRight;
  if (field.alignment != usual && !to_the_right) {
    constexpr std::array<const char*, 3> kWords = {" left", " right", " mask"};
    words += kWords.at(static_cast<std::size_t>(field.alignment));
  }
  if (draw && field.width > static_cast<std::int32_t>(words.size()) + 2) {
    const std::string blanks(static_cast<std::size_t>(field.width) - words.size() - 2, ' ');
    return in_braces(to_the_right ? blanks + words : words + blanks);
  }
  if (field.width != usual_width)
    words.append(field.width < 0 ? " width " : " ").append(std::to_string(field.width));
  return in_braces(words);
}

}  // namespace

std::string written_text(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::string_view marker = leading_marker(text);
    if (!marker.empty()) {
      result.append("{@").append(marker).append("}");
      text.remove_prefix(marker.size() + 2);
      continue;
    }
    const char character = text.front();
    const auto code = static_cast<unsigned char>(character);
    if (character == '{' || character == '}') {
      result.append(2, character);
    } else if (is_visible(character)) {
      result += character;
    } else {
      result.append("{#").append({kHexDigits[code / 16], kHexDigits[code % 16], '}'});
    }
    text.remove_prefix(1);
  }
  return result;
}

std::string written_variable(std::string_view name, std::int32_t generation) {
  return written_name(name, NameKind::kVariable) + number_in_brackets(generation, 0);
}

std::string written_item(const Instruction& instruction) {
  const int code = static_cast<int>(instruction.code);
  constexpr int kFirstRegister = static_cast<int>(BlockCode::kFirstRegister);
  if (instruction.code >= BlockCode::kFirstRegister && instruction.code <= BlockCode::kLastRegister)
    return as_printed_number(std::string("register ").append(std::to_string(code - kFirstRegister)),
                             instruction.mask);
  switch (instruction.code) {
    case BlockCode::kPitch:
      return in_braces(std::string("pitch ").append(as_value(instruction.values[0])));
    case BlockCode::kColumnPitch:
      return in_braces(std::string("columns ").append(as_value(instruction.values[0])));
    case BlockCode::kPlace:
      return as_place(instruction);
    case BlockCode::kText:
      return in_braces(written_quoted(instruction.text, '"'));
    case BlockCode::kField:
    case BlockCode::kRecordField:
      return as_field(instruction);
    case BlockCode::kBoldOn:
      return "{b}";
    case BlockCode::kBoldOff:
      return "{/b}";
    case BlockCode::kShortDate:
      return "{date}";
    case BlockCode::kLongDate:
      return "{longdate}";
    case BlockCode::kPage:
      return as_printed_number("page", instruction.mask);
    case BlockCode::kEject:
      return "{eject}";
    default:
      return in_braces(std::string("code ").append(std::to_string(code)));
  }
}

}  // namespace marigold::inner
