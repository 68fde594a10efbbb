// Opens, reads and writes data files of every kind through the record buffer of their handle
// (data_handle.h); field_access.h reads and writes the fields of the buffer.
//
// A program opens a file by its name in the definition sets, or by its handle. isam_access.h
// describes keyed files, random_file.h random files (there the key number has no effect: the SNR
// finds a record). Results: data_result.h. A failure that nobody can resolve ends the process with
// a system error.
//
// Operations that can meet a lock take a LockWait, which decides how they go on; they return
// kDataLocked when they give up. Every read that returns kDataNotFound clears the record, so no
// caller sees a stale record.
#pragma once

#include <string_view>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"
#include "runtime/data/access/lock_decision.h"

namespace marigold {

// Opens a file. Makes a missing one, with its version record, unless the handle is read-only.
// Returns 0 (the record is cleared), 1 if the file is open already (nothing happens), or 4. System
// errors: 1 no such definition; 2 no such type; 16 a chained file; 19 no room for the deletion
// marker after the fields; 33, 34 no room for the record; 40 records of a newer version; 105
// records of an older version, or an unfinished restore; and those of the file's kind.
int data_open(DataFile& file, LockWait wait, bool exclusive = false);
int data_open(std::string_view name, LockWait wait, bool exclusive = false);

// Closes a file and gives its locks back. Does nothing for a file that is not open.
void data_close(DataFile& file);
void data_close_all();

// Gives every field its presets, or zeros, and clears the rest of the record. Error 101 if the file
// is not open.
void data_clear_record(DataFile& file);

// Reads by the key value in the record. Returns 0, 3 or 4.
int data_read(DataFile& file, int key, bool lock, LockWait wait);

// Whether data_read without a lock would find a record: 0 or 3. The record stays as it is.
int data_exists(DataFile& file, int key);

// Read in the order of a key; return 0 or 3. data_read_from finds the first record with the value
// in the buffer or a greater one.
int data_read_from(DataFile& file, int key);
int data_read_first(DataFile& file, int key);
int data_read_last(DataFile& file, int key);
int data_read_next(DataFile& file, int key);
int data_read_previous(DataFile& file, int key);

// Writes the record and replaces one with the same primary key or number. Returns 0, or 4 without
// waiting.
int data_write(DataFile& file);

// Deletes the record with this primary key or number, if there is one. Returns 0, or 4 without
// waiting.
int data_delete(DataFile& file);

// Gives back all record locks of the file.
void data_release(DataFile& file);

}  // namespace marigold
