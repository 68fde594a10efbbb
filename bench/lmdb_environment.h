// SPDX-License-Identifier: GPL-3.0-or-later
// An LMDB environment whose commits do not wait for the disk, like the engine's changes.
#pragma once

#include <lmdb.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/isam_workload.h"

namespace marigold::inner::bench {

inline void must(int result, const char* what) {
  if (result == 0) return;
  std::fprintf(stderr, "lmdb: %s: %s\n", what, mdb_strerror(result));
  std::exit(1);
}

template <typename Bytes>
MDB_val value_of(const Bytes& bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

inline MDB_val key_of_record(const Record& record) {
  return {sizeof(Key8), const_cast<char*>(record.bytes.data())};
}

class LmdbEnvironment {
 public:
  // The map may be larger than memory and disk, so it never has to grow.
  LmdbEnvironment(const std::string& directory, std::size_t map_size, unsigned databases = 1) {
    must(mdb_env_create(&environment_), "create");
    must(mdb_env_set_mapsize(environment_, map_size), "size");
    must(mdb_env_set_maxdbs(environment_, databases), "databases");
    must(mdb_env_open(environment_, directory.c_str(), MDB_NOSYNC | MDB_WRITEMAP, 0644), "open");
  }
  ~LmdbEnvironment() { mdb_env_close(environment_); }
  LmdbEnvironment(const LmdbEnvironment&) = delete;
  LmdbEnvironment& operator=(const LmdbEnvironment&) = delete;

  [[nodiscard]] MDB_env* get() const { return environment_; }
  [[nodiscard]] MDB_txn* begin(unsigned flags = 0) const {
    MDB_txn* transaction = nullptr;
    must(mdb_txn_begin(environment_, nullptr, flags, &transaction), "begin");
    return transaction;
  }

 private:
  MDB_env* environment_ = nullptr;
};

}  // namespace marigold::inner::bench
