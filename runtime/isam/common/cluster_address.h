// SPDX-License-Identifier: GPL-3.0-or-later
// Addresses of files in a database cluster, which are base names of keyed files:
//
//   postgresql://[USER@][HOST[:PORT][,...]]/DATABASE/SCHEMA/FILE[?OPTION=VALUE[&...]]
//
// Each part may have characters as %XX. An address of a data directory has no FILE. Options are
// those of libpq, and these of the engine:
//
//   reconnect=SECONDS    how long an operation tries to get a lost connection back; 30
//   durability=each      each change is on the server's disk when the operation returns; else
//                        ISFLUSH and ISCLOSE put all there
//   read_ahead=RECORDS   how many records a walk may read at once while others change the file; 0
#pragma once

#include <string>
#include <string_view>

namespace marigold::inner {

// Whether a base name, or a data directory, is an address.
bool is_cluster_address(std::string_view name);

// Returns the address of a file (UTF-8, any characters) in a data directory.
std::string cluster_join(std::string_view directory, std::string_view file);

// Return the two parts of the address of a file: the data directory's address and the file's name.
std::string cluster_directory(std::string_view address);
std::string cluster_file_name(std::string_view address);

// Returns the address with "***" in place of a password, for a message.
std::string cluster_shown(std::string_view address);

struct ClusterAddress {
  std::string server;  // for libpq: hosts, database and its options
  std::string schema;
  std::string file;
  int reconnect = 30;  // seconds
  bool each = false;   // durability
  int read_ahead = 0;  // records
  std::string place;   // "HOSTS, database DATABASE"
};

// Takes an address of a file apart. Returns "" or the reason why it is none.
std::string cluster_parse(std::string_view address, ClusterAddress& parsed);

}  // namespace marigold::inner
