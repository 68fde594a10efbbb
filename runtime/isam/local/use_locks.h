// SPDX-License-Identifier: GPL-3.0-or-later
// Locks that decide which processes may have a file open at the same time: locks of single bytes,
// which the system gives back when a process dies.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/local/file.h"
#include "runtime/platform/record_file.h"

namespace marigold::inner::isam {

// Takes the use lock in the mode of the opening, and the lock of this run of the machine. 113 when
// another process has the file open in a way that excludes this one.
int take_use_lock(File& file);

// Whether another process has the file open. The caller holds the register lock, which processes
// take before they open or close the file; one that may only read the file holds no lock that
// could keep others away, and learns how it was a moment ago.
int has_other_users(const File& file, bool& others);

// Makes the use lock exclusive if no other process has the file open, else EAGAIN. The caller holds
// the register lock and has the file open for all.
int hold_if_alone(File& file);

// Locks an index that this process does not open as a pair: exclusively, under the register lock,
// like every process that takes this lock. 113 when another process has the file open.
int take_closed_index(MappedFile& index);
int take_closed_index(RecordFile& index);

// Takes the lock of this run of the machine: only processes of one run have a file open at the same
// time. The memory of two machines does not follow each other's changes, whatever a network file
// system promises of their locks.
int take_run_lock(File& file);

// Takes a seat, which shows other processes that this one lives. If the writer lock already has
// this seat, its last holder left it there.
int take_seat(File& file);

}  // namespace marigold::inner::isam
