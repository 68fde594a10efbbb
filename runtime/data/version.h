// The versions under which data was written, and how a version is written as text.
#pragma once

#include <string>

#include "runtime/data/definition.h"

namespace marigold {

// A number as the version records have it: 3, 12.5, 2.25; at most 5 decimals, none that are 0.
std::string version_text(double version);

// The version of the definition under which a data file was written: the number in the record
// beside it, PATH.ver. Without a readable record the definition's own version, negated.
double version_read_file(const FileDefinition& file);

// Writes the record, in the place of one that is there. What cannot be written is system error 12.
void version_write_file(const FileDefinition& file, double version);

}  // namespace marigold
