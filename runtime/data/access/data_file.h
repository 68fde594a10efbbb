// Data files of every kind, opened, read and written through the record buffer of their handle
// (data_handle.h); the fields of the buffer: field_access.h.
//
// A file is opened by its name, as the definition sets have it, or by its handle.
// Keyed files do what isam_access.h says, random files what random_file.h says (there the key
// number does not matter: a record is found by its SNR). Results: data_result.h. What nobody can
// resolve ends the process with a system error.
//
// Operations that can meet a lock take the LockWait that says what to do then; kDataLocked comes
// back when that is to give up. Every read that returns kDataNotFound clears the record: no caller
// ever sees a stale one.
#pragma once

#include <string_view>

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"
#include "runtime/data/access/lock_decision.h"

namespace marigold {

// Opens a file; a missing one is made, with its version record, unless the definition is read-only.
// 0 (the record is cleared), 1 for one that is open (nothing happens), or 4. System errors: 1 no
// such definition; 2 no such type; 16 a chained file; 19 no room for the deletion marker behind the
// fields; 33, 34 no room for the record; and those of the file's kind.
int data_open(DataFile& file, LockWait wait, bool exclusive = false);
int data_open(std::string_view name, LockWait wait, bool exclusive = false);

// Closes a file and gives its locks back. One that is not open is left alone.
void data_close(DataFile& file);
void data_close_all();

// Gives every field its presets, or zeros, and clears the rest of the record. Error 101 when the
// file is not open.
void data_clear_record(DataFile& file);

// By the key value in the record. 0, 3 or 4.
int data_read(DataFile& file, int key, bool lock, LockWait wait);

// Whether data_read without a lock would find it: 0 or 3. The record stays as it is.
int data_exists(DataFile& file, int key);

// By the order of a key. 0 or 3. From: the first with the record's value or a greater one.
int data_read_from(DataFile& file, int key);
int data_read_first(DataFile& file, int key);
int data_read_last(DataFile& file, int key);
int data_read_next(DataFile& file, int key);
int data_read_previous(DataFile& file, int key);

// Writes the record, in the place of one that has its primary key or number. 0, or 4 at once.
int data_write(DataFile& file);

// Deletes the record with this primary key or number, if there is one. 0, or 4 at once.
int data_delete(DataFile& file);

// Gives back all locks of records of the file.
void data_release(DataFile& file);

}  // namespace marigold
