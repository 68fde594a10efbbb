// SPDX-License-Identifier: GPL-3.0-or-later
// Functions of POSIX that tests call and that the system's C library has under other names. The
// build includes this header before each test source.
#pragma once

// An empty value removes a variable, and `overwrite` is always true.
int setenv(const char* name, const char* value, int overwrite);
int unsetenv(const char* name);
int clearenv();
