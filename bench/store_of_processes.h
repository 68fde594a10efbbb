// SPDX-License-Identifier: GPL-3.0-or-later
// What isam_processes.cc measures: a store of the records of isam_workload.h by their primary key,
// opened by each process for itself.
#pragma once

#include <memory>
#include <string>

#include "bench/isam_workload.h"

namespace marigold::bench {

class StoreOfProcesses {
 public:
  virtual ~StoreOfProcesses() = default;
  // Reads the record with this one's primary key, and ends the program when it is not there.
  virtual void read(const Record& record) = 0;
  // Puts it in the place of the one with its primary key; visible to all processes when it returns,
  // but not necessarily on the disk.
  virtual void replace(const Record& record) = 0;
  // Brings everything to the disk.
  virtual void flush() = 0;
};

// In this directory, with the workload's records.
void make_engine_store(const std::string& directory, const Workload& workload);
std::unique_ptr<StoreOfProcesses> open_engine_store(const std::string& directory);

// The same with LMDB, where it is installed.
void make_lmdb_store(const std::string& directory, const Workload& workload);
std::unique_ptr<StoreOfProcesses> open_lmdb_store(const std::string& directory);

}  // namespace marigold::bench
