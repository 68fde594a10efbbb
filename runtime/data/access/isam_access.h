// SPDX-License-Identifier: GPL-3.0-or-later
// Keyed data files: reduces the engine's many outcomes to the few that programs act on.
//
// The last byte of every record is its deletion marker: 0 for a live record, 1 for a placeholder. A
// placeholder exists only to hold a lock on a key that has no record, so that a process can lock
// the key of a record that it is about to write. Every read treats a placeholder as absent.
//
// The record buffer of the handle, record_length bytes, holds the record to write, the key value to
// look for, and the record that a read found. Keys have numbers from 1; key 1 is the primary key.
//
// Each operation names its results among kDataDone (0), kDataNotFound (3) and kDataLocked (4). No
// operation waits for a lock. Reads with a lock, writes and deletions can also return
// kDataUnfinished: they have done nothing, since a set of changes has to be finished first
// (change_turns.h). Any other outcome ends the process through data_fatal with the engine's number,
// for example 101 for a handle that is not open and 103 for a key that the definition lacks. Each
// operation sets its name as the current operation.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"
#include "runtime/isam/common/isam.h"

namespace marigold::inner {

// Returns the engine's description of a key. Only the primary key is without duplicates.
KeyDescription isam_key(const FileDefinition& file, int key);

// Whether the records and keys of a file are as the definition has them. If not, `reason` says why.
bool isam_fits(const FileDefinition& file, const IsamInfo& info, std::string& reason);

// Whether a process was killed while it made the file: the file has no record and lacks some of the
// keys. A shape (isshape) may lack the number of records, which is then to be asked for.
bool isam_is_half_made(const FileDefinition& file, const IsamInfo& info);

// Adds the keys that a half made file lacks. Returns 0, or the error number (113: another process
// has the file open).
int isam_finish_making(const FileDefinition& file, const std::string& base);

// Makes the pair of files BASE.dat and BASE.idx with all keys, closes it, and sets `created`. Makes
// a missing data directory. Any failure is fatal.
void make_isam(const DataFile& file, const std::string& base, bool& created);

// Opens a pair of files. Makes a missing pair, unless the handle is read-only. Returns 0, or 4 when
// another process uses the file in a way that excludes this open (fatal for a read-only handle).
// Other records or keys than the definition's are reported and fatal (105).
int is_open(DataFile& file, const std::string& base, bool& created, bool exclusive);

// Whether the open file has no record, not even a placeholder.
bool is_empty(const DataFile& file);

// Writes the record and replaces the one with the same primary key. Returns 0 or 4. is_rewrite is
// the same operation.
int is_write(DataFile& file);
int is_rewrite(DataFile& file);

// Deletes the record with the primary key in the buffer. A missing record counts as deleted.
// Returns 0 or 4.
int is_del(DataFile& file);

// Reads the record that has the key value in the buffer. With `lock` it locks the record for this
// process, and by the primary key also a missing record (by a placeholder). Returns 0, 3 or 4.
// After 3 by a secondary key the buffer may hold a record with a greater value.
int is_read(DataFile& file, int key, bool lock);

// Whether is_read without a lock would find a record: 0 or 3. The buffer stays as it is.
int is_exists(DataFile& file, int key);

// Read a record in the order of the key: the first with this key value or a greater one, the first,
// the last, the next, the previous one. Return 0 or 3. A failed read for a next record leaves the
// file at its last record: that record is then the previous one, and a record added after it later
// is the next one.
int is_readgen(DataFile& file, int key);
int is_readfirst(DataFile& file, int key);
int is_readlast(DataFile& file, int key);
int is_readnext(DataFile& file, int key);
int is_readprev(DataFile& file, int key);

// Read by the first `bytes` of a key's value in the buffer: the first record in which they are not
// less, and the last one in which they are not greater. 0 or 3.
int is_read_from_part(DataFile& file, int key, int bytes);
int is_read_up_to_part(DataFile& file, int key, int bytes);

// A place in the order of a key that the caller keeps while the file is open: at a record, or where
// one was. Reads in between, and changes by others, do not move it.
struct IsamPlace {
  IsPosition position;
  int key = -1;
  bool behind_last = false;
};

// Gives the place of the last read.
void is_keep_place(DataFile& file, IsamPlace& place);
// Returns to a place and reads its record: 0, or 3 when the record has been deleted. The next and
// the previous record are those around the place in both cases.
int is_return_to_place(DataFile& file, const IsamPlace& place);
// Returns a number that differs after every change of the file by any process.
std::uint64_t is_changes(const DataFile& file);

// Lets is_readnext and is_readprev fetch up to so many records at once from a cluster, as isahead
// (isam.h) does; 0 after opening. While a list is printed they do so of themselves.
void is_read_ahead(DataFile& file, int records);

// Selects another key and stays at the record read last: 0, or 3 when the record has been deleted.
int is_change_key(DataFile& file, int key);

// Makes all changes durable and gives all locks back. A change that cannot be written is fatal; the
// handle is closed by then.
void is_close(DataFile& file);

// Makes all changes durable and closes the handle, but leaves the engine's file open. For a process
// that is about to become another program.
void is_flush_and_forget(DataFile& file);

// Gives back all record locks of this process on the file.
void is_release(DataFile& file);

}  // namespace marigold::inner
