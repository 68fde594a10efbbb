// SPDX-License-Identifier: GPL-3.0-or-later
// Journals of sets of changes of any bytes, with the length and the checksum that fit them.
//
// Promised: a whole journal comes back the same from the bytes written of it, and names files
// beside it alone; a journal of which the last byte is missing is not whole.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "fuzz/fuzz_input.h"
#include "runtime/data/access/change_journal.h"
#include "runtime/isam/common/checksum.h"
#include "runtime/platform/path.h"

namespace marigold::inner::fuzz {
namespace {

// Offsets in the head.
constexpr std::size_t kLength = 8;
constexpr std::size_t kChecksum = 16;
constexpr std::size_t kHead = 64;

void make_fit(std::string& bytes) {
  const std::uint64_t length = bytes.size();
  std::memcpy(bytes.data() + kLength, &length, sizeof length);
  std::memset(bytes.data() + kChecksum, 0, sizeof length);
  const auto all = std::as_bytes(std::span(bytes));
  const std::uint64_t sum =
      isam::long_checksum(all.subspan(kHead), isam::long_checksum(all.first(kHead)));
  std::memcpy(bytes.data() + kChecksum, &sum, sizeof sum);
}

void check(const std::string& bytes) {
  JournalPart part;
  if (journal_parse(bytes, part) != JournalState::kWhole) return;
  for (const JournalChange& change : part.changes)
    require(!change.name.empty() && !change.record.empty() && !path_has_directory(change.name));
  const std::string again = journal_bytes(part);
  JournalPart same;
  require(journal_parse(again, same) == JournalState::kWhole && journal_bytes(same) == again);
  require(journal_parse(again.substr(0, again.size() - 1), same) == JournalState::kTorn);
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace marigold::inner;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  fuzz::check(bytes);
  if (size < fuzz::kHead) return 0;
  fuzz::make_fit(bytes);
  fuzz::check(bytes);
  return 0;
}
