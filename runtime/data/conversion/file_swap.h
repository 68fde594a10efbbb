// SPDX-License-Identifier: GPL-3.0-or-later
// The names that a conversion uses beside a data file, and the work of an interrupted run.
//
// The names beside BASE are all too long for the name of a defined file:
//   BASE.converting     the new file, until it is put in place
//   BASE.version-N      the old file and its version record, kept for good; N is the version
// directory_swap.h and cluster_swap.h put new files in place, and have the names of the files.
//
// Results: 0, or the number of the system or the engine, with the path at fault in failed_path().
// The caller of anything that changes files holds the file, or its class, exclusively.
#pragma once

#include <memory>
#include <string>

#include "runtime/data/definition/definition.h"

namespace marigold::inner {

class FileSwap {
 public:
  static std::unique_ptr<FileSwap> of(const std::string& base, FileType type);
  FileSwap(const FileSwap&) = delete;
  FileSwap& operator=(const FileSwap&) = delete;
  virtual ~FileSwap() = default;

  [[nodiscard]] const std::string& base() const { return base_; }
  [[nodiscard]] std::string new_base() const;
  [[nodiscard]] std::string kept_base(double version) const;
  [[nodiscard]] const std::string& failed_path() const { return failed_path_; }

  // Whether any of the data files exists.
  [[nodiscard]] virtual bool file_is_there() const = 0;
  // Whether an earlier run has left files to recover or finish.
  [[nodiscard]] virtual bool has_leftovers() const = 0;
  // Whether the next recover would finish putting the new file in place.
  [[nodiscard]] virtual bool is_half_in_place() const = 0;

  // Returns the path of the version record that describes the file after the next recover.
  [[nodiscard]] virtual std::string record_in_force() const = 0;

  // Finishes putting a file in place that an earlier run has begun, or discards the new file.
  virtual int recover() = 0;
  // Removes the new file. Call it only before any of its files is put in place.
  virtual int discard() = 0;

 protected:
  explicit FileSwap(std::string base) : base_(std::move(base)) {}

  std::string base_;
  std::string failed_path_;
};

}  // namespace marigold::inner
