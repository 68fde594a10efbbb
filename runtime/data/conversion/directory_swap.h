// SPDX-License-Identifier: GPL-3.0-or-later
// Puts a converted data file of a directory in the place of the old one, in steps. Each step can be
// the last: if a run is killed, the next run completes the work or starts again. A program never
// makes a file again that is only missing for a moment.
//
// The files beside BASE:
//   BASE.converting     the new file (with .dat and .idx; a random file without), until it is put
//                       in place
//   BASE.converting.ver the version record of the new file, written once the new file is whole and
//                       durable: from then on the files may be put in place
//   BASE.unconverted    the old file under a second name, and its version record, until the whole
//                       class is done
//   BASE.version-N      the old file and its version record, kept for good
// The .dat file is put in place first. While BASE.converting.dat exists, programs may use the old
// file, and the new one does not count. Once it has been moved, the two files of the pair do not
// belong together, and the engine refuses them until the .idx file has been moved too.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/conversion/file_swap.h"

namespace marigold::inner {

class DirectorySwap : public FileSwap {
 public:
  DirectorySwap(std::string base, FileType type);

  [[nodiscard]] std::string old_base() const { return base_ + ".unconverted"; }

  [[nodiscard]] bool file_is_there() const override;
  [[nodiscard]] bool has_leftovers() const override;
  [[nodiscard]] bool is_half_in_place() const override;
  [[nodiscard]] std::string record_in_force() const override;
  int recover() override;
  int discard() override;

  // Keeps the old file under its second name and replaces it by the new one, which is whole and
  // closed. After a failure the old file is as before and the new one is gone, unless
  // is_half_in_place() reports that the next run will finish the replacement.
  int put_in_place(double old_version, double new_version);
  // Removes the old file, or keeps it for good. Call it when the class is done.
  int finish(bool keep);

 private:
  int replace(const std::string& from, const std::string& to);
  int remove(const std::string& path);
  int link_old(double version);
  int remove_old();
  int announce(double version);
  int bring_in();

  std::vector<std::string> suffixes_;  // of the data files, in the order of replacement
};

}  // namespace marigold::inner
