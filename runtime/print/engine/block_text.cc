// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/engine/block_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "runtime/print/engine/list_fault.h"
#include "runtime/print/engine/page.h"
#include "runtime/print/output/number_text.h"

namespace marigold::inner {
namespace {

bool is_control(char character) {
  return static_cast<unsigned char>(character) < ' ';
}

template <typename Word>
std::uint64_t word_at(const char* text) {
  Word word = 0;
  std::memcpy(&word, text, sizeof word);
  return word;
}

// Whether one of eight characters is a control character.
bool has_control(std::uint64_t characters) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kEach;
  return ((characters - ' ' * kEach) & ~characters & kHighBits) != 0;
}

// All text of fields passes here, so it compares eight characters at a time, the last ones twice.
bool has_control(const char* text, std::size_t size) {
  constexpr std::size_t kHalf = sizeof(std::uint32_t);
  constexpr std::size_t kWhole = sizeof(std::uint64_t);
  if (size < kHalf) return std::any_of(text, text + size, is_control);
  if (size < kWhole) {
    const std::uint64_t last = word_at<std::uint32_t>(text + size - kHalf);
    return has_control(word_at<std::uint32_t>(text) | last << 32);
  }
  for (std::size_t at = 0; at < size - kWhole; at += kWhole)
    if (has_control(word_at<std::uint64_t>(text + at))) return true;
  return has_control(word_at<std::uint64_t>(text + size - kWhole));
}

// Returns the name by which a reader of the list knows the field.
std::string overflow_name(const Instruction& field) {
  if (field.code == BlockCode::kPage) return "page";
  if (field.code == BlockCode::kField || field.code == BlockCode::kRecordField)
    return std::string(field.text);
  const int index = static_cast<int>(field.code) - static_cast<int>(BlockCode::kFirstRegister);
  return "register " + std::to_string(index);
}

void blank_controls(char* text, std::size_t size) {
  if (has_control(text, size)) std::replace_if(text, text + size, is_control, ' ');
}

}  // namespace

void BlockText::print_some() {
  page_print({text_.data(), std::exchange(length_, 0)}, kind_);
}

void BlockText::add_words(std::string_view words) {
  for (; words.size() > text_.size(); words.remove_prefix(text_.size()))
    words.copy(room(text_.size()), text_.size());
  words.copy(room(words.size()), words.size());
}

void BlockText::add_piece(std::string_view piece) {
  char* const text = room(piece.size());
  piece.copy(text, piece.size());
  blank_controls(text, piece.size());
}

void BlockText::add_aligned(std::string_view text, const Instruction& field) {
  const auto width = static_cast<std::size_t>(std::min(field.width, kWidestLine));
  const std::size_t size = std::min(text.size(), width);
  const std::size_t missing = width - size;
  const bool left = field.alignment == Alignment::kLeft;
  char* const begin = room(width);
  char* const piece = left ? begin : begin + missing;
  std::memset(left ? begin + size : begin, ' ', missing);
  text.copy(piece, size);
  blank_controls(piece, size);
}

void BlockText::add_text(std::string_view text, const Instruction& field) {
  if (field.width > 0) return add_aligned(text, field);
  for (; text.size() > text_.size(); text.remove_prefix(text_.size()))
    add_piece(text.substr(0, text_.size()));
  add_piece(text);
}

// Prints first, because only then the page of the number is known.
void BlockText::report_overflow(std::string_view mask, double number, std::size_t size,
                                const Instruction& field) {
  print();
  const ListState& list = list_state();
  if (list.aborted) return;
  const std::string name = overflow_name(field);
  list_overflow({.list = list.name,
                 .field = name,
                 .mask = mask,
                 .width = field.width,
                 .number = number,
                 .page = list.page,
                 .line = list.line,
                 .column = list.column + list.moved - static_cast<int>(size)});
}

void BlockText::add_number(const NumberMask& mask, double number, const Instruction& field) {
  const std::size_t size = mask.text().size();
  const bool as_it_is = field.width <= 0 || static_cast<std::size_t>(field.width) == size;
  if (as_it_is && size > 0 && size <= text_.size()) {
    if (!mask.edit(number, room(size))) report_overflow(mask.text(), number, size, field);
    return;
  }
  const NumberText form = number_text(mask.text(), number);
  if (form.fits) return add_number(form.text, number, field);
  add_text(form.text, field);
  report_overflow(mask.text(), number,
                  field.width > 0 ? static_cast<std::size_t>(field.width) : size, field);
}

void BlockText::add_number(std::string_view text, double number, const Instruction& field) {
  const auto width = static_cast<std::size_t>(std::clamp(field.width, 0, kWidestLine));
  if (width > 0 && text.size() > width)  // blanks of its mask can be left out
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  if (width == 0 || text.size() <= width) return add_text(text, field);
  add_text(std::string(width, '*'), field);
  report_overflow({}, number, width, field);
}

void BlockText::add_empty(const Instruction& field) {
  Instruction blanks = field;
  blanks.width = std::max(field.width, static_cast<std::int32_t>(field.mask.size()));
  add_text({}, blanks);
}

}  // namespace marigold::inner
