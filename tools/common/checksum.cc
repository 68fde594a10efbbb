// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/checksum.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <vector>

namespace marigold::inner {

void Checksum::add(std::string_view bytes) {
  sha256_update(&state_, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

std::string Checksum::take() {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&state_, digest.size(), digest.data());
  std::string text;
  for (const std::uint8_t byte : digest)
    text.append({kDigits[byte >> 4], kDigits[byte & 15]});
  return text;
}

int read_in_pieces(const RecordFile& file, const std::function<bool(std::string_view)>& take) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  std::vector<char> piece(kPiece);
  std::uint64_t at = 0;
  for (std::size_t count = kPiece; count == kPiece; at += count) {
    if (const int failed = file.read(at, piece, count)) return failed;
    if (!take({piece.data(), count})) return ECANCELED;
  }
  return 0;
}

}  // namespace marigold::inner
