// SPDX-License-Identifier: GPL-3.0-or-later
// Checksums of headers and pages; slots.h has those of slots.
#pragma once

#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

std::uint32_t data_header_checksum(const DataHeader& header);
// Checksum of a clean file's header, without the fields that change while the file is open.
std::uint32_t index_header_checksum(const IndexHeader& header);
// Checksum of the header and the entries; never 0, which marks a page as changed.
std::uint32_t page_checksum(const std::byte* page);

// Whether the checksum of a page is right or void. Computed the first time that this process reads
// the page.
bool page_checksum_fits(File& file, PageNumber number);

}  // namespace marigold::inner::isam
