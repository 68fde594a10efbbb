// The versions under which data was written, and how a version is written as text.
//
// Each data file has a record beside it, PATH.ver, with the version of the definition under which
// its records were written; each data directory has one, PATHCONV.ver, with the version to which
// its contents were converted last. Tables in the definitions directory say what they should be
// (version_table.h). A record that cannot be read as a version counts as missing, and so does a
// table as a whole, or from its first error on: a look-up has no way to fail. The conversion run
// (conversion.h) is more careful.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/data/access/data_handle.h"

namespace marigold {

// A number as the version records have it: 3, 12.5, 2.25; at most 5 decimals, none that are 0.
std::string version_text(double version);

// The version of the definition under which a data file was written: the number in the record
// beside it, PATH.ver. Without a readable record the definition's own version, negated.
double version_read_file(const DataFile& file);

// Writes the record, in the place of one that is there. What cannot be written is system error 12.
void version_write_file(const DataFile& file, double version);

// The version that follows an old one of a file: that of the first entry of FILEVER.DES for both,
// with its flag, whose meaning is the application's. Without one the old version itself, and false.
double version_look_up_file(std::string_view file_name, double old_version, bool& flag);

// The version that the first entry of PATHVER.DES gives a path class; -1 without one.
double version_look_up_path(int path_class);

// The version of the class's data directory; 0 without a readable record.
double version_read_path(int path_class);

// Writes that record. What cannot be written is system error 41.
void version_write_path(int path_class, double version);

// ---- The records by their paths

// Of the data file whose path without ".dat" and the like this is.
std::string version_file_record(const std::string& base);
std::string version_path_record(int path_class);

// The version in a record; none when it is missing or no version.
std::optional<double> version_read_record(const std::string& path);

// Writes a record in one step: whoever looks sees the old one or the new one, also after a crash.
// It has the owner and permissions of the file at `like`, or of the old one. 0, or the system's
// error number; then the old one is as it was.
int version_write_record(const std::string& path, double version, const std::string& like = "");

}  // namespace marigold
