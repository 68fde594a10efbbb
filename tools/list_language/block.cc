// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/list_language/block.h"

#include <algorithm>
#include <cmath>

namespace marigold::inner {
namespace {

constexpr int kUsualPitch = 10;
constexpr int kLongestLine = 250;  // longest line of the print engine
// Widest paper of list printers, in tenths of an inch.
constexpr int kPaperTenths = 136;

constexpr std::int32_t kAbsolute = static_cast<std::int32_t>(PlaceMode::kAbsolute);
constexpr std::int32_t kCurrent = static_cast<std::int32_t>(PlaceMode::kCurrent);
constexpr std::int32_t kCurrentPlus = static_cast<std::int32_t>(PlaceMode::kCurrentPlus);

BlockValue integer_value(std::int32_t value) {
  return {.integer = value};
}

}  // namespace

BlockCompiler::BlockCompiler(const BlockSetting& setting) : setting_(setting) {
  // The engine begins a list with the usual pitch, and each block ends with the list's pitch. If
  // the list has another pitch, a block cannot know whether it is the first one.
  if (setting_.pitch == kUsualPitch) pitch_ = {.text = kUsualPitch, .columns = kUsualPitch};
}

// ---- Instructions

std::string_view BlockCompiler::keep(std::string_view text) {
  return texts_.emplace_back(text);
}

void BlockCompiler::flush() {
  if (text_.empty()) return;
  Instruction text{.code = BlockCode::kText};
  text.text = keep(text_);
  code_.push_back(text);
  text_.clear();
}

void BlockCompiler::add(const Instruction& instruction) {
  flush();
  code_.push_back(instruction);
}

void BlockCompiler::add_place(const BlockValue& line_mode, std::int32_t line) {
  add({.code = BlockCode::kPlace,
       .values = {line_mode, integer_value(line), integer_value(kAbsolute), integer_value(1)}});
}

void BlockCompiler::add_pitch(int pitch) {
  for (const BlockCode code : {BlockCode::kPitch, BlockCode::kColumnPitch})
    add({.code = code, .values = {integer_value(pitch)}});
  pitch_ = {.text = pitch, .columns = pitch};
  pitch_touched_ = true;
}

void BlockCompiler::switch_bold(bool on) {
  if (bold_ == on && !setting_.raw) return;
  add({.code = on ? BlockCode::kBoldOn : BlockCode::kBoldOff});
  bold_ = on;
}

// ---- Conditions

void BlockCompiler::open(SourceLine& line, const Instruction& jump, bool within_line) {
  add(jump);
  open_.push_back({.jump = code_.size() - 1,
                   .within_line = within_line,
                   .bold = bold_,
                   .pitch = pitch_,
                   .position = position_,
                   .line = line.number(),
                   .place = line.at()});
}

// The code after a conditional part can rely neither on its pitch nor on its place.
void BlockCompiler::close(SourceLine& line) {
  flush();
  const Open condition = open_.back();
  open_.pop_back();
  code_[condition.jump].target = static_cast<std::uint32_t>(code_.size());
  if (condition.bold != bold_ && !setting_.raw)
    line.error("bold print is on or off here, depending on the condition");
  if (condition.pitch != pitch_) pitch_ = {};
  position_ = condition.position;
}

void BlockCompiler::if_line(SourceLine& line) {
  start();
  Instruction jump;
  line.skip_blanks();
  const std::size_t place = line.at();
  if (!condition(line, jump)) jump = {.code = BlockCode::kJump};  // keeps its end acceptable
  line.skip_blanks();
  if (!jump.text.empty() && !line.at_end()) line.expected("the end of the line");
  open(line, jump, false);
  open_.back().place = place;
}

void BlockCompiler::end_line(SourceLine& line) {
  if (open_.empty()) {
    line.error_at(0, "end without if");
  } else {
    close(line);
  }
  line.skip_blanks();
  if (!line.at_end()) line.expected("the end of the line");
}

// ---- Margins

bool BlockCompiler::margin_part(SourceLine& line, Margin& margin) {
  const std::size_t place = line.at();
  if (line.take('?')) {
    Instruction jump{.code = BlockCode::kJump, .negated = !line.take('!')};
    const bool twice = margin.condition;
    margin.condition = true;
    if (!variable(line, jump.text, jump.generation)) return false;
    margin.jump = jump;
    return !twice || line.error_at(place, "a line has one condition");
  }
  if (line.next() >= '0' && line.next() <= '9') {
    std::int64_t pitch = 0;
    if (!line.integer("a pitch", 1, 100, pitch)) return false;
    if (pitch != 10 && pitch != 12 && pitch != 17)
      line.warning_at(place, "printers have the pitches 10, 12 and 17");
    margin.pitch = static_cast<int>(pitch);
    return true;
  }
  if (line.take('b')) {
    margin.bold = true;
    return true;
  }
  return line.expected("\"b\", a pitch, a condition or \"|\" in the margin");
}

bool BlockCompiler::margin(SourceLine& line, Margin& margin) {
  margin.pitch = setting_.pitch;
  for (line.skip_blanks(); !line.take('|'); line.skip_blanks()) {
    if (setting_.raw) return line.error("a raw block has nothing in the margin");
    if (!margin_part(line, margin)) return false;
  }
  return true;
}

// ---- Lines

// The first line of a body block is the current line of the page.
void BlockCompiler::start() {
  if (!code_.empty() || lines_ > 0 || !open_.empty() || setting_.raw) return;
  if (setting_.kind == BlockKind::kBody) add_place(integer_value(kCurrent), 0);
}

void BlockCompiler::page_line(SourceLine& line) {
  start();
  ++lines_;
  Margin wanted{.pitch = setting_.pitch};
  line.skip_blanks();
  if (!line.at_end() && !margin(line, wanted)) return;
  const bool page = !setting_.raw;
  const bool body = setting_.kind == BlockKind::kBody;
  const Pitch pitch = {.text = wanted.pitch, .columns = wanted.pitch};
  position_ = 0;
  beyond_.reset();
  limit_ = std::min(kLongestLine,
                    (kPaperTenths - std::max(setting_.start_column - 1, 0)) * wanted.pitch / 10);
  // Before the condition, so that the following lines can rely on the pitch.
  if (page && !line.at_end() && pitch_ != pitch) add_pitch(wanted.pitch);
  if (wanted.condition) open(line, wanted.jump, false);
  if (page && !body) add_place(integer_value(kAbsolute), lines_);
  if (wanted.bold && !line.at_end()) switch_bold(true);
  const std::size_t conditions = open_.size();
  items(line);
  while (open_.size() > conditions) {
    line.error_at(open_.back().place, "{if without {end} on its line");
    close(line);
  }
  if (page) switch_bold(false);
  flush();
  if (page && body) add_place(integer_value(kCurrentPlus), 1);
  if (wanted.condition) close(line);
  if (beyond_ && page) check_width(line);
}

void BlockCompiler::check_width(SourceLine& line) const {
  line.warning_at(*beyond_, limit_ == kLongestLine
                                ? "the line is longer than 250 characters"
                                : "the line is wider than any paper at its pitch, which takes " +
                                      std::to_string(limit_) + " characters");
}

void BlockCompiler::advance(SourceLine& line, std::size_t characters) {
  constexpr std::size_t kEnough = 100'000;
  position_ += static_cast<int>(std::min(characters, kEnough));
  position_ = std::min(position_, static_cast<int>(kEnough));
  if (position_ > limit_ && !beyond_) beyond_ = std::min(line.at(), line.text().size() - 1);
}

void BlockCompiler::items(SourceLine& line) {
  while (!line.at_end()) {
    if (line.next() == '{' && !line.rest().starts_with("{{")) {
      item(line);
    } else {
      text_character(line);
    }
    if (text_.size() > kLongestBlockText) {
      line.error("a text has at most 65535 characters");
      text_.clear();
    }
  }
}

void BlockCompiler::text_character(SourceLine& line) {
  const char character = line.next();
  const bool brace = character == '{' || character == '}';
  advance(line, 1);
  line.go_to(line.at() + 1);
  if (brace && !line.take(character)) {
    line.error_at(line.at() - 1, "\"}\" without \"{\"; the character itself is written \"}}\"");
  } else if (character == '\t') {
    line.error_at(line.at() - 1, "a tab has no width on paper; write blanks");
  } else if (static_cast<unsigned char>(character) < ' ') {
    line.error_at(line.at() - 1, "a control character; write {#" +
                                     std::string(character < '\x10' ? "0" : "1") +
                                     "0123456789ABCDEF"[character & 0xF] + "}");
  }
  text_ += character;
}

std::string BlockCompiler::finish(SourceLine& line) {
  for (; !open_.empty(); open_.pop_back()) {
    const Open& condition = open_.back();
    line.error_elsewhere(condition.line, condition.place, "if without end in its block");
    code_[condition.jump].target = static_cast<std::uint32_t>(code_.size());
  }
  for (const Label& jump : jumps_) {
    const auto label = labels_.find(jump.name);
    const bool found = label != labels_.end() && label->second > jump.jump;
    if (!found)
      line.error_elsewhere(jump.line, jump.place,
                           "no {at " + jump.name + "} follows in this block");
    code_[jump.jump].target = static_cast<std::uint32_t>(found ? label->second : code_.size());
  }
  const Pitch usual = {.text = setting_.pitch, .columns = setting_.pitch};
  if (!setting_.raw && pitch_touched_ && pitch_ != usual) add_pitch(setting_.pitch);
  std::string bytes;
  encode_block(code_, bytes);
  return bytes;
}

}  // namespace marigold::inner
