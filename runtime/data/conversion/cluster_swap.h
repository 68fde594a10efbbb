// SPDX-License-Identifier: GPL-3.0-or-later
// Puts the converted data files of a schema in the place of the old ones: all of a class in one
// step of the server, with their version records and that of the class, or none. A run that is
// killed before that leaves new files without any use, and the next run removes them.
//
// In the names of random files ".random" follows the names of file_swap.h.
#pragma once

#include <span>
#include <string>

#include "runtime/data/conversion/file_swap.h"

namespace marigold::inner {

// A server that cannot be asked what is there ends the process.
class ClusterSwap : public FileSwap {
 public:
  ClusterSwap(std::string base, FileType type) : FileSwap(std::move(base)), type_(type) {}

  [[nodiscard]] bool file_is_there() const override { return has(base_); }
  [[nodiscard]] bool has_leftovers() const override { return has(new_base()); }
  [[nodiscard]] bool is_half_in_place() const override { return false; }
  [[nodiscard]] std::string record_in_force() const override;
  int recover() override { return discard(); }
  int discard() override;

 private:
  [[nodiscard]] bool has(const std::string& base) const;

  FileType type_;
};

// Returns the address of the keyed file that holds a data file.
std::string cluster_table(const std::string& base, FileType type);

struct ClusterReplacement {
  const FileSwap* swap;
  FileType type;
  double from;  // versions
  double to;
};

// Puts the new files, which are whole and closed, in place, and writes the version of the class
// unless `class_record` is "". Keeps the old files if `keep`, else removes them; this process has
// them open exclusively, or nobody. 0, or the engine's number: everything is as before then,
// unless the server was lost on the way.
int cluster_replace(std::span<const ClusterReplacement> files, bool keep,
                    const std::string& class_record, double class_version);

}  // namespace marigold::inner
