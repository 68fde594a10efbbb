// SPDX-License-Identifier: GPL-3.0-or-later
// Keys in the form in which the indexes order them: a string of bytes whose order as unsigned bytes
// is the order of the key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "runtime/isam/common/isam.h"

namespace marigold::inner::isam {

// 0, or 103 when the description does not fit records of this length.
int validate_key(const KeyDescription& key, int record_length);

// Length of the key: the sum of its parts' lengths.
std::size_t key_length(const KeyDescription& key);

// Whether two descriptions have the same parts; flags do not count.
bool key_same(const KeyDescription& a, const KeyDescription& b);

// Writes the key of a record, key_length bytes:
//   characters   as they are
//   integers     with the sign bit inverted, so that negative ones come first
//   doubles      big-endian; negative ones with all bits inverted, others with the sign bit;
//                -0.0 as 0.0, which it equals, and every NaN as the greatest value of all
void key_from_record(const KeyDescription& key, const char* record, std::byte* to);

// Whether key_from_record would write these bytes for the record.
bool key_is_of_record(const KeyDescription& key, const char* record, const std::byte* bytes);

}  // namespace marigold::inner::isam
