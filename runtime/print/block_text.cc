#include "runtime/print/block_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "runtime/print/number_text.h"

namespace marigold {
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

// Whether one of eight characters is.
bool has_control(std::uint64_t characters) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kEach;
  return ((characters - ' ' * kEach) & ~characters & kHighBits) != 0;
}

// Everything printed of fields comes by here: eight characters at a time, the last ones again.
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

void BlockText::add_number(const NumberMask& mask, double number, const Instruction& field) {
  const std::size_t size = mask.text().size();
  const bool as_it_is = field.width <= 0 || static_cast<std::size_t>(field.width) == size;
  if (!as_it_is || size == 0 || size > text_.size())
    return add_text(number_text(mask.text(), number), field);
  mask.edit(number, room(size));
}

}  // namespace marigold
