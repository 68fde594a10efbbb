// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/key.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace marigold::inner::isam {
namespace {

constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
constexpr std::byte kSignByte{0x80};

std::span<const KeyPart> parts_of(const KeyDescription& key) {
  return std::span(key.parts).first(static_cast<std::size_t>(key.part_count));
}

// Length that a part of this type must have; 0: any from 1 on; -1: no such type.
int fixed_length(std::int16_t type) {
  constexpr int kLengths[] = {0, 2, 4, 8};
  return type >= kIsCharacters && type <= kIsDouble ? kLengths[type] : -1;
}

bool part_fits(const KeyPart& part, int record_length) {
  const int fixed = fixed_length(part.type);
  if (fixed < 0 || part.length < 1 || (fixed > 0 && part.length != fixed)) return false;
  return part.start >= 0 && part.start + part.length <= record_length;
}

std::uint64_t ordered_bits(double value) {
  if (std::isnan(value)) return ~std::uint64_t{0};
  if (value == 0) value = 0;  // -0.0 becomes 0.0
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return (bits & kSignBit) != 0 ? ~bits : bits | kSignBit;
}

std::byte* put_part(const KeyPart& part, const char* record, std::byte* to) {
  const char* from = record + part.start;
  if (part.type == kIsDouble) {
    std::uint64_t bits = ordered_bits(isld_double(from));
    for (int i = 7; i >= 0; --i, bits >>= 8)
      to[i] = static_cast<std::byte>(bits & 0xFF);
  } else {
    std::memcpy(to, from, static_cast<std::size_t>(part.length));
    if (part.type != kIsCharacters) to[0] ^= kSignByte;
  }
  return to + part.length;
}

// Compares short pieces, millions of times: a call of the C library for each piece costs more than
// the comparison.
bool same_bytes(const char* a, const std::byte* b, std::size_t length) {
  std::uint64_t left = 0;
  std::uint64_t right = 0;
  for (; length >= sizeof left; length -= sizeof left, a += sizeof left, b += sizeof left) {
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    if (left != right) return false;
  }
  for (; length > 0; --length, ++a, ++b) {
    if (static_cast<std::byte>(*a) != *b) return false;
  }
  return true;
}

bool is_part_of(const KeyPart& part, const char* record, const std::byte* bytes) {
  const auto length = static_cast<std::size_t>(part.length);
  if (part.type == kIsCharacters) return same_bytes(record + part.start, bytes, length);
  std::array<std::byte, sizeof(double)> number{};
  put_part(part, record, number.data());
  return std::memcmp(number.data(), bytes, length) == 0;
}

}  // namespace

int validate_key(const KeyDescription& key, int record_length) {
  if (key.flags < 0 || key.flags > kIsDuplicatesAllowed) return kIsBadKey;
  if (key.part_count < 1 || key.part_count > kIsMostParts) return kIsBadKey;
  for (const KeyPart& part : parts_of(key)) {
    if (!part_fits(part, record_length)) return kIsBadKey;
  }
  return key_length(key) <= kIsLongestKey ? 0 : kIsBadKey;
}

std::size_t key_length(const KeyDescription& key) {
  std::size_t length = 0;
  for (const KeyPart& part : parts_of(key))
    length += static_cast<std::size_t>(part.length);
  return length;
}

bool key_same(const KeyDescription& a, const KeyDescription& b) {
  return a.part_count >= 0 && a.part_count <= kIsMostParts && a.part_count == b.part_count &&
         std::ranges::equal(parts_of(a), parts_of(b));
}

void key_from_record(const KeyDescription& key, const char* record, std::byte* to) {
  for (const KeyPart& part : parts_of(key))
    to = put_part(part, record, to);
}

bool key_is_of_record(const KeyDescription& key, const char* record, const std::byte* bytes) {
  for (const KeyPart& part : parts_of(key)) {
    if (!is_part_of(part, record, bytes)) return false;
    bytes += part.length;
  }
  return true;
}

}  // namespace marigold::inner::isam
