// SPDX-License-Identifier: GPL-3.0-or-later
// The directory of a schema: its files with their names, and the texts beside them.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <string>
#include <vector>

#include "runtime/isam/cluster/table.h"
#include "runtime/isam/common/cluster.h"

namespace marigold::inner::isam {

// Makes the table and the directory entry of the new file for which `file` stands, and locks it as
// its `exclusive` says before others can see it. 17: there is such a file. `like`: name of the file
// whose rights the new one gets, "" for none.
int make_table(Table& file, const std::string& like, int record_length,
               const KeyDescription& primary);

// Gives the lock of a file back that was taken as the table's `exclusive` says.
int unlock_file(Table& table, std::int64_t id);

// The steps of isexchange, with names in place of addresses.
struct NamedExchange {
  IsExchange::Kind kind;
  std::string from;
  std::string to;
  std::string text;
};
int exchange_names(Schema& schema, const std::vector<NamedExchange>& steps);

int file_holders(Schema& schema, const std::string& name, std::vector<IsHolder>& holders);

}  // namespace marigold::inner::isam
