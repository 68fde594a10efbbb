// SPDX-License-Identifier: GPL-3.0-or-later
// Data files: records by their definitions, found and walked by keys, shared by many processes.
//
//   texte_start(nullptr);                                    texts.h
//   definition_set_load("SHOP");
//   DataFile& customers = data_file("CUSTOMER");
//   data_open(customers, LockWait::kTellAndWait);
//   data_put_long(customers, "NUMBER", 10060);
//   if (data_read(customers, 1, true, LockWait::kWait) == kDataDone) ...
//   data_close_all();
//
// A file is opened by its definition and read and written through its record buffer. Keyed files
// find a record by a key, numbered from 1, the primary key first; random files find it by its
// number, the field SNR, and the key does not matter. Anything that nobody can resolve ends the
// process with a system error (texts.h): the numbers of the engine (isam.h) as they are, those of
// the operating system with 1000 added.
//
// Operations that can meet a lock take the LockWait that says what to do then; kDataLocked comes
// back when that is to give up. Every read that returns kDataNotFound clears the record: no caller
// ever sees a stale one.
//
// Process-wide, one thread; nothing throws.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace marigold {

#pragma GCC visibility push(default)

// ---- Definitions and handles

// The handle of a data file. It belongs to the runtime and stays valid for the life of the process.
struct DataFile;

// Scans a set and appends its files to the list of definitions. Any error is the system error of
// its number and does not return, and no file of the set is in the list then: 60 for a set that
// cannot be read or ends before "END.", 7 as well for a file that an earlier set has defined.
void definition_set_load(std::string_view set_name);

// The handle of a file of the definition sets: the name counts up to its first blank and its eighth
// character. A name that no set has defined is system error 1 and does not return.
DataFile& data_file(std::string_view name);

// Gives a closed file a place of its own, a path without ".dat" and the like; "": its name in the
// data directory of its path class, as at the start.
void data_set_path(DataFile& file, std::string_view path);

bool data_is_open(const DataFile& file);

// ---- Results

inline constexpr int kDataDone = 0;
inline constexpr int kDataAlreadyOpen = 1;
inline constexpr int kDataNotFound = 3;  // also: end of the file
inline constexpr int kDataLocked = 4;    // by another process

// How an operation meets a lock of another process. The numbers are those of the platform's
// programs.
enum class LockWait {
  kTell = 0,         // tell the user and give up
  kAsk = 1,          // the user decides; without a screen: tell, wait a second, give up
  kTellAndWait = 2,  // tell the user, for as long as it takes, once a second
  kWait = 3,         // wait without a word, looking once a second
};

// ---- Operations

// Opens a file; a missing one is made, with its version record, unless the definition is read-only.
// 0 (the record is cleared), 1 for one that is open (nothing happens), or 4. System errors: 1 no
// such definition; 2 no such type; 16 a chained file; 19 no room for the deletion marker after the
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

// ---- Fields, in the record buffer of an open file.
//
// Elements are numbered from 1 to the repeat count of the field. Texts are ISO 8859-1; after a text
// that is shorter than its field zero bytes follow, and reading ends at the first of them. So what
// was never put reads as "", and blanks at the end of a text come back.
//
//   integer   INT
//   long      LONGINT, DATE, TIME, and the head of a chain
//   double    REAL
//   text      CHAR (one character or none), STRING
//
// System errors, which do not return: 2 an unknown field, 3 the type of the field has no such
// value, 4 no element has this number, 38 the text fits no element, 101 the file is not open.

std::int16_t data_get_integer(const DataFile& file, std::string_view field, int index = 1);
std::int32_t data_get_long(const DataFile& file, std::string_view field, int index = 1);
double data_get_double(const DataFile& file, std::string_view field, int index = 1);
std::string data_get_text(const DataFile& file, std::string_view field, int index = 1);

void data_put_integer(DataFile& file, std::string_view field, std::int16_t value, int index = 1);
void data_put_long(DataFile& file, std::string_view field, std::int32_t value, int index = 1);
void data_put_double(DataFile& file, std::string_view field, double value, int index = 1);
void data_put_text(DataFile& file, std::string_view field, std::string_view value, int index = 1);

// ---- The locks of the path classes: which processes work in a data directory. Only in multi-user
// operation (IS_MULTIUSER); otherwise nothing here touches the disk. A class is held once, however
// often it is taken. A class outside 0 to 30 is system error 64.

// Takes the class for this process alone; a shared lock is given back first. 0, or 4 when others
// have it and the user, who is asked, does not want to wait (LockWait::kAsk): then nothing is held.
int path_lock_exclusive(int path_class);

// Takes the class shared; an exclusive lock is given back first. Waits until it is granted, telling
// the user (LockWait::kTellAndWait). 0.
int path_lock_shared(int path_class);

// Takes the class shared if that is possible at once: 0, else 4. Nobody is asked or told.
int path_lock_try_shared(int path_class);

// Takes the classes of all defined files shared, in the order of the files' names.
void path_lock_all_defined();

void path_lock_release(int path_class);
void path_lock_release_all();

// ---- The critical paths of an application: the data directories whose contents must have the
// right version before it works with them.
//
// A table of up to 5 entries, numbered from 1, each naming a data directory. The check leaves the
// class of each directory locked shared (in multi-user operation), so that no conversion can begin
// under the application.

inline constexpr int kCriticalPaths = 5;

// Result of the check of one entry. The numbers are those of the platform's programs.
enum class CriticalPathState {
  kUnchecked = 0,         // without a name, or not checked yet
  kReady = 1,             // its version is the right one; the class is locked shared
  kNew = 3,               // it has no version
  kInUse = 4,             // by another entry, or by another process
  kConversionNeeded = 5,  // it has another version
  kUnknown = 6,           // it is no path class's directory
};

// Empties the table without giving locks back, as at the start of the process.
void critical_path_start();

// Names the directory of an entry, 1 to 5; an empty name takes the entry out. Nothing happens for
// any other number. An entry that is open is closed before.
void critical_path_set(int number, std::string_view directory);

// Checks the entries with a name, in the order of their numbers, and opens those that are ready.
// When one is anything but ready the check has failed: false, and all are closed again; the states
// stay, for who tells the user.
bool critical_path_check();

CriticalPathState critical_path_state(int number);

// Gives back the locks of all entries that are open; they become unchecked.
void critical_path_close();

#pragma GCC visibility pop

}  // namespace marigold
