// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of a table and its records, and its locks on the server.
//
// Results: 0, or the number for iserrno; see the operations of isam.h.
#pragma once

#include <string>
#include <vector>

#include "runtime/isam/cluster/table.h"

namespace marigold::inner::isam {

// Insert a record, or replace the one with its primary key, by the table's statement.
int table_change(Table& table, Statement& statement, const char* record, bool inserts);
int table_remove(Table& table, const char* record);
// A table that is open exclusively.
int table_add_key(Table& table, const KeyDescription& key);
int table_set_indexes(Table& table, bool wanted);

// Locks a primary key, whether it has a record or not, and gives the sequence of its record, 0 for
// none.
int table_lock(Table& table, const std::string& key, std::int64_t lock, std::int64_t& sequence);
// Gives the locks of all records back.
int table_release(Table& table);
// The same, and then the lock of the file.
int table_close(Table& table);

// Record length and keys alone.
IsamInfo table_shape(Table& table);
int table_info(Table& table, IsamInfo& info);
int table_check(Table& table, std::vector<std::string>& findings, const IsWatch& watch);

}  // namespace marigold::inner::isam
