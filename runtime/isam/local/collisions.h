// SPDX-License-Identifier: GPL-3.0-or-later
// Collisions after a power loss: records that exclude each other, because they have the same value
// of a key without duplicates. rebuild.h states the rule by which one of them stays.
#pragma once

#include <vector>

#include "runtime/isam/local/file.h"
#include "runtime/isam/local/slot_set.h"

namespace marigold::inner::isam {

// Two surviving slots with one primary key; no version between the two survives.
struct VersionPair {
  SlotNumber newer;
  SlotNumber older;
};
using Versions = std::vector<VersionPair>;

// Removes the entries of the slots that are set aside from all trees, as far as the trees have
// them, and inserts those of the versions that come back instead. `live`: the slots that the trees
// hold, without those set aside; updated. Nothing is saved for an undo, since the trees have no
// meaning meanwhile. 0, or the number for iserrno.
int resolve_collisions(File& file, Versions& versions, std::vector<SlotNumber>& set_aside,
                       SlotSet& live);

}  // namespace marigold::inner::isam
