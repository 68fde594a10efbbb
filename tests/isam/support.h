// What the tests of the engine share: a file of three keys with entries so long that every tree
// soon has several levels, and a list in memory of what must be in it.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "runtime/isam/isam.h"

namespace marigold::test {

// number: int4 at 0, the primary key; text: 200 characters at 4, with duplicates; filler up to the
// end.
inline constexpr int kWideRecord = 240;
inline const KeyDescription kWidePrimary{.flags = 0, .part_count = 1, .parts = {{{0, 4, kIsInt4}}}};
inline const KeyDescription kWideText{
    .flags = 1, .part_count = 1, .parts = {{{4, 200, kIsCharacters}}}};
inline const KeyDescription kWideBoth{
    .flags = 1, .part_count = 2, .parts = {{{4, 150, kIsCharacters}, {0, 4, kIsInt4}}}};

using Contents = std::map<std::int32_t, std::string>;  // records by number

// A record whose text and filler follow from the number and the version.
std::string wide_record(std::int32_t number, std::uint32_t version);

// Builds BASE with these records and closes it.
void build_wide(const std::string& base, const Contents& contents);

// Opens, walks and reads a file; what does not fit, a line each. `contents` receives what is in it.
std::string examine(const std::string& base, Contents& contents);

// A directory for many small files that are soon gone: in memory where there is such a place.
std::string scratch_directory();

}  // namespace marigold::test
