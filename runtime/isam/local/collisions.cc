// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/collisions.h"

#include <algorithm>

#include "runtime/isam/local/record.h"
#include "runtime/isam/local/space.h"
#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {
namespace {

class CollisionResolver {
 public:
  CollisionResolver(File& file, Versions& versions, std::vector<SlotNumber>& set_aside,
                    SlotSet& live)
      : file_(file), versions_(versions), set_aside_(set_aside), live_(live) {
    if (!set_aside.empty()) std::ranges::sort(versions, {}, &VersionPair::newer);
  }

  // Each round sets a version aside for good, so there are no more rounds than slots.
  int run() {
    while (!set_aside_.empty()) {
      SlotNumber slot = set_aside_.back();
      set_aside_.pop_back();
      if (const int failed = drop(slot)) return failed;
      bool comes = false;
      while (!comes && (slot = older_than(slot)) != 0) {
        if (const int failed = make_way(slot, comes)) return failed;
      }
      if (!comes) continue;
      if (const int failed = insert(slot)) return failed;
    }
    return 0;
  }

 private:
  // Returns 0 when there is no older version.
  [[nodiscard]] SlotNumber older_than(SlotNumber slot) const {
    const auto found = std::ranges::lower_bound(versions_, slot, {}, &VersionPair::newer);
    return found != versions_.end() && found->newer == slot ? found->older : 0;
  }

  // Finds the place of a record's entry in a tree, and the slot of the entry there; 0 for none.
  int find(std::size_t tree, SlotNumber slot, Path& path, SlotNumber& holder) {
    const Probe probe = record_probe(file_, tree, file_.slot(slot));
    if (!tree_find(file_, tree, probe, Bound::kNotLess, path)) return kIsBadFile;
    if (!place_has_key(file_, tree, path.nodes[0], probe, holder)) holder = 0;
    return 0;
  }

  int drop(SlotNumber slot) {
    live_.remove(slot);
    for (std::size_t tree = 0; tree < file_.trees.size(); ++tree) {
      Path path;
      SlotNumber holder = 0;
      if (const int failed = find(tree, slot, path, holder)) return failed;
      if (holder != slot) continue;
      if (const int failed = tree_remove(file_, tree, path)) return failed;
    }
    return 0;
  }

  // Sets aside the records that were written later than this version and share a key value with it.
  // If such a record was written earlier, this version does not come back instead.
  int make_way(SlotNumber slot, bool& comes) {
    const std::uint64_t sequence = record_sequence(file_.slot(slot));
    std::vector<SlotNumber> later;
    for (std::size_t tree = 0; tree < file_.trees.size(); ++tree) {
      Path path;
      SlotNumber holder = 0;
      if (const int failed = find(tree, slot, path, holder)) return failed;
      if (holder == 0) continue;
      if (live_.has(holder) && record_sequence(file_.slot(holder)) < sequence) return 0;
      later.push_back(holder);
    }
    comes = true;
    for (const SlotNumber holder : later) {
      // A slot that is not live is set aside already, but its entries are still there.
      if (live_.has(holder)) set_aside_.push_back(holder);
      if (const int failed = drop(holder)) return failed;
    }
    return 0;
  }

  int insert(SlotNumber slot) {
    for (std::size_t tree = 0; tree < file_.trees.size(); ++tree) {
      const Contents& contents = file_.contents();
      const std::uint64_t pages = contents.page_count + contents.trees[tree].levels + 1;
      if (const int failed = file_grow_index(file_, pages)) return failed;
      Path path;
      SlotNumber holder = 0;
      if (const int failed = find(tree, slot, path, holder)) return failed;
      const Probe probe = record_probe(file_, tree, file_.slot(slot));
      if (const int failed = tree_insert(file_, tree, path, probe, slot)) return failed;
    }
    live_.add(slot);
    return 0;
  }

  File& file_;
  Versions& versions_;
  std::vector<SlotNumber>& set_aside_;
  SlotSet& live_;
};

}  // namespace

int resolve_collisions(File& file, Versions& versions, std::vector<SlotNumber>& set_aside,
                       SlotSet& live) {
  return CollisionResolver(file, versions, set_aside, live).run();
}

}  // namespace marigold::inner::isam
