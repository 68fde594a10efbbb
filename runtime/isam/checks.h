// The checks of headers and pages; those of slots stand in slots.h.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::isam {

std::uint32_t data_header_checksum(const DataHeader& header);
// Of a clean file's header, without what changes while it is open.
std::uint32_t index_header_checksum(const IndexHeader& header);
// Of the header and the entries; never 0, which says that a page has been changed.
std::uint32_t page_checksum(const std::byte* page);

// Whether the check of a page is right or void. Looked at the first time that this process sees the
// page.
bool page_checksum_fits(File& file, PageNumber number);

}  // namespace marigold::isam
