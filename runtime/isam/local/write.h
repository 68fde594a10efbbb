// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of a file: adding, deleting and replacing records, and adding keys. Each change happens
// whole or not at all. The caller is the file's writer (as_writer in change.h).
//
// Results: 0, or the number for iserrno; see the operations of isam.h.
#pragma once

#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

int write_record(File& file, const char* record);
int delete_record(File& file, const char* record);
int replace_record(File& file, const char* record);

int add_key(File& file, const KeyDescription& key);

}  // namespace marigold::inner::isam
