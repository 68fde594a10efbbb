// SPDX-License-Identifier: GPL-3.0-or-later
// Data files: finds and walks records by their definitions and keys. Many processes share a file.
//
//   texte_start(nullptr);                                    texts.h
//   definition_set_load("SHOP");
//   DataFile& customers = data_file("CUSTOMER");
//   data_open(customers, LockWait::kTellAndWait);
//   data_put_long(customers, "NUMBER", 10060);
//   if (data_read(customers, 1, true, LockWait::kWait) == kDataDone) ...
//   data_close_all();
//
// A program opens a file by its definition, and reads and writes it through its record buffer. In
// keyed files a key finds the record; keys have numbers from 1, and key 1 is the primary key. In
// random files the record's number, the field SNR, finds it, and the key number has no effect. A
// failure that nobody can resolve ends the process with a system error (texts.h): the numbers of
// the engine (isam.h) as they are, those of the operating system with 1000 added.
//
// Operations that can meet a lock take a LockWait, which decides how they go on; they return
// kDataLocked when they give up. Every read that returns kDataNotFound clears the record, so no
// caller sees a stale record.
//
// Process-wide, one thread; nothing throws.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace marigold {

#pragma GCC visibility push(default)

// ---- Definitions and handles

// Handle of a data file. It belongs to the runtime and stays valid for the life of the process.
struct DataFile;

// Scans a set and appends its files to the list of definitions. Any error is the system error of
// its number: the function does not return, and the list then has no file of the set. Error 60 also
// stands for a set that cannot be read, error 7 also for a file that an earlier set has defined.
void definition_set_load(std::string_view set_name);

// Returns the handle of a file of the definition sets: the name up to its first blank or its eighth
// character counts. A name that no set has defined is system error 1, and the function does not
// return.
DataFile& data_file(std::string_view name);

// Sets the path of a closed file, without ".dat" and the like, or its address in a cluster. "" sets
// the default: the file's name in the data directory of its path class.
void data_set_path(DataFile& file, std::string_view path);

bool data_is_open(const DataFile& file);

// ---- Results

inline constexpr int kDataDone = 0;
inline constexpr int kDataAlreadyOpen = 1;
inline constexpr int kDataNotFound = 3;  // also: end of the file
inline constexpr int kDataLocked = 4;    // by another process

// The caller's choice when an operation meets a lock of another process. Other programs of the
// platform use the same numbers.
enum class LockWait {
  kTell = 0,         // show the user a message and give up
  kAsk = 1,          // the user decides; without a screen: report, wait a second, give up
  kTellAndWait = 2,  // report to the user and try again once a second until the lock is free
  kWait = 3,         // try again once a second, without a message
};

// ---- Operations

// Returns kDataDone if the records of the file have the version of its definition, or if the file is
// missing; otherwise the system error with which data_open would end the process: 40 for newer
// records, 105 for older ones.
int data_check_version(const DataFile& file);

// Opens a file. Makes a missing one, with its version record, unless its definition is read-only.
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

// Reads by the key value in the record. Returns 0, 3 or 4. With `lock` the record is locked for this
// process until data_release; by key 1, or a number, a missing record (3) is locked as well, for a
// program that is about to write it. data_exists avoids that.
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
// waiting (except to let a dead program's set of changes be finished).
int data_write(DataFile& file);

// Deletes the record with this primary key or number, if there is one. Returns 0, or 4 without
// waiting.
int data_delete(DataFile& file);

// Gives back all record locks of the file.
void data_release(DataFile& file);

// ---- Sets of changes: records of several keyed files that are changed together or not at all, also
// if the program is killed or the power fails. An order and its lines belong together so:
//
//   changes_begin();
//   data_put_long(orders, ...), changes_write(orders);
//   data_put_long(lines, ...), changes_write(lines);  for each line
//   if (changes_commit(LockWait::kAsk) != kDataDone) changes_drop();
//
// A process has one set at a time. Reads without a lock may find a part of a set while its program
// carries it out; a read with a lock finds no record of a set before the set is done. After a death
// the next program that locks or changes a record of these files, or opens one of them, finishes
// the set first. The files lie in any number of data directories, on local disks; or all of them in
// one database of a cluster.

// Begins an empty set, and drops one that was begun before.
void changes_begin();

// Add the record in the buffer of an open file to the set, to be written as by data_write or deleted
// as by data_delete. No file is changed yet, and the buffer is free for the next record. The commit
// carries out the changes in this order. System errors: 16 a random file; 101 no set has begun, or
// the file is not open, or open for reading alone.
void changes_write(DataFile& file);
void changes_delete(DataFile& file);

