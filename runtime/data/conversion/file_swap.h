// Puts a converted data file in the place of the old one, in steps of which each can be the last:
// whatever is killed, the next run goes on or starts over, and a program never takes a file that is
// missing for a moment for one that has to be made.
//
// The names beside BASE, all too long for the name of a defined file:
//   BASE.converting     the new file (with .dat and .idx; a random file without), until it is put
//                       in place
//   BASE.converting.ver the version record of the new file. It is written when that is whole and on
//                       the disk: from then on the files may be put in place
//   BASE.unconverted    the old file under a second name, and its version record, until the whole
//                       class is done
//   BASE.version-N      the same, kept for good; N is the version
// The first of the files (.dat) is put in place first. While it is still BASE.converting.dat,
// programs may use the old file, and the new one is worth nothing; once it is gone, the two files
// of the pair do not belong together and are refused by the engine until the second has followed.
//
// Results: 0, or the system's error number, with the path at fault in failed_path(). The caller has
// the file, or its class, for itself.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/definition/definition.h"

namespace marigold {

class FileSwap {
 public:
  FileSwap(std::string base, FileType type);

  [[nodiscard]] const std::string& base() const { return base_; }
  [[nodiscard]] std::string new_base() const { return base_ + ".converting"; }
  [[nodiscard]] std::string old_base() const { return base_ + ".unconverted"; }
  [[nodiscard]] std::string kept_base(double version) const;
  [[nodiscard]] const std::string& failed_path() const { return failed_path_; }

  // Whether any of the data files is there.
  [[nodiscard]] bool file_is_there() const;
  // Whether an earlier run has left something behind: to be recovered or finished.
  [[nodiscard]] bool has_leftovers() const;
  // Whether the next recover would finish putting the new file in place.
  [[nodiscard]] bool is_half_in_place() const;

  // The version record that tells of the file as it will be after the next recover.
  [[nodiscard]] std::string record_in_force() const;

  // Finishes what an earlier run has begun to put in place, or forgets it.
  int recover();
  // Removes the new file, as long as it has not begun to be put in place.
  int discard();
  // With a whole new file, closed: keeps the old one under its second name, and replaces it. On
  // failure everything is as before and the new file gone, unless is_half_in_place() says that the
  // next run will finish it.
  int put_in_place(double old_version, double new_version);
  // When the class is done: removes the old file, or keeps it for good.
  int finish(bool keep);

 private:
  int replace(const std::string& from, const std::string& to);
  int remove(const std::string& path);
  int link_old(double version);
  int remove_old();
  int announce(double version);
  int bring_in();

  std::string base_;
  std::vector<std::string> suffixes_;  // of the data files, the one that goes first in front
  std::string failed_path_;
};

}  // namespace marigold
