// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/write.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/isam/local/change.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/pairing.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/isam/local/record.h"
#include "runtime/isam/local/record_lock.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/space.h"
#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {
namespace {

// Entries of one record in all trees, and the paths to their places.
struct Entries {
  std::array<Probe, kIsMostKeys> probes;
  std::array<Path, kIsMostKeys> paths;
};

// Finds the entries of a record in the trees from `first` on.
bool find_entries(File& file, std::size_t first, const char* record, std::uint64_t sequence,
                  Entries& entries) {
  auto& [probes, paths] = entries;
  std::size_t levels = 0;
  for (std::size_t tree = first; tree < file.trees.size(); ++tree) {
    probes[tree] = new_probe(file.trees[tree], record, sequence);
    if (!tree_enter(file, tree, paths[tree])) return false;
    levels = std::max(levels, paths[tree].levels);
  }
  for (std::size_t level = levels; level-- > 1;) {
    for (std::size_t tree = first; tree < file.trees.size(); ++tree) {
      if (level >= paths[tree].levels) continue;
      if (!tree_follow(file, tree, level, probes[tree], paths[tree])) return false;
    }
  }
  for (std::size_t tree = first; tree < file.trees.size(); ++tree) {
    if (!tree_arrive(file, tree, probes[tree], Bound::kNotLess, paths[tree])) return false;
  }
  return true;
}

// Finds the places for the entries of a new record; 100 when a key without duplicates has its value
// already.
int find_entries_of_new(File& file, const char* record, std::uint64_t sequence, Entries& entries) {
  if (!find_entries(file, 0, record, sequence, entries)) return kIsBadFile;
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    SlotNumber slot = 0;
    const Place place = entries.paths[tree].nodes[0];
    if (place_has_key(file, tree, place, entries.probes[tree], slot))
      return file.trees[tree].duplicates ? kIsBadFile : kIsDuplicate;
  }
  return 0;
}

// Finds the other entries of a record whose primary key has been found.
int find_further_entries(File& file, SlotNumber slot, Entries& entries) {
  const std::byte* at = file.slot(slot);
  const auto* record = reinterpret_cast<const char*>(at + sizeof(SlotHeader));
  if (!find_entries(file, 1, record, record_sequence(at), entries)) return kIsBadFile;
  for (std::size_t tree = 1; tree < file.trees.size(); ++tree) {
    SlotNumber found = 0;
    const Place place = entries.paths[tree].nodes[0];
    if (!place_has_key(file, tree, place, entries.probes[tree], found) || found != slot)
      return kIsBadFile;
  }
  return 0;
}

// Finds the record with this primary key, which no other process may have locked, and its entries.
int find_record(File& file, const char* record, SlotNumber& slot, Entries& entries) {
  Probe& probe = entries.probes[0];
  probe = new_probe(file.trees[0], record, 0);
  Path& path = entries.paths[0];
  if (!tree_find(file, 0, probe, Bound::kNotLess, path)) return kIsBadFile;
  if (!place_has_key(file, 0, path.nodes[0], probe, slot)) return kIsNoRecord;
  if (slot == 0 || slot > file.slots || !slot_was_live(file, slot)) return kIsBadFile;
  if (!is_entry_of(file, 0, probe, file.slot(slot))) return kIsBadFile;
  if (const int failed = record_may_change(file, record)) return failed;
  return find_further_entries(file, slot, entries);
}

int next_sequence(const File& file, std::uint64_t& sequence) {
  sequence = file.contents().sequence + 1;
  return sequence > kLastSequence ? EFBIG : 0;
}

// Writes a record into a slot. Within a change.
int put_record(File& file, const char* record, std::uint64_t sequence, const Probe& primary,
               SlotNumber& slot) {
  slot = slot_take(file);
  if (slot == 0) return kIsBadFile;
  record_store(file, slot, record, sequence);
  note_intact_slot(file, slot);
  file.contents().sequence = sequence;
  file.hints.note(hint_hash(file.trees[0], primary), slot);
  return 0;
}

int insert_everywhere(File& file, const char* record, std::uint64_t sequence, Entries& entries) {
  SlotNumber slot = 0;
  if (const int failed = put_record(file, record, sequence, entries.probes[0], slot)) return failed;
  ++file.contents().record_count;
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    if (const int failed =
            tree_insert(file, tree, entries.paths[tree], entries.probes[tree], slot)) {
      return failed;
    }
  }
  return 0;
}

int remove_everywhere(File& file, SlotNumber slot, Entries& entries) {
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    if (const int failed = tree_remove(file, tree, entries.paths[tree])) return failed;
  }
  slot_give(file, slot);
  --file.contents().record_count;
  return 0;
}

