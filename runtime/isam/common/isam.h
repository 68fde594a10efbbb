// SPDX-License-Identifier: GPL-3.0-or-later
// The operations on keyed files, as the engines' own sources and the runtime's include them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "marigold/isam.h"  // IWYU pragma: export

namespace marigold::inner {

// A position of a descriptor that the caller keeps while the file is open: at a record's entry in a
// key, or between two entries. Records that are added and deleted meanwhile do not move it.
struct IsPosition {
  int key = -1;  // number of the key in the file, from 0; -1: nothing is kept
  bool at_record = false;
  bool before = false;  // between two entries: before those that are equal to `entry`
  std::array<std::byte, kIsLongestKey + 8> entry{};
};

// Gives the descriptor's position, or returns to one that isposition has given for this file. Error
// 102: nothing was kept, or the file lacks the key.
int isposition(int number, IsPosition& position);
int isreturn(int number, const IsPosition& position);

// Gives a number that differs after every change of the file by any process.
int ischanges(int number, std::uint64_t& changes);

// Lets reads of next and previous records fetch up to so many at once, of a file in a cluster, where
// each read costs a round trip. A record that was fetched with others is up to a second old, unless
// this process has changed the file since. 0, as after opening: only as the address says. Reads with
// a lock, and by other modes, are never old.
int isahead(int number, int records);

// Gives the record length and the keys of a file, for which isinfo may have to count records. The
// other values are as isinfo gives them, or 0.
int isshape(int number, IsamInfo& shape);

// Selects a key and stays at the current record. 103: the file has no such key; 112: there is no
// current record.
int isselect(int number, const KeyDescription& key);

// Does what ISCLOSE does for a file that is exclusively open, but keeps its locks: other files can
// then take the names of the pair, or it can be removed, before another process opens it. Only
// ISCLOSE may follow; everything else is 101. 102 for a file that others may have open.
int isretire(int number);

// ---- For sets of changes over several files, which a journal outside the engine makes whole

// Decides for a marked file whether an operation may lock or change a record: 0, or a number for
// iserrno. Called within the operation, while no other process can change the file; so it neither
// waits nor calls the engine.
using IsGuard = std::function<int()>;

// Sets the guard of an open file, for all descriptors of this process on it. Without a guard the
// mark has no effect. Only ISWRITE, ISREPLACE, ISDELETE and reads with a lock ask the guard.
int isguard(int number, IsGuard guard);

// Marks the file for all processes, or removes the mark. A mark outlives its process, but not a
// power loss.
int ismark(int number, bool marked);

// Locks the primary key of the record for this process, whether the file has the record or not.
// 107: another process has locked it. `taken`: this process did not have the lock before.
int islock(int number, const char* record, bool& taken);
int isunlock(int number, const char* record);

// Reserves disk space for so many further records: 28 and others while the file is unchanged. Other
// processes may use the space up; on most disks and in most trees adding the records cannot fail
// for want of space otherwise.
int isreserve(int number, std::uint64_t records);

}  // namespace marigold::inner
