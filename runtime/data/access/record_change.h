// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of single records as sets of changes make them: the same change twice does no harm.
#pragma once

#include <string>

#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

// Write the record in place of one with the same primary key, or delete it; a missing record counts
// as deleted. `number` is the engine's descriptor. `rewrites`: the record was there already. Return
// 0, or the engine's number.
int record_write(int number, const char* record, bool& rewrites);
int record_delete(int number, const char* record);
inline int record_change(int number, bool deletes, const char* record) {
  bool rewrites = false;
  return deletes ? record_delete(number, record) : record_write(number, record, rewrites);
}

// Returns the path of a file without a suffix, with the directory's full path; an address as it is.
std::string change_base(const DataFile& file);

// Returns the text of a number of the engine or the system; for a failure of a server that has just
// happened, the server's words.
std::string change_error_text(int number);

}  // namespace marigold::inner
