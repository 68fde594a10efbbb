// SPDX-License-Identifier: GPL-3.0-or-later
// A store that isam_processes.cc measures: the records of isam_workload.h by their primary key,
// opened by each process for itself.
#pragma once

#include <memory>
#include <string>

#include "bench/isam_workload.h"

namespace marigold::inner::bench {

class StoreOfProcesses {
 public:
  virtual ~StoreOfProcesses() = default;
  // Reads the record with this primary key; ends the program if it is missing.
  virtual void read(const Record& record) = 0;
  // Replaces the record with this primary key. The change is visible to all processes when the
  // function returns, but not necessarily durable.
  virtual void replace(const Record& record) = 0;
  // Makes all changes durable.
  virtual void flush() = 0;
};

// Make and open a store in this directory, with the workload's records.
void make_engine_store(const std::string& directory, const Workload& workload);
std::unique_ptr<StoreOfProcesses> open_engine_store(const std::string& directory);

// The same with LMDB, if it is installed.
void make_lmdb_store(const std::string& directory, const Workload& workload);
std::unique_ptr<StoreOfProcesses> open_lmdb_store(const std::string& directory);

}  // namespace marigold::inner::bench
