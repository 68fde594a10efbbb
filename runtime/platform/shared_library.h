// SPDX-License-Identifier: GPL-3.0-or-later
// A library of the system that is loaded while the program runs, so that programs which do not need
// it neither link it nor start more slowly.
#pragma once

#include <string>

namespace marigold::inner {

// Loads a library by its name and keeps it until the process ends. Returns null, with the reason,
// if the system has no such library.
void* shared_library_load(const char* name, std::string& reason);

// Returns the address of a function of the library, or null.
void* shared_library_function(void* library, const char* name);

}  // namespace marigold::inner
