// SPDX-License-Identifier: GPL-3.0-or-later
// Compiles the items in braces in a line of a block.

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>

#include "runtime/data/definition/definition.h"
#include "runtime/print/output/meta_marker.h"
#include "tools/list_language/block.h"

namespace marigold::inner {
namespace {

constexpr int kShortDateWidth = 8;
constexpr int kLongDateWidth = 10;
constexpr std::int64_t kLeastInteger = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMostInteger = std::numeric_limits<std::int32_t>::max();
constexpr std::string_view kNumberCharacters = "+-.0123456789eE";
constexpr std::string_view kMaskCharacters = "#0123456789,.-+:/";

constexpr std::int32_t kAbsolute = static_cast<std::int32_t>(PlaceMode::kAbsolute);
constexpr std::int32_t kCurrent = static_cast<std::int32_t>(PlaceMode::kCurrent);
constexpr std::int32_t kCurrentPlus = static_cast<std::int32_t>(PlaceMode::kCurrentPlus);

bool is_small(char c) {
  return c >= 'a' && c <= 'z';
}

bool end_of_item(SourceLine& line) {
  line.skip_blanks();
  return line.take('}') || line.expected("\"}\"");
}

}  // namespace

const BlockCompiler::Word BlockCompiler::kWords[] = {
    {"page", &BlockCompiler::page_item},
    {"date", &BlockCompiler::date_item},
    {"longdate", &BlockCompiler::long_date_item},
    {"register", &BlockCompiler::register_item},
    {"eject", &BlockCompiler::eject_item},
    {"b", &BlockCompiler::bold_item},
    {"pitch", &BlockCompiler::pitch_item},
    {"columns", &BlockCompiler::columns_item},
    {"line", &BlockCompiler::place_item},
    {"column", &BlockCompiler::place_item},
    {"here", &BlockCompiler::place_item},
    {"if", &BlockCompiler::if_item},
    {"end", &BlockCompiler::end_item},
    {"jump", &BlockCompiler::jump_item},
    {"at", &BlockCompiler::at_item},
    {"code", &BlockCompiler::code_item},
};

// After an error, reading goes on after the item, whose end may have been read already.
void BlockCompiler::item(SourceLine& line) {
  if (item_inside(line) || line.text()[line.at() - 1] == '}') return;
  const std::size_t end = line.text().find('}', line.at());
  line.go_to(end == std::string_view::npos ? line.text().size() : end + 1);
}

bool BlockCompiler::item_inside(SourceLine& line) {
  line.go_to(line.at() + 1);
  if (line.take('#')) return bytes_item(line);
  if (line.take('@')) return marker_item(line);
  if (line.next() == '"') return quoted_item(line);
  const std::size_t leading = line.skip_blanks();
  const std::size_t place = line.at();
  if (line.take('/')) {
    if (line.word() != "b") return line.error_at(place, "expected {/b}");
    if (!end_of_item(line)) return false;
    switch_bold(false);
    return true;
  }
  if (!is_small(line.next())) return field_item(line, leading);
  const std::string_view word = line.word();
  const auto* row = std::ranges::find(kWords, word, &Word::word);
  if (row == std::end(kWords))
    return line.error_at(place, in_message(word) +
                                    " is no word of this language; a name in small letters needs "
                                    "single quotes");
  if (row->handler == &BlockCompiler::place_item) line.go_to(place);  // several words
  return (this->*row->handler)(line);
}

// ---- Texts

bool BlockCompiler::bytes_item(SourceLine& line) {
  do {
    const int high = hex_digit(line.next());
    if (high >= 0) line.go_to(line.at() + 1);
    const int low = high < 0 ? -1 : hex_digit(line.next());
    if (low < 0) return line.expected("two hexadecimal digits for each character");
    line.go_to(line.at() + 1);
    text_ += static_cast<char>(high * 16 + low);
    advance(line, 1);
  } while (!line.take('}'));
  return true;
}

bool BlockCompiler::marker_item(SourceLine& line) {
  const std::size_t place = line.at();
  const std::size_t length = line.rest().find('}');
  if (length == std::string_view::npos) return line.error("a marker ends with \"}\" on its line");
  const std::string_view name = line.rest().substr(0, length);
  if (name.empty() || name.find(kMarkerByte) != std::string_view::npos)
    return line.error("expected the name of a marker");
  const MarkerText marker = marker_of(name);
  if (marker.marker == Marker::kUnknown)
    line.warning_at(place, "there is no such marker; printing would end");
  line.go_to(place + length + 1);
  text_.append(1, kMarkerByte).append(name).append(1, kMarkerByte);
  advance(line, marker_width(marker));
  return true;
}

// A quoted text always becomes an instruction of its own.
bool BlockCompiler::quoted_item(SourceLine& line) {
  std::string text;
  if (!line.quoted("a text", '"', text) || !end_of_item(line)) return false;
  if (text.size() > kLongestBlockText) return line.error("a text has at most 65535 characters");
  Instruction instruction{.code = BlockCode::kText};
  instruction.text = keep(text);
  add(instruction);
  advance(line, text.size());
  return true;
}

// ---- Fields

bool BlockCompiler::generation(SourceLine& line, std::int32_t& generation) {
  if (!line.take('[')) return true;
  std::int64_t number = 0;
  if (!line.integer("a number", kLeastInteger, kMostInteger, number)) return false;
  generation = static_cast<std::int32_t>(number);
  line.skip_blanks();
  return line.take(']') || line.expected("\"]\"");
}

bool BlockCompiler::variable(SourceLine& line, std::string_view& name, std::int32_t& number) {
  std::string text;
  line.skip_blanks();
  if (is_small(line.next()))
    return line.expected("a name; one in small letters needs single quotes");
  if (!line.name("a name", text)) return false;
  if (text.size() > kLongestBlockText) return line.error("a name has at most 65535 characters");
  name = keep(text);
  return generation(line, number);
}

bool BlockCompiler::mask(SourceLine& line, std::string_view& mask) {
  line.skip_blanks();
  std::string text;
  if (line.next() == '\'') {
    if (!line.quoted("a mask", '\'', text)) return false;
  } else {
    text = line.run_of(kMaskCharacters);
  }
  if (text.size() > kLongestBlockText) return line.error("a mask has at most 65535 characters");
  mask = keep(text);
  return true;
}

bool BlockCompiler::field_item(SourceLine& line, std::size_t leading) {
  const std::size_t start = line.at() - leading - 1;
  Instruction field{.code = BlockCode::kField};
  if (line.take('.')) {
    field.code = BlockCode::kRecordField;
    field.generation = 1;
  }
  const std::size_t place = line.at();
  if (!variable(line, field.text, field.generation)) return false;
  bool has_width = false;
  bool has_alignment = false;
  if (!field_options(line, field, has_width, has_alignment)) return false;
  const std::size_t end = line.at() - 1;
  const std::size_t last = line.text().find_last_not_of(" \t", end - 1);
  // Each blank in "{ }" counts once.
  const std::size_t trailing = end - 1 - last;
  if (!has_alignment && !field.mask.empty()) field.alignment = Alignment::kMask;
  if (leading + trailing > 0) {
    if (leading > 0 && trailing > 0)
      return line.error_at(start, "blanks on both sides of a field; it begins or ends there");
    if (has_width) return line.error_at(start, "a field has blanks or a width, not both");
    field.width = static_cast<std::int32_t>(end + 1 - start);
    if (leading > 0 && !has_alignment) field.alignment = Alignment::kRight;
  } else if (!has_width) {
    field.width = static_cast<std::int32_t>(field.mask.size());
  }
  check_field(line, place, field);
  add(field);
  advance(line, static_cast<std::size_t>(std::max(field.width, 0)));
  return true;
}

// Reads up to the brace that ends the item, and takes it.
bool BlockCompiler::field_options(SourceLine& line, Instruction& field, bool& has_width,
                                  bool& has_alignment) {
  constexpr std::pair<std::string_view, Alignment> kAlignments[] = {
      {"left", Alignment::kLeft}, {"right", Alignment::kRight}, {"mask", Alignment::kMask}};
  for (line.skip_blanks(); !line.take('}'); line.skip_blanks()) {
    const std::size_t place = line.at();
    const std::string_view word = line.word();
    std::int64_t number = 0;
    const auto* alignment =
        std::ranges::find(kAlignments, word, &std::pair<std::string_view, Alignment>::first);
    if (alignment != std::end(kAlignments)) {
      field.alignment = alignment->second;
      has_alignment = true;
    } else if (word == "total") {
      if (!line.integer("a carried total", 1, 4, number)) return false;
      field.total = static_cast<std::int32_t>(number);
    } else if (word == "width") {
      if (!line.integer("a width", kLeastInteger, kMostInteger, number)) return false;
      field.width = static_cast<std::int32_t>(number);
      has_width = true;
    } else if (!word.empty()) {
      return line.error_at(
          place, "expected a width, a mask, left, right, mask or total, found " + in_message(word));
    } else if (line.next() == '\'') {
      if (!mask(line, field.mask)) return false;
    } else {
      const std::string_view run = line.run_of(kMaskCharacters);
      if (run.empty()) return line.expected("a width, a mask or \"}\"");
      if (run.find_first_not_of("0123456789") != std::string_view::npos) {
        field.mask = keep(run);
        continue;
      }
      line.go_to(place);
      if (!line.integer("a width", 0, kMostInteger, number)) return false;
      field.width = static_cast<std::int32_t>(number);
      has_width = true;
    }
  }
  return true;
}

void BlockCompiler::check_field(SourceLine& line, std::size_t place, const Instruction& field) {
  if (field.code != BlockCode::kRecordField || setting_.fields == nullptr) return;
  const auto known = setting_.fields->find(field.text.substr(0, kDefinitionNameLength));
  if (known == setting_.fields->end()) {
    line.warning_at(place, "no file of the definition set has a field of this name");
  } else if (field.generation < 1 || field.generation > known->second) {
    line.warning_at(place, "the field has elements from 1 to " + std::to_string(known->second));
  }
}

// ---- Numbers and dates

bool BlockCompiler::number_item(SourceLine& line, BlockCode code) {
  Instruction number{.code = code};
  if (!mask(line, number.mask) || !end_of_item(line)) return false;
  add(number);
  advance(line, number.mask.size());
  return true;
}

bool BlockCompiler::page_item(SourceLine& line) {
  return number_item(line, BlockCode::kPage);
}

bool BlockCompiler::register_item(SourceLine& line) {
  constexpr int kFirst = static_cast<int>(BlockCode::kFirstRegister);
  constexpr int kRegisters = static_cast<int>(BlockCode::kLastRegister) - kFirst + 1;
  std::int64_t number = 0;
  return line.integer("a register", 0, kRegisters - 1, number) &&
         number_item(line, static_cast<BlockCode>(kFirst + number));
}

bool BlockCompiler::simple_item(SourceLine& line, BlockCode code, int width) {
  if (!end_of_item(line)) return false;
  add({.code = code});
  advance(line, static_cast<std::size_t>(width));
  return true;
}

bool BlockCompiler::date_item(SourceLine& line) {
  return simple_item(line, BlockCode::kShortDate, kShortDateWidth);
}

bool BlockCompiler::long_date_item(SourceLine& line) {
  return simple_item(line, BlockCode::kLongDate, kLongDateWidth);
}

// ---- Pitch and place

bool BlockCompiler::eject_item(SourceLine& line) {
  return simple_item(line, BlockCode::kEject, 0);
}

bool BlockCompiler::bold_item(SourceLine& line) {
  if (!end_of_item(line)) return false;
  switch_bold(true);
  return true;
}

bool BlockCompiler::plain_value(SourceLine& line, BlockValue& value) {
  const std::size_t place = line.at();
  const std::string_view run = line.run_of(kNumberCharacters);
  const char* const end = run.data() + run.size();
  if (run.find_first_of(".eE") == std::string_view::npos) {
    line.go_to(place);
    std::int64_t number = 0;
    if (!line.integer("a value", kLeastInteger, kMostInteger, number)) return false;
    value.integer = static_cast<std::int32_t>(number);
    return true;
  }
  value.kind = BlockValue::Kind::kNumber;
  const auto parsed = std::from_chars(run.data(), end, value.number);
  if (parsed.ec == std::errc() && parsed.ptr == end) return true;
  return line.error_at(place, "expected a number, found " + in_message(run));
}

bool BlockCompiler::value(SourceLine& line, BlockValue& value) {
  line.skip_blanks();
  if (line.take('$')) {
    value.kind = BlockValue::Kind::kVariable;
    return variable(line, value.variable, value.generation);
  }
  const std::size_t place = line.at();
  if (!is_small(line.next())) return plain_value(line, value);
  // Values without a decimal number, infinities and the like, given by all of their bits.
  if (line.word() != "bits") return line.error_at(place, "expected a value");
  line.skip_blanks();
  constexpr std::size_t kDigits = 16;
  const std::string_view digits = line.run_of("0123456789ABCDEF");
  std::uint64_t bits = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
  if (digits.size() != kDigits) return line.error_at(place, "bits has 16 hexadecimal digits");
  value.kind = BlockValue::Kind::kNumber;
  value.number = std::bit_cast<double>(bits);
  return true;
}

bool BlockCompiler::pitch_item(SourceLine& line) {
  Instruction pitch{.code = BlockCode::kPitch};
  if (!value(line, pitch.values[0]) || !end_of_item(line)) return false;
  add(pitch);
  pitch_.text.reset();
  pitch_touched_ = true;
  return true;
}

bool BlockCompiler::columns_item(SourceLine& line) {
  Instruction pitch{.code = BlockCode::kColumnPitch};
  if (!value(line, pitch.values[0]) || !end_of_item(line)) return false;
  add(pitch);
  pitch_.columns.reset();
  pitch_touched_ = true;
  return true;
}

// "40": absolute. "+2": relative. "=" and a value, or "mode" and two values: forms that only other
// programs produce.
bool BlockCompiler::position(SourceLine& line, BlockValue& mode, BlockValue& where) {
  line.skip_blanks();
  mode.integer = kAbsolute;
  where = {};
  const std::size_t place = line.at();
  if (line.take('+')) {
    mode.integer = kCurrentPlus;
  } else if (line.take('=')) {
    mode.integer = kCurrent;
  } else if (line.word() == "mode") {
    mode = {};
    if (!value(line, mode)) return false;
  } else {
    line.go_to(place);
  }
  return value(line, where);
}

bool BlockCompiler::place_item(SourceLine& line) {
  Instruction place{.code = BlockCode::kPlace};
  place.values[0].integer = kCurrent;
  place.values[2].integer = kCurrent;
  for (line.skip_blanks(); is_small(line.next()); line.skip_blanks()) {
    const std::size_t start = line.at();
    const std::string_view word = line.word();
    if (word == "here") break;
    if (word != "line" && word != "column") return line.error_at(start, "expected line or column");
    const std::size_t first = word == "line" ? 0 : 2;
    if (!position(line, place.values[first], place.values[first + 1])) return false;
  }
  if (!end_of_item(line)) return false;
  const bool bold = bold_ && !setting_.raw;
  if (bold) switch_bold(false);
  add(place);
  if (bold) switch_bold(true);
  const BlockValue& column = place.values[3];
  const bool known = place.values[2] == BlockValue{.integer = kAbsolute} &&
                     column.kind == BlockValue::Kind::kInteger && column.integer > 0;
  if (known) {
    position_ = 0;
    advance(line, static_cast<std::size_t>(column.integer - 1));
  }
  return true;
}

// ---- Conditions

// The jump skips the conditional part if the condition does not hold.
bool BlockCompiler::condition(SourceLine& line, Instruction& jump) {
  jump.code = BlockCode::kJump;
  line.skip_blanks();
  const std::size_t place = line.at();
  jump.negated = line.word() != "not";
  if (jump.negated) line.go_to(place);
  return variable(line, jump.text, jump.generation);
}

bool BlockCompiler::if_item(SourceLine& line) {
  Instruction jump;
  const std::size_t place = line.at();
  if (!condition(line, jump)) jump = {.code = BlockCode::kJump};  // keeps its end acceptable
  open(line, jump, true);
  open_.back().place = place - 3;
  return end_of_item(line);
}

bool BlockCompiler::end_item(SourceLine& line) {
  const std::size_t place = line.at();
  if (!end_of_item(line)) return false;
  if (open_.empty() || !open_.back().within_line)
    return line.error_at(place, "{end} without {if on its line");
  close(line);
  return true;
}

bool BlockCompiler::jump_item(SourceLine& line) {
  line.skip_blanks();
  const std::size_t place = line.at();
  Instruction jump;
  if (!condition(line, jump)) return false;
  jump.negated = !jump.negated;  // this condition is the one to jump
  std::string label;
  if (!line.name("a label", label) || !end_of_item(line)) return false;
  if (!setting_.raw) return line.error_at(place, "only raw blocks have jumps");
  add(jump);
  jumps_.push_back(
      {.name = label, .jump = code_.size() - 1, .line = line.number(), .place = place});
  return true;
}

bool BlockCompiler::at_item(SourceLine& line) {
  line.skip_blanks();
  const std::size_t place = line.at();
  std::string label;
  if (!line.name("a label", label) || !end_of_item(line)) return false;
  if (!setting_.raw) return line.error_at(place, "only raw blocks have labels");
  flush();
  const bool fresh = labels_.emplace(label, code_.size()).second;
  return fresh || line.error_at(place, "the block has this label already");
}

bool BlockCompiler::code_item(SourceLine& line) {
  constexpr std::int64_t kMostCode = 255;
  line.skip_blanks();
  const std::size_t place = line.at();
  std::int64_t code = 0;
  if (!line.integer("a code", 0, kMostCode, code) || !end_of_item(line)) return false;
  const bool unknown =
      code == 0 || code == 4 || code > static_cast<std::int64_t>(BlockCode::kRecordField);
  if (!unknown) return line.error_at(place, "the code has a word of its own");
  add({.code = static_cast<BlockCode>(code)});
  return true;
}

}  // namespace marigold::inner
