// SPDX-License-Identifier: GPL-3.0-or-later
// Functions of POSIX that GNU dbm calls and that Windows has under other names, or not at all. The
// compiler reads this file before each source of the library.
#pragma once

// These declare the functions before the macros below stand for them.
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <sys/types.h>

typedef int blksize_t;

// Opens a file as open() does, with two differences. Its bytes are not translated. Another process
// can replace, rename and delete the file meanwhile: readers of texts keep databases open, and an
// author installs new ones at any time.
int gdbm_open_shared(const char* name, int flags, ...);
#define open gdbm_open_shared

#define fsync _commit

// Locks a whole file for readers or for one writer; it never waits here.
#define LOCK_SH 1
#define LOCK_EX 2
#define LOCK_NB 4
#define LOCK_UN 8
int gdbm_flock(int descriptor, int operation);
#define flock gdbm_flock

// GNU dbm asks for the page size only, for the size of a buffer of zeros.
#define _SC_PAGESIZE 0
#define sysconf(name) 4096

// A database that gdbm_reorganize() has written gets its rights from its folder.
#define fchown(descriptor, user, group) 0
#define fchmod(descriptor, mode) 0
