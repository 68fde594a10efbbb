// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "bench/lmdb_environment.h"
#include "bench/store_of_processes.h"

namespace marigold::inner::bench {
namespace {

constexpr std::size_t kMapSize = std::size_t{4} << 30;

class LmdbStore : public StoreOfProcesses {
 public:
  explicit LmdbStore(const std::string& directory) : environment_(directory, kMapSize) {
    MDB_txn* transaction = environment_.begin();
    must(mdb_dbi_open(transaction, nullptr, MDB_CREATE, &records_), "open records");
    must(mdb_txn_commit(transaction), "commit");
    reading_ = environment_.begin(MDB_RDONLY);
    mdb_txn_reset(reading_);
  }
  ~LmdbStore() override { mdb_txn_abort(reading_); }
  LmdbStore(const LmdbStore&) = delete;
  LmdbStore& operator=(const LmdbStore&) = delete;

  void insert_all(const Workload& workload) {
    MDB_txn* transaction = environment_.begin();
    for (const Record& record : workload.records)
      put(transaction, record);
    must(mdb_txn_commit(transaction), "commit");
  }
  void read(const Record& record) override {
    must(mdb_txn_renew(reading_), "renew");
    MDB_val key = key_of_record(record);
    MDB_val value{};
    must(mdb_get(reading_, records_, &key, &value), "get");
    Record copy;
    std::copy_n(static_cast<const char*>(value.mv_data), copy.bytes.size(), copy.bytes.begin());
    mdb_txn_reset(reading_);
    if (hash(copy) == 0) std::abort();  // keeps the compiler from dropping the copy
  }
  void replace(const Record& record) override {
    MDB_txn* transaction = environment_.begin();
    put(transaction, record);
    must(mdb_txn_commit(transaction), "commit");
  }
  void flush() override { must(mdb_env_sync(environment_.get(), 1), "sync"); }

 private:
  void put(MDB_txn* transaction, const Record& record) const {
    MDB_val key = key_of_record(record);
    MDB_val value = value_of(record.bytes);
    must(mdb_put(transaction, records_, &key, &value, 0), "put");
  }

  LmdbEnvironment environment_;
  MDB_dbi records_ = 0;
  MDB_txn* reading_ = nullptr;
};

}  // namespace

void make_lmdb_store(const std::string& directory, const Workload& workload) {
  LmdbStore(directory).insert_all(workload);
}

std::unique_ptr<StoreOfProcesses> open_lmdb_store(const std::string& directory) {
  return std::make_unique<LmdbStore>(directory);
}

}  // namespace marigold::inner::bench
