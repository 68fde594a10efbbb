// SPDX-License-Identifier: GPL-3.0-or-later
// The versions of stored data, and the text form of a version.
//
// Each data file has a record beside it, PATH.ver, with the version of the definition under which
// its records were written. Each data directory has a record PATHCONV.ver with the version of its
// last conversion. In a cluster the records are texts with these names. Tables in the definitions
// directory give the wanted versions (version_table.h). A record that holds no version counts as
// missing. A table that cannot be read counts as missing, and a damaged table from its first error
// on, because a look-up has no way to fail. The conversion run (conversion.h) is more careful.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

// Returns a version in the form of the version records: 3, 12.5, 2.25; at most 5 decimals, without
// zeros at the end.
std::string version_text(double version);

// Returns the version under which a data file was written: the number in the record beside the
// file, PATH.ver. Without a readable record it returns the definition's own version, negated.
double version_read_file(const DataFile& file);

// Writes the record and replaces an old one. A failure is system error 12.
void version_write_file(const DataFile& file, double version);

// Returns the version that follows an old version of a file, from the first entry of FILEVER.DES
// for the two, and gives the entry's flag. The application defines the meaning of the flag.
// Without an entry it returns the old version itself, and the flag is false.
double version_look_up_file(std::string_view file_name, double old_version, bool& flag);

// Returns the version that the first entry of PATHVER.DES gives a path class; -1 without an entry.
double version_look_up_path(int path_class);

// Returns the version of the class's data directory; 0 without a readable record.
double version_read_path(int path_class);

// Writes the version of the class's data directory. A failure is system error 41.
void version_write_path(int path_class, double version);

// ---- The records by their paths

// Returns the path of the record of the data file at `base`, a path without a suffix such as
// ".dat".
std::string version_file_record(const std::string& base);
std::string version_path_record(int path_class);

// Returns the version in a record; none if the record is missing or holds no version. A server
// that cannot be asked ends the process.
std::optional<double> version_read_record(const std::string& path);

// Returns the contents of a record.
std::string version_record_text(double version);

// Writes a record in one step: any reader finds the old or the new record, also after a crash. The
// record gets the owner and permissions of the file at `like`, or of the old record. Returns 0, or
// the number of the system or the engine; the old record then stays as it was.
int version_write_record(const std::string& path, double version, const std::string& like = "");

}  // namespace marigold::inner
