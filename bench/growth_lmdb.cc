// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/growth_store.h"
#include "bench/lmdb_environment.h"

namespace marigold::inner::bench {
namespace {

constexpr std::size_t kMapSize = std::size_t{16} << 30;

// Records in the primary database, in the order of the primary key; names and dates in databases of
// their own that lead to the primary key. Each change is a transaction, so that it survives the
// death of the process, as in the engine; all reads of a turn are one transaction.
class LmdbGrowth : public GrowthStore {
 public:
  explicit LmdbGrowth(const std::string& directory) : environment_(directory, kMapSize, 3) {
    transaction_ = environment_.begin();
    constexpr unsigned kDuplicates = MDB_CREATE | MDB_DUPSORT | MDB_DUPFIXED;
    must(mdb_dbi_open(transaction_, "records", MDB_CREATE, &tables_[0]), "open records");
    must(mdb_dbi_open(transaction_, "names", kDuplicates, &tables_[1]), "open names");
    must(mdb_dbi_open(transaction_, "dates", kDuplicates, &tables_[2]), "open dates");
    commit();
  }
  ~LmdbGrowth() override { end_reading(); }
  LmdbGrowth(const LmdbGrowth&) = delete;
  LmdbGrowth& operator=(const LmdbGrowth&) = delete;

  void insert(const Record& record) override {
    transaction_ = environment_.begin();
    put(record, MDB_NOOVERWRITE);
    for (const int key : {1, 2})
      add(key, record);
    commit();
  }
  void read_by(int key) override {
    change();
    transaction_ = environment_.begin(MDB_RDONLY);
    must(mdb_cursor_open(transaction_, tables_[0], &records_), "cursor");
    must(mdb_cursor_open(transaction_, tables_[key], &cursor_), "cursor");
    by_primary_ = key == 0;
  }
  bool get(const Key8& primary, Record& copy) override { return fetch(value_of(primary), copy); }
  bool get_by_name(const Key20& name, Record& copy) override {
    MDB_val key = value_of(name);
    MDB_val primary{};
    const int result = mdb_cursor_get(cursor_, &key, &primary, MDB_SET_KEY);
    if (result == MDB_NOTFOUND) return false;
    must(result, "get by name");
    return fetch(primary, copy);
  }
  void walk(std::vector<std::uint64_t>& digests) override {
    MDB_val key{};
    MDB_val value{};
    Record copy;
    int result = 0;
    for (MDB_cursor_op to = MDB_FIRST; (result = mdb_cursor_get(cursor_, &key, &value, to)) == 0;
         to = MDB_NEXT) {
      if (by_primary_)
        keep(value, copy);
      else if (!fetch(value, copy))
        must(MDB_NOTFOUND, "walk");
      digests.push_back(digest(copy));
    }
    must(result == MDB_NOTFOUND ? 0 : result, "walk");
  }
  void change() override { end_reading(); }
  // The record keeps its place; only the entries of the other databases move.
  void replace(const Record& record) override {
    transaction_ = environment_.begin();
    const Record old = stored(key_of_record(record));
    for (const int key : {1, 2}) {
      if (old.key(key) == record.key(key)) continue;
      remove(key, old);
      add(key, record);
    }
    put(record, 0);
    commit();
  }
  void erase(const Key8& primary) override {
    transaction_ = environment_.begin();
    MDB_val key = value_of(primary);
    const Record old = stored(key);
    for (const int other : {1, 2})
      remove(other, old);
    must(mdb_del(transaction_, tables_[0], &key, nullptr), "delete");
    commit();
  }

 private:
  void end_reading() {
    if (cursor_ == nullptr) return;
    mdb_cursor_close(cursor_);
    mdb_cursor_close(records_);
    cursor_ = nullptr;
    mdb_txn_abort(transaction_);
  }

  void commit() const { must(mdb_txn_commit(transaction_), "commit"); }
  static void keep(const MDB_val& value, Record& copy) {
    std::memcpy(copy.bytes.data(), value.mv_data, copy.bytes.size());
    // Forces the copy, as for a caller who keeps it.
    asm volatile("" : : "r"(copy.bytes.data()) : "memory");
  }
  bool fetch(MDB_val key, Record& copy) const {
    MDB_val value{};
    const int result = mdb_cursor_get(records_, &key, &value, MDB_SET);
    if (result == MDB_NOTFOUND) return false;
    must(result, "get");
    keep(value, copy);
    return true;
  }
  [[nodiscard]] Record stored(MDB_val key) const {
    MDB_val value{};
    must(mdb_get(transaction_, tables_[0], &key, &value), "get");
    Record copy;
    keep(value, copy);
    return copy;
  }
  void put(const Record& record, unsigned flags) const {
    MDB_val key = key_of_record(record);
    MDB_val value = value_of(record.bytes);
    must(mdb_put(transaction_, tables_[0], &key, &value, flags), "put");
  }
  void add(int number, const Record& record) const {
    const std::string bytes = record.key(number);
    MDB_val key = value_of(bytes);
    MDB_val primary = key_of_record(record);
    must(mdb_put(transaction_, tables_[number], &key, &primary, 0), "add an entry");
  }
  void remove(int number, const Record& record) const {
    const std::string bytes = record.key(number);
    MDB_val key = value_of(bytes);
    MDB_val primary = key_of_record(record);
    must(mdb_del(transaction_, tables_[number], &key, &primary), "remove an entry");
  }

  LmdbEnvironment environment_;
  MDB_txn* transaction_ = nullptr;
  std::array<MDB_dbi, 3> tables_{};
  MDB_cursor* records_ = nullptr;
  MDB_cursor* cursor_ = nullptr;
  bool by_primary_ = false;
};

}  // namespace

std::unique_ptr<GrowthStore> make_lmdb_growth(const std::string& directory) {
  return std::make_unique<LmdbGrowth>(directory);
}

}  // namespace marigold::inner::bench
