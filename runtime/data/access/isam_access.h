// Keyed data files: the engine's many outcomes as the few that programs act on.
//
// The last byte of every record is its deletion marker: 0 for a live record, 1 for a placeholder,
// which exists only to hold a lock on a key that has no record; every read takes it for absent. So
// a process can lock the key of a record that it is about to write.
//
// The record buffer of the handle, record_length bytes, holds the record to be written, the key
// value that is looked for, and the record that was read. Keys are numbered from 1, the
// primary key first.
//
// Results: kDataDone, kDataNotFound, kDataLocked, as each operation says. Nothing waits for a lock.
// Anything else ends the process through data_fatal with the engine's number: among them 101 for a
// handle that is not open and 103 for a key that the definition lacks. Each operation leaves its
// name as the current operation.
#pragma once

#include <string>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"
#include "runtime/isam/isam.h"

namespace marigold {

// The engine's description of a key. Only the primary key is without duplicates.
KeyDescription isam_key(const FileDefinition& file, int key);

// Whether records and keys of a file are those of the definition; if not, `reason` says why.
bool isam_fits(const FileDefinition& file, const IsamInfo& info, std::string& reason);

// Whether a file is what a process leaves that is killed while it makes it: without a record, and
// without some of the keys.
bool isam_is_half_made(const FileDefinition& file, const IsamInfo& info);

// Gives a half made file the keys that it lacks. 0, or the number of what stood in the way (113:
// another process has it open).
int isam_finish_making(const FileDefinition& file, const std::string& base);

// Makes the pair of files BASE.dat and BASE.idx with all keys, and closes it; sets `created`. A
// missing data directory is made. Whatever stands in the way is fatal.
void make_isam(const DataFile& file, const std::string& base, bool& created);

// Opens a pair of files, which is made when it is missing, unless the definition is read-only.
// 0, or 4 when another process has it in use in a way that excludes this one (fatal for a
// read-only definition). Records or keys that are not those of the definition are reported and
// fatal (105).
int is_open(DataFile& file, const std::string& base, bool& created, bool exclusive);

// Whether the open file has no record at all.
bool is_empty(const DataFile& file);

// Writes the record, in the place of the one that has its primary key. 0 or 4.
int is_write(DataFile& file);
int is_rewrite(DataFile& file);

// Deletes the record with the primary key in the buffer; one that is not there counts as deleted.
// 0 or 4.
int is_del(DataFile& file);

// Reads the record that has the key value in the buffer. With `lock` it is locked for this process,
// and by the primary key also one that is not there (by a placeholder). 0, 3 or 4. The buffer after
// 3: for a secondary key, whatever was found behind the value.
int is_read(DataFile& file, int key, bool lock);

// Whether is_read without a lock would find it; the buffer stays as it is.
int is_exists(DataFile& file, int key);

// Read the first record that has this key value or a greater one, the first, the last, the next,
// the previous one in the order of the key. 0 or 3. After a failed next the file stands on its last
// record: the previous one is that record, the next one whatever has been added behind it.
int is_readgen(DataFile& file, int key);
int is_readfirst(DataFile& file, int key);
int is_readlast(DataFile& file, int key);
int is_readnext(DataFile& file, int key);
int is_readprev(DataFile& file, int key);

// Brings everything to the disk and gives all locks back. What cannot be written is fatal; the
// handle is closed before.
void is_close(DataFile& file);

// Brings everything to the disk and leaves the engine's file open behind the handle's back, as a
// process wants it that is about to become another one.
void is_flush_and_forget(DataFile& file);

// Gives back all record locks of this process on the file.
void is_release(DataFile& file);

}  // namespace marigold
