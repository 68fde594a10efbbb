// SPDX-License-Identifier: GPL-3.0-or-later
// Answers of GNU dbm's configure script for mingw-w64. Nothing is mapped: others could not replace a
// mapped file.
#pragma once

#define GDBM_THREAD_LOCAL __thread
#define HAVE_FLOCK 1
#define HAVE_FSYNC 1
#define HAVE_FTRUNCATE 1
#define HAVE_LOCALE_H 1
#define HAVE_STRING_H 1
#define HAVE_SYS_FILE_H 1
#define PACKAGE "gdbm"
#define PACKAGE_BUGREPORT "bug-gdbm@gnu.org"
// 8 as on Linux, or the two systems could not read each other's databases.
#define SIZEOF_OFF_T 8
