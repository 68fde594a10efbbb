#include "runtime/isam/rebuild.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "runtime/isam/hit.h"
#include "runtime/isam/pairing.h"
#include "runtime/isam/record.h"
#include "runtime/isam/space.h"
#include "runtime/isam/tree.h"

namespace marigold::isam {
namespace {

// Entries are sorted in runs of this many bytes before they are put into their tree: memory is
// bounded, and neighbours in the tree are written together.
constexpr std::size_t kRunBytes = std::size_t{16} << 20;

void free_slot_at(File& file, SlotNumber slot) {
  reinterpret_cast<SlotHeader*>(file.slot(slot))->state = kSlotFree;
}

// Takes a record out of the trees that have it already.
int drop_record(File& file, SlotNumber slot, std::size_t trees) {
  for (std::size_t tree = 0; tree < trees; ++tree) {
    Path path;
    const Probe probe = record_probe(file, tree, file.slot(slot));
    if (!tree_find(file, tree, probe, Bound::kNotLess, path)) return kIsBadFile;
    if (const int failed = tree_remove(file, tree, path)) return failed;
  }
  free_slot_at(file, slot);
  return 0;
}

int insert_record(File& file, std::size_t tree, SlotNumber slot) {
  const Probe probe = record_probe(file, tree, file.slot(slot));
  const TreeHeader& root = file.contents().trees[tree];
  if (const int failed = file_grow_index(file, file.contents().page_count + root.levels + 1))
    return failed;
  Path path;
  if (!tree_find(file, tree, probe, Bound::kNotLess, path)) return kIsBadFile;
  SlotNumber other = 0;
  if (!place_has_key(file, tree, path.nodes[0], probe, other))
    return tree_insert(file, tree, path, probe, slot);
  const bool stays = record_sequence(file.slot(other)) > record_sequence(file.slot(slot));
  if (const int failed = drop_record(file, stays ? slot : other, tree)) return failed;
  if (stays) return 0;
  if (const int failed = tree_remove(file, tree, path)) return failed;
  return insert_record(file, tree, slot);
}

int insert_run(File& file, std::size_t tree, std::vector<std::byte>& run) {
  const std::uint32_t length = file.trees[tree].compare_length;
  std::vector<const std::byte*> order;
  for (std::size_t at = 0; at < run.size(); at += length + kNumberLength)
    order.push_back(run.data() + at);
  std::ranges::sort(order, [length](const std::byte* a, const std::byte* b) {
    return std::memcmp(a, b, length) < 0;
  });
  for (const std::byte* entry : order) {
    SlotNumber slot = 0;
    std::memcpy(&slot, entry + length, sizeof slot);
    if (!slot_has_survived(file, file.slot(slot))) continue;  // dropped meanwhile
    if (const int failed = insert_record(file, tree, slot)) return failed;
  }
  run.clear();
  return 0;
}

int build_tree(File& file, std::size_t tree, const IsWatch& watch) {
  constexpr std::uint64_t kSeldom = 4096;
  const TreeShape& shape = file.trees[tree];
  const std::uint64_t slots = file.contents().slot_count;
  std::vector<std::byte> run;
  for (std::uint64_t number = 1; number <= slots; ++number) {
    if (watch && number % kSeldom == 0) watch(tree * slots + number, file.trees.size() * slots);
    if (!slot_has_survived(file, file.slot(number))) continue;
    const Probe probe = record_probe(file, tree, file.slot(number));
    const auto slot = static_cast<SlotNumber>(number);
    run.insert(run.end(), probe.begin(), probe.begin() + shape.compare_length);
    const auto* bytes = reinterpret_cast<const std::byte*>(&slot);
    run.insert(run.end(), bytes, bytes + sizeof slot);
    if (run.size() < kRunBytes) continue;
    if (const int failed = insert_run(file, tree, run)) return failed;
  }
  return insert_run(file, tree, run);
}

// The number of the last slot that was ever used.
std::uint64_t last_used_slot(const File& file) {
  std::uint64_t last = (file.data_space - kDataStart) / file.slot_size;
  while (last > 0 && reinterpret_cast<const SlotHeader*>(file.slot(last))->state == kSlotUnused)
    --last;
  return last;
}

std::uint64_t last_survivor(const File& file, std::uint64_t last) {
  while (last > 0 && !slot_has_survived(file, file.slot(last)))
    --last;
  return last;
}

int give_back(File& file) {
  if (const int failed = file.data.truncate(data_bytes(file))) return failed;
  if (const int failed = file.index.truncate(index_bytes(file))) return failed;
  file.data_space = data_bytes(file);
  file.index_space = index_bytes(file);
  return note_space(file);
}

// Counts the records and chains the other slots, the lowest one first.
void take_stock(File& file) {
  Contents& contents = file.contents();
  contents.epoch = settled_epoch(file) + 1;
  for (std::uint64_t number = contents.slot_count; number > 0; --number) {
    auto* header = reinterpret_cast<SlotHeader*>(file.slot(number));
    if (slot_has_survived(file, file.slot(number))) {
      header->state = kSlotLive;
      header->check = slot_check(file, file.slot(number));
      ++contents.record_count;
      contents.sequence = std::max(contents.sequence, sequence_of(*header));
    } else {
      header->state = kSlotFree;
      header->next = static_cast<SlotNumber>(contents.free_slot);
      contents.free_slot = number;
    }
  }
}

int lay_out(File& file) {
  IndexHeader& header = file.header();
  const std::uint64_t undo_pages = undo_pages_needed(file.trees);
  header.contents = Contents{};
  header.kept = {};
  header.contents.page_count = kUndoStart + undo_pages;
  header.undo_pages = undo_pages;
  header.undo_used = 0;
  if (const int failed = file_grow_index(file, kUndoStart + undo_pages + file.trees.size()))
    return failed;
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree)
    tree_create(file, tree);
  return 0;
}

int make_all(File& file, const RebuildOptions& options) {
  file.header().contents = Contents{};
  file.contents().page_count = 1;
  if (const int failed = lay_out(file)) return failed;
  const std::uint64_t last = last_used_slot(file);
  file.contents().slot_count = options.give_back ? last_survivor(file, last) : last;
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    if (const int failed = build_tree(file, tree, options.watch)) return failed;
  }
  take_stock(file);
  return options.give_back ? give_back(file) : 0;
}

}  // namespace

int rebuild_indexes(File& file, const RebuildOptions& options) {
  if (const int failed = put_in_use(file, kStateRebuild)) return failed;
  file.header().version = kIndexVersion;
  file.logging = false;
  file.saved_pages.clear();
  int failed = 0;
  try {
    failed = make_all(file, options);
    if (was_hit(file)) failed = after_hit(file);
  } catch (const std::bad_alloc&) {
    failed = kIsNoMemory;
  }
  file.logging = true;
  file.saved_pages.clear();
  // Remembered places are void. Odd after a failure: the trees mean nothing then, and whoever wants
  // to read or change them begins again.
  file.header().changes = (file.header().changes / 2 + 1) * 2 + (failed != 0 ? 1 : 0);
  if (failed == 0) file.header().state = kStateInUse;
  return failed;
}

}  // namespace marigold::isam
