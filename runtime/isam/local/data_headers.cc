// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/data_headers.h"

#include <cstring>

#include "runtime/isam/local/checksums.h"

namespace marigold::inner::isam {

std::optional<DataHeader> whole_header(std::span<const std::byte> head, std::uint64_t offset) {
  DataHeader header;
  if (head.size() < offset + sizeof header) return {};
  std::memcpy(&header, head.data() + offset, sizeof header);
  const bool whole = header.magic == kDataMagic && header.checksum == data_header_checksum(header);
  return whole ? std::optional(header) : std::nullopt;
}

std::optional<DataHeader> whole_header(std::span<const std::byte> head) {
  for (const std::uint64_t offset : kDataHeaders) {
    if (const auto header = whole_header(head, offset)) return header;
  }
  return {};
}

}  // namespace marigold::inner::isam
