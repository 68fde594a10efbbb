// SPDX-License-Identifier: GPL-3.0-or-later
// Locks of single records between processes. A lock stands for a primary key: it outlives a record
// that is deleted and written again, and protects a key without a record.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::inner::isam {

// Locks the record for this process and gives the byte that stands for it. 107 when another process
// has locked it.
int record_lock(File& file, const char* record, std::uint64_t& byte);

// Unlock one record, or all of this process.
int record_unlock(File& file, std::uint64_t byte);
int record_unlock_all(File& file);

// 107 when another process has locked the record, else 0.
int record_not_locked(const File& file, const char* record);

}  // namespace marigold::inner::isam
