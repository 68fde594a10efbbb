// SPDX-License-Identifier: GPL-3.0-or-later
// The destination of copied data files: a data directory, or a schema of a cluster. The new files
// get their records under names which programs do not use, and are put in place all together or not
// at all, with their version records. Without that the destructor removes them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/records/data_target.h"

namespace marigold::inner {

class CopyPlace {
 public:
  CopyPlace() = default;
  CopyPlace(const CopyPlace&) = delete;
  CopyPlace& operator=(const CopyPlace&) = delete;
  virtual ~CopyPlace() = default;

  // Looks whether the files can be put in place, and holds those that will be replaced. Returns false
  // and the problems.
  virtual bool prepare(bool replace, Problems& problems) = 0;

  // Files are made one after the other. 0, or the number of the engine or the system.
  virtual int begin(const DataTarget& file) = 0;
  virtual int write(const char* record) = 0;
  virtual int finish() = 0;

  // Puts all files in place, and writes the version record of their class if there is a version.
  virtual bool put_in_place(const std::optional<double>& class_version, Problems& problems) = 0;
};

// Name of the version record of a class in its data directory.
inline constexpr const char* kClassRecord = "PATHCONV.ver";

// The files lie in the same data directory and outlive the result.
std::unique_ptr<CopyPlace> new_copy_directory(const std::vector<DataTarget>& files);
std::unique_ptr<CopyPlace> new_copy_schema(const std::vector<DataTarget>& files);

// Returns the problem of a place that is taken.
std::string place_taken(const DataTarget& file);

}  // namespace marigold::inner
