// Random files: records of fixed length at the place that their number gives. The lock files of the
// path classes are such files too.
//
// Record n, from 1, lies at byte (n - 1) x record length of the file, which has the path's name
// without anything added. Its number also stands in its first field, the LONGINT "SNR"; its last
// byte is the deletion marker, 0 for a live record. A place whose marker is not 0 or whose SNR is
// not its own number holds no record: so neither do places that were jumped over and never written.
//
// Locks are bytes far behind the data: one for the whole file, one for each record, one for
// appending. docs/formats/random-file.md says where.
//
// The SNR in the buffer of the handle says which record is meant. Results are those of keyed files;
// what the system refuses ends the process with 1000 + its error number.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"
#include "runtime/platform/record_file.h"

namespace marigold {

// The byte that who has the file open holds locked, shared or exclusive.
inline constexpr std::uint64_t kRandomFileLock = std::uint64_t{1} << 62;

// Bytes from here on are never locked by a random file for itself: a user of random_bytes may.
inline constexpr std::uint64_t kRandomUserLocks = kRandomFileLock + (std::uint64_t{1} << 34);

// Whose file it is. One of the runtime's own is never opened through a link, nor when it has
// another name as well: the runtime writes into it unasked.
enum class RandomOwner { kProgram, kRuntime };

// Opens a file, which is made (with its data directory) when it is missing; sets `created` then.
// The whole file is locked shared, or exclusive, for as long as it is open: 4 when that is refused.
// A read-only definition opens for reading, but to lock exclusively a file must be open for
// writing.
int random_open(DataFile& file, const std::string& path, bool& created, bool exclusive,
                RandomOwner owner = RandomOwner::kProgram);

// Whether the open file has no byte.
bool random_is_empty(const DataFile& file);

// The record with the buffer's number. With `lock` that number is locked for this process, whether
// it has a record or not. 0, 3 or 4; after 3 and 4 the buffer is as it was.
int random_read(DataFile& file, bool lock);

// Whether it has a record; the buffer stays as it is.
int random_exists(DataFile& file);

// Writes the record at its number. A number below 1 makes it a new record behind all others, whose
// number is put into the buffer. 0 or 4.
int random_write(DataFile& file);

// Deletes the record with the buffer's number; one that is not there counts as deleted. 0 or 4.
int random_delete(DataFile& file);

// Read the first record from the buffer's number on, the first, the last, the next, the previous
// one. 0 or 3. After a failed next the previous one is the last record, as for keyed files.
int random_read_from(DataFile& file);
int random_read_first(DataFile& file);
int random_read_last(DataFile& file);
int random_read_next(DataFile& file);
int random_read_previous(DataFile& file);

// Gives back all locks of records.
void random_release(DataFile& file);

// Closes the file, which gives back all locks.
void random_close(DataFile& file);

// The bytes of an open file, for what is kept in it besides records; null when it is not open.
RecordFile* random_bytes(const DataFile& file);

}  // namespace marigold
