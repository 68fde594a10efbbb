// SPDX-License-Identifier: GPL-3.0-or-later
// What must be right before the shop begins: its texts, definitions, lists and files. Each fault is
// a sentence that says what to do.
#pragma once

#include <string>

namespace shop {

// Looks for everything that the shop needs beside it, before the terminal is touched. Returns a
// sentence in English, or "" if all is there.
std::string missing_surroundings();

// Whether the data directory has the version of the definitions, and no conversion is at work. In
// multi-user operation the directory stays locked against conversions until the end. Returns a
// sentence in the language of the operator, or "". After the definitions are loaded.
std::string wrong_version();

// A system error of the runtime ends the process. From now on this text comes before its report:
// its "%s" takes the system's reason.
void explain_faults(const char* id);

}  // namespace shop