// Moves the entry of a tree from the old record to the new one, which is in its slot.
int move_entry(File& file, std::size_t tree, Path& old_path, const Probe& probe, SlotNumber slot) {
  SlotNumber old_slot = 0;
  if (place_has_key(file, tree, old_path.nodes[0], probe, old_slot)) {
    tree_set_number(file, old_path.nodes[0], slot);
    return 0;
  }
  if (const int failed = tree_remove(file, tree, old_path)) return failed;
  Path path;
  if (!tree_find(file, tree, probe, Bound::kNotLess, path)) return kIsBadFile;
  return tree_insert(file, tree, path, probe, slot);
}

int replace_everywhere(File& file, const char* record, std::uint64_t sequence, SlotNumber old_slot,
                       Entries& entries) {
  SlotNumber slot = 0;
  if (const int failed = put_record(file, record, sequence, entries.probes[0], slot)) return failed;
  tree_set_number(file, entries.paths[0].nodes[0], slot);
  for (std::size_t tree = 1; tree < file.trees.size(); ++tree) {
    const Probe probe = new_probe(file.trees[tree], record, sequence);
    if (const int failed = move_entry(file, tree, entries.paths[tree], probe, slot)) return failed;
  }
  slot_give(file, old_slot);
  return 0;
}

// 100 when another record has the new value of a key without duplicates.
int require_unique(File& file, const char* record, SlotNumber own) {
  for (std::size_t tree = 1; tree < file.trees.size(); ++tree) {
    if (file.trees[tree].duplicates) continue;
    const Probe probe = new_probe(file.trees[tree], record, 0);
    Path path;
    SlotNumber slot = 0;
    if (!tree_find(file, tree, probe, Bound::kNotLess, path)) return kIsBadFile;
    if (place_has_key(file, tree, path.nodes[0], probe, slot) && slot != own) return kIsDuplicate;
  }
  return 0;
}

// ---- Keys

int rebuild_with(File& file, const std::vector<TreeShape>& trees) {
  if (const int failed = file_write_keys(file, trees)) return failed;
  return rebuild_indexes(file);
}

}  // namespace

int write_record(File& file, const char* record) {
  if (const int failed = make_visible(file)) return failed;
  std::uint64_t sequence = 0;
  Entries entries;
  if (const int failed = next_sequence(file, sequence)) return failed;
  if (const int failed = find_entries_of_new(file, record, sequence, entries)) return failed;
  if (const int failed = record_may_change(file, record)) return failed;
  if (const int failed = change_prepare(file)) return failed;
  if (const int failed = change_prepare_space(file)) return failed;
  return change(file, [&] { return insert_everywhere(file, record, sequence, entries); });
}

int delete_record(File& file, const char* record) {
  if (const int failed = make_visible(file)) return failed;
  SlotNumber slot = 0;
  Entries entries;
  if (const int failed = find_record(file, record, slot, entries)) return failed;
  if (const int failed = change_prepare(file)) return failed;
  return change(file, [&] { return remove_everywhere(file, slot, entries); });
}

int replace_record(File& file, const char* record) {
  if (const int failed = make_visible(file)) return failed;
  std::uint64_t sequence = 0;
  SlotNumber slot = 0;
  Entries entries;
  if (const int failed = next_sequence(file, sequence)) return failed;
  if (const int failed = find_record(file, record, slot, entries)) return failed;
  if (const int failed = require_unique(file, record, slot)) return failed;
  if (const int failed = change_prepare(file)) return failed;
  if (const int failed = change_prepare_space(file)) return failed;
  return change(file, [&] { return replace_everywhere(file, record, sequence, slot, entries); });
}

int add_key(File& file, const KeyDescription& key) {
  if (!file.exclusive) return kIsNotExclusive;
  if (const int failed = validate_key(key, static_cast<int>(file.record_length))) return failed;
  if (file.trees.size() == kIsMostKeys) return kIsBadKey;
  if (std::ranges::any_of(file.trees,
                          [&](const TreeShape& shape) { return key_same(shape.key, key); })) {
    return kIsKeyExists;
  }
  const TreeShape shape = tree_shape(key);
  bool found = false;
  const int not_looked = shape.duplicates ? 0 : has_duplicates(file, shape, found);
  if (not_looked != 0) return not_looked;
  if (found) return kIsDuplicate;
  if (const int failed = change_prepare(file)) return failed;
  if (!file.settling.all_tried) return kSettleAllFirst;  // a rebuild undoes unsettled deletions
  const std::vector<TreeShape> before = file.trees;
  std::vector<TreeShape> after = before;
  after.push_back(shape);
  if (const int failed = put_in_use(file, kStateRebuild)) return failed;
  const int failed = rebuild_with(file, after);
  if (failed == 0) return 0;
  // Restores the former keys. If that fails too, the next process that needs the trees rebuilds
  // them.
  const int again = rebuild_with(file, before);
  return again != 0 ? again : failed;
}

}  // namespace marigold::inner::isam