// Carries out all changes of the set and makes them durable. Returns 0; the set is empty then, and
// the record locks that the program took itself stay. Returns 4 when another process has locked a
// record of the set, after asking as `wait` says. Returns any other number, after a warning with
// the reason, when the system refuses, for example 1028 for a full disk. After a result other than
// 0 nothing is changed, and the set stays for a further try, or for changes_drop. A disk that fails
// once the set is recorded ends the process with a system error; the set is then finished as after
// a death. So does a server that is lost meanwhile; the set is then done, or nothing is changed.
// 102: files of directories and of a database, or of two databases. System errors: 101 no set has
// begun, or one of its files has been closed.
int changes_commit(LockWait wait);

// Drops the set. Does nothing without a set.
void changes_drop();

// Carries out a set without keeping a lock while the user is asked about somebody else's. Begins a
// set and calls `prepare`, which reads records with a lock by data_read and LockWait::kAsk, and adds
// its changes. If `prepare` returns 0 the set is committed, else it is dropped.
//
// When another process has locked a record, data_read and the commit wait for up to a second and
// then give up: `prepare` returns kDataLocked when a read does. The set is dropped then, all
// record locks are given back, and the user is asked; "try again" leads to a further call of
// `prepare`, which therefore finds everything out by itself. Programs that lock records in the same
// order in all their sets never wait for each other.
//
// Returns 0; kDataLocked when the user does not want to try again; what `prepare` has returned
// instead of 0; or the result of changes_commit. After a result other than 0 nothing is changed. The
// process has no record locks afterwards, also none that it had before.
int changes_run(const std::function<int()>& prepare);

// ---- Fields, in the record buffer of an open file.
//
// Elements have the numbers from 1 to the field's repeat count. Texts are ISO 8859-1; zero bytes
// fill the field after a shorter text, and reading ends at the first zero byte. So a field of zeros
// reads as "", and blanks at a text's end come back.
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

// ---- The locks of the path classes: they show the processes that work in a data directory. Locks
// exist only in multi-user operation (IS_MULTIUSER); otherwise taking a lock does not touch the
// disk. A process holds a class once, however often it takes the class. A class outside 0 to 30 is
// system error 64.

// Returns the data directory of a class, without a slash at its end: the setting DATA_DIRECTORY with
// the class's number for each "%p". An address, postgresql://HOSTS/DATABASE/SCHEMA, puts the class
// into a schema of a PostgreSQL cluster; programs work with both alike.
std::string data_directory(int path_class);

// Takes the class for this process alone and gives a shared lock back first. Returns 0. Returns 4
// when other processes have the class and the user decides not to wait (LockWait::kAsk); the
// process then holds no lock of the class.
int path_lock_exclusive(int path_class);

// Takes the class shared and gives an exclusive lock back first. Waits until the lock is free and
// reports that to the user (LockWait::kTellAndWait). Returns 0.
int path_lock_shared(int path_class);

// Takes the class shared if the lock is free, without a message: 0, else 4.
int path_lock_try_shared(int path_class);

// Takes the classes of all defined files shared, in the order of the files' names.
void path_lock_all_defined();

void path_lock_release(int path_class);
void path_lock_release_all();

// ---- The critical paths of an application: the data directories whose contents must have the
// right version before the application works with them. Addresses are compared as they are written.
//
// Table of up to 5 entries with numbers from 1; each entry names a data directory. The check keeps
// the class of each directory locked shared (in multi-user operation), so that no conversion can
// begin while the application works.

inline constexpr int kCriticalPaths = 5;

// Result of the check for an entry. Other programs of the platform use the same numbers.
enum class CriticalPathState {
  kUnchecked = 0,         // without a name, or not checked yet
  kReady = 1,             // it has the right version; the class is locked shared
  kNew = 3,               // it has no version
  kInUse = 4,             // by another entry, or by another process
  kConversionNeeded = 5,  // it has another version
  kUnknown = 6,           // no path class has this directory
};

// Empties the table and gives no locks back, as at the start of the process.
void critical_path_start();

// Sets the directory of an entry, 1 to 5, after closing an open entry; an empty name removes the
// entry. Does nothing for any other number.
void critical_path_set(int number, std::string_view directory);

// Checks the entries with a name, in the order of their numbers, and opens those that are ready.
// Returns false if any of them is not ready, and closes all then; the states stay, so that the
// caller can report them.
bool critical_path_check();

// Checks as critical_path_check does, and takes each class shared from the beginning: for programs
// that several operators start. critical_path_check takes each class for itself for a moment, and so
// asks the user about all others that work there. While a conversion is at work this one waits,
// and shows that to the user.
bool critical_path_check_shared();

CriticalPathState critical_path_state(int number);

// Gives back the locks of all open entries. All entries become unchecked.
void critical_path_close();

#pragma GCC visibility pop

}  // namespace marigold
