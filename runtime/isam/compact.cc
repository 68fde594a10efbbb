// The records go into a new pair in the order of their slots: the old file is read once from its
// beginning to its end, whatever has become of its trees, and neighbours stay neighbours. The new
// pair has the number of the old one, and takes its place in these steps:
//
//   1. the new pair is whole and on the disk, under names of its own
//   2. the new data file takes the place of the old one
//   3. the new index takes the place of the old one
//
// Killed before 2 nothing has happened. Between 2 and 3 the stamp of the new data file is not that
// of the old index, which whoever opens the pair makes from the records then.

#include "runtime/isam/compact.h"

#include <cerrno>

#include "runtime/isam/change.h"
#include "runtime/isam/fresh_pair.h"
#include "runtime/isam/hit.h"
#include "runtime/isam/slots.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::isam {
namespace {

class Compaction {
 public:
  Compaction(File& old, const OpenRequest& request, const IsWatch& watch)
      : old_(old), fresh_(request), watch_(watch, old.trees.size()) {}

  // What cannot be moved safely is refused: a record that is damaged would be gone.
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
  // Records that are deleted and not settled would be back.
  int failed = slots_settle(*old);
  if (failed == 0) {
    failed = as_writer(*old, [&] {
      Compaction compaction(*old, request, watch);
      const int made = unless_hit(*old, compaction.make(report));
      return made == 0 ? compaction.install() : made;
    });
  }
  // Only a file that is still there is brought to rest. The other one has no name any more.
  if (!old->data.is_still_at(request.data_path.c_str())) return failed;
  const int closed = file_close(*old);
  return failed == 0 ? closed : failed;
}

}  // namespace marigold::isam
