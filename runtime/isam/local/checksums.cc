// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/checksums.h"

#include <algorithm>
#include <cstring>

#include "runtime/isam/common/checksum.h"

namespace marigold::inner::isam {

std::uint32_t data_header_checksum(const DataHeader& header) {
  DataHeader copy;
  std::memcpy(&copy, &header, sizeof copy);
  copy.checksum = 0;
  return checksum(std::as_bytes(std::span(&copy, 1)));
}

std::uint32_t index_header_checksum(const IndexHeader& header) {
  IndexHeader copy;
  std::memcpy(&copy, &header, sizeof copy);
  copy.state = kStateClean;
  copy.writer = 0;
  copy.record_locks = 0;
  copy.changes = 0;
  copy.boot = {};
  copy.checksum = 0;
  copy.heir = 0;
  copy.use_stamp = 0;
  copy.file_number = 0;
  const bool stamped = header.version > kUnstampedIndexVersion;
  const std::size_t length =
      stamped ? offsetof(IndexHeader, mark) : offsetof(IndexHeader, clean_stamp);
  return checksum(std::as_bytes(std::span(&copy, 1)).first(length));
}

// The bytes after the entries have no meaning, and undoing a change does not restore them.
std::uint32_t page_checksum(const std::byte* page) {
  const auto* header = reinterpret_cast<const PageHeader*>(page);
  std::size_t length = sizeof(PageHeader);
  if (header->kind != kFreePage) length += node_space(*header);
  length = std::min<std::size_t>(length, kPageSize);
  const std::uint32_t sum = checksum(std::span(page, length).subspan(sizeof(PageHeader::checksum)));
  return sum == 0 ? 1 : sum;
}

bool page_checksum_fits(File& file, PageNumber number) {
  if (file.intact_pages[number] != 0) return true;
  const std::uint32_t noted = reinterpret_cast<const PageHeader*>(file.page(number))->checksum;
  if (noted != 0 && noted != page_checksum(file.page(number))) return false;
  file.intact_pages[number] = 1;
  return true;
}

}  // namespace marigold::inner::isam
