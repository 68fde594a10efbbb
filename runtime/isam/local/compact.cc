// SPDX-License-Identifier: GPL-3.0-or-later
// The records go into a new pair in the order of their slots: the old file is read once from
// beginning to end, whatever the state of its trees, and neighbours stay neighbours. The new pair
// keeps the number of the old one and replaces it in these steps:
//
//   1. the new pair is whole and durable, under names of its own
//   2. the new data file replaces the old one
//   3. the new index replaces the old one
//
// A death before step 2 changes nothing. After a death between 2 and 3 the stamp of the new data
// file is not that of the old index, and the next process to open the pair rebuilds the index.

#include "runtime/isam/local/compact.h"

#include <cerrno>

#include "runtime/isam/local/change.h"
#include "runtime/isam/local/fresh_pair.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/slots.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::inner::isam {
namespace {

class Compaction {
 public:
  Compaction(File& old, const OpenRequest& request, const IsWatch& watch)
      : old_(old), fresh_(request), watch_(watch, old.trees.size()) {}

  // Refuses a file with a damaged record, which would get lost.
  int make(IsCompactReport& report) {
    if (const int failed = old_.data.size(report.data_before)) return failed;
    if (const int failed = old_.index.size(report.index_before)) return failed;
    if (const int failed = fresh_.create(old_.record_length, old_.trees, old_.header().file_id))
      return failed;
    if (const int failed = copy_records()) return failed;
    if (const int failed = fresh_.finish(watch_.for_trees())) return failed;
    if (fresh_.records() != old_.contents().record_count) return kIsBadFile;
    report.records = static_cast<std::int64_t>(fresh_.records());
    report.data_after = fresh_.data_bytes();
    report.index_after = fresh_.index_bytes();
    return 0;
  }

  int install() {
    const int failed = fresh_.install_data();
    return failed == 0 ? fresh_.install_index() : failed;
  }

 private:
  int copy_records() {
    constexpr std::uint64_t kSeldom = 4096;
    const std::uint64_t slots = old_.contents().slot_count;
    for (std::uint64_t number = 1; number <= slots; ++number) {
      watch_.slot(number, slots);
      if (number % kSeldom == 0 && stop_signals_pending()) return EINTR;
      const std::byte* slot = old_.slot(number);
      const auto* header = reinterpret_cast<const SlotHeader*>(slot);
      if (header->state != kSlotLive) continue;
      if (!slot_is_live(old_, slot)) return kIsBadFile;
      if (const int failed = fresh_.add(slot + sizeof(SlotHeader), sequence_of(*header)))
        return failed;
    }
    return fresh_.added() == old_.contents().record_count ? 0 : kIsBadFile;
  }

  File& old_;
  FreshPair fresh_;
  HalvesWatch watch_;
};

}  // namespace

int file_compact(const OpenRequest& request, IsCompactReport& report, const IsWatch& watch) {
  std::shared_ptr<File> old;
  if (const int failed = file_open(old, request)) return failed;
  // Records whose deletion is not settled would come back.
  int failed = slots_settle(*old);
  Compaction compaction(*old, request, watch);
  if (failed == 0)
    failed = as_writer(*old, [&] { return unless_hit(*old, compaction.make(report)); });
  if (failed == 0) {
    file_unmap(*old);  // keeps the locks while the names change
    failed = compaction.install();
  }
  // A data file that was replaced has no name any more and need not be made clean.
  if (!old->data.is_still_at(request.data_path.c_str())) return failed;
  if (old->is_retired() && file_map_again(*old) != 0) return failed;
  const int closed = file_close(*old);
  return failed == 0 ? closed : failed;
}

}  // namespace marigold::inner::isam
