#include <lmdb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bench/store_of_processes.h"

namespace marigold::bench {
namespace {

constexpr std::size_t kMapSize = std::size_t{4} << 30;
constexpr std::size_t kKeyLength = 8;

void must(int result, const char* what) {
  if (result == 0) return;
  std::fprintf(stderr, "lmdb: %s: %s\n", what, mdb_strerror(result));
  std::exit(1);
}

MDB_val key_of_record(const Record& record) {
  return {kKeyLength, const_cast<char*>(record.bytes.data())};
}

MDB_val all_of(const Record& record) {
  return {record.bytes.size(), const_cast<char*>(record.bytes.data())};
}

// Commits do not wait for the disk, as the engine's changes do not.
class LmdbStore : public StoreOfProcesses {
 public:
  explicit LmdbStore(const std::string& directory) {
    must(mdb_env_create(&environment_), "create");
    must(mdb_env_set_mapsize(environment_, kMapSize), "size");
    must(mdb_env_open(environment_, directory.c_str(), MDB_NOSYNC | MDB_WRITEMAP, 0644), "open");
    MDB_txn* transaction = nullptr;
    must(mdb_txn_begin(environment_, nullptr, 0, &transaction), "begin");
    must(mdb_dbi_open(transaction, nullptr, MDB_CREATE, &records_), "open records");
    must(mdb_txn_commit(transaction), "commit");
    must(mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &reading_), "begin to read");
    mdb_txn_reset(reading_);
  }
  ~LmdbStore() override {
    mdb_txn_abort(reading_);
    mdb_env_close(environment_);
  }
  LmdbStore(const LmdbStore&) = delete;
  LmdbStore& operator=(const LmdbStore&) = delete;

  void insert_all(const Workload& workload) {
    MDB_txn* transaction = nullptr;
    must(mdb_txn_begin(environment_, nullptr, 0, &transaction), "begin");
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
    if (hash(copy) == 0) std::abort();  // the copy is not to be left out
  }
  void replace(const Record& record) override {
    MDB_txn* transaction = nullptr;
    must(mdb_txn_begin(environment_, nullptr, 0, &transaction), "begin");
    put(transaction, record);
    must(mdb_txn_commit(transaction), "commit");
  }
  void flush() override { must(mdb_env_sync(environment_, 1), "sync"); }

 private:
  void put(MDB_txn* transaction, const Record& record) const {
    MDB_val key = key_of_record(record);
    MDB_val value = all_of(record);
    must(mdb_put(transaction, records_, &key, &value, 0), "put");
  }

  MDB_env* environment_ = nullptr;
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

}  // namespace marigold::bench
