// The records go into a new pair in the order of their slots: the old file is read once from its
// beginning to its end, whatever has become of its trees, and neighbours stay neighbours. The new
// pair has the number of the old one, and takes its place in these steps:
//
//   1. the new pair is whole and on the disk, under names of its own
//   2. the old index is marked as one to be made from the records
//   3. the new data file takes the place of the old one
//   4. the new index takes the place of the old one
//
// Killed before 2 nothing has happened. Between 2 and 4 the file opens with the old records or with
// the new ones, which are the same; the index that stands there is made from them then.

#include "runtime/isam/compact.h"

#include <cerrno>

#include "runtime/isam/fresh_pair.h"
#include "runtime/platform/stop_signals.h"

namespace marigold::isam {
namespace {

class Compaction {
 public:
  Compaction(File& old, const OpenRequest& request, const IsWatch& watch)
      : old_(old), fresh_(request), watch_(watch, old.trees.size()) {}

  // What cannot be moved safely is refused: a record that is damaged would be gone.
  int make(IsCompactReport& report) {
    if (const int failed = slots_settle(old_)) return failed;
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

  int put_in_place() {
    const std::uint32_t before = old_.header().state;
    change_step();
    if (const int failed = file_put_in_state(old_, kStateRebuild)) return failed;
    if (const int failed = fresh_.put_data_in_place()) {
      file_put_in_state(old_, before);
      return failed;
    }
    return fresh_.put_index_in_place();
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
  const int failed = as_writer(*old, [&] {
    Compaction compaction(*old, request, watch);
    const int made = compaction.make(report);
    return made == 0 ? compaction.put_in_place() : made;
  });
  // Only a file that is still there is brought to rest. The other one has no name any more.
  if (!old->data.is_still_at(request.data_path.c_str())) return failed;
  const int closed = file_close(*old);
  return failed == 0 ? closed : failed;
}

}  // namespace marigold::isam
