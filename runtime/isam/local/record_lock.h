// SPDX-License-Identifier: GPL-3.0-or-later
// Locks of single records between processes. A lock stands for a primary key: it outlives a record
// that is deleted and written again, and protects a key without a record.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Locks the record for this process and gives the byte that stands for it. 107 when another process
// has locked it.
int record_lock(File& file, const char* record, std::uint64_t& byte);

// Locks the record as record_lock does, unless this process has it locked already. `taken` reports
// whether the lock is new.
int record_lock_once(File& file, const char* record, bool& taken);

// Unlock one record, or all of this process.
int record_unlock(File& file, const char* record);
int record_unlock(File& file, std::uint64_t byte);
int record_unlock_all(File& file);

// 107 when another process has locked the record, else 0.
int record_not_locked(const File& file, const char* record);

// Whether this process may lock or change the record now: 0, 107, or the number of the guard of a
// marked file. Called by the writer, so no mark is set before the lock or the change is done. The
// guard is asked last: the writer of a set has locked all records of the set while it lives, so a
// record that is not locked and a guard that finds the writer alive show that the set does not
// have the record.
int record_may_change(const File& file, const char* record);

}  // namespace marigold::inner::isam
