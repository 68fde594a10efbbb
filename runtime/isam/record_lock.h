// Locks of single records between processes. A lock stands for a primary key: it outlives a record
// that is deleted and written again, and holds the place of one that is not there.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::isam {

// Locks the record for this process; `byte` is what stands for it. 107 when another process has it.
int record_lock(File& file, const char* record, std::uint64_t& byte);

// Gives one record back, or all.
int record_unlock(File& file, std::uint64_t byte);
int record_unlock_all(File& file);

// 107 when another process has the record locked.
int record_not_locked(const File& file, const char* record);

}  // namespace marigold::isam
