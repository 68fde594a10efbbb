// SPDX-License-Identifier: GPL-3.0-or-later
// Random files: records of fixed length, each at the place of its number. The lock files of the
// path classes are random files too.
//
// Record n, from 1, lies at byte (n - 1) x record length of the file. The file's name is the path
// without a suffix. The first field of a record, the LONGINT "SNR", also holds its number; its last
// byte is the deletion marker, 0 for a live record. A place holds no record if its marker is not 0
// or its SNR is not its own number. So a place that programs jumped over and never wrote holds no
// record.
//
// Locks are bytes far beyond the data: one for the whole file, one for each record, one for
// appending. docs/formats/random-file.md gives their offsets.
//
// In a cluster, a random file is a keyed file of the name with ".random" added, whose primary key is
// the number; the locks are those of the engine.
//
// The SNR in the buffer of the handle selects the record. Results are those of keyed files. A
// failure of the system ends the process with 1000 + its error number.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/record_file.h"

namespace marigold::inner {

// Each process that has the file open keeps this byte locked, shared or exclusive.
inline constexpr std::uint64_t kRandomFileLock = kFirstLock;

// A random file locks no byte from here on for itself: users of random_bytes may lock them.
inline constexpr std::uint64_t kRandomUserLocks = kRandomFileLock + (std::uint64_t{1} << 34);

// Owner of the file. The runtime writes into its own files without the user's request, so it opens
// such a file neither through a link nor when the file has a second name.
enum class RandomOwner { kProgram, kRuntime };

// Opens a file. Makes a missing one, with its data directory, and sets `created` then. Keeps the
// whole file locked, shared or exclusive, while it is open; returns 4 if another process's lock
// prevents that. A read-only handle opens for reading, except that an exclusive lock needs a file
// open for writing.
int random_open(DataFile& file, const std::string& path, bool& created, bool exclusive,
                RandomOwner owner = RandomOwner::kProgram);

// Whether the file is open; not in a forked child of the process that has opened it.
bool random_is_open(const DataFile& file);

// Whether nothing was ever written into the open file.
bool random_is_empty(const DataFile& file);

// Reads the record with the buffer's number. With `lock` it locks that number for this process,
// whether the number has a record or not. Returns 0, 3 or 4; after 3 and 4 the buffer is as it was.
int random_read(DataFile& file, bool lock);

// Whether the buffer's number has a record: 0 or 3. The buffer stays as it is.
int random_exists(DataFile& file);

// Writes the record at its number. A number below 1 makes it a new record after all others, and the
// new number goes into the buffer. Returns 0 or 4.
int random_write(DataFile& file);

// Deletes the record with the buffer's number. A missing record counts as deleted. Returns 0 or 4.
int random_delete(DataFile& file);

// Read the first record from the buffer's number on, the first, the last, the next, the previous
// one. Return 0 or 3. After a failed read for a next record the previous one is the last record, as
// for keyed files.
int random_read_from(DataFile& file);
int random_read_first(DataFile& file);
int random_read_last(DataFile& file);
int random_read_next(DataFile& file);
int random_read_previous(DataFile& file);

// Gives back all record locks.
void random_release(DataFile& file);

// Closes the file and so gives back all its locks.
void random_close(DataFile& file);

// Returns the bytes of an open file, for a user that keeps more than records in the file; null if
// the file is not open, or lies in a cluster.
RecordFile* random_bytes(const DataFile& file);

// ---- The keyed file of a random file in a cluster. All its records have a number from 1 on; the
// ones with the deletion marker 1 are deleted.

// Returns its address. The runtime's own files have their plain names.
std::string random_table(const std::string& path, RandomOwner owner = RandomOwner::kProgram);
// Returns its only key.
KeyDescription random_key();
// Compares an open file with the definition: 0, 105 with a reason, or another number of the engine.
int random_check(int descriptor, int record_length, std::string& reason);

}  // namespace marigold::inner
