// SPDX-License-Identifier: GPL-3.0-or-later
// An open file of a cluster: its position, and the operations on its records.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/isam/cluster/cluster_snapshot.h"
#include "runtime/isam/cluster/row_stream.h"
#include "runtime/isam/cluster/table.h"
#include "runtime/isam/common/engine.h"

namespace marigold::inner::isam {

// A place in the order of a key: at the record with these values, or beside it. The server knows
// nothing of it, so others can add and delete records.
struct KeyPlace {
  std::string key;
  std::int64_t sequence = 0;  // counts only where duplicates are allowed
};

struct KeyPosition {
  KeyPlace place;
  // Whether the next record may be one at the place, and whether the previous one may.
  bool next_from_place = true;
  bool previous_to_place = false;
  bool at_record = false;
};

class ClusterFile final : public OpenIsam {
 public:
  // The table counts the file as its user until close.
  ClusterFile(std::shared_ptr<Table> table, const OpenMode& mode, int read_ahead);
  ClusterFile(const ClusterFile&) = delete;
  ClusterFile& operator=(const ClusterFile&) = delete;
  ~ClusterFile() override = default;

  [[nodiscard]] Table& table() { return *table_; }

  [[nodiscard]] bool is_ours() const override { return table_->schema().session().is_ours(); }
  int close() override;
  int retire() override;

  int start(const KeyDescription& description, int length, const char* record, int mode) override;
  int read(char* record, int mode, bool lock) override;
  int select(const KeyDescription& description) override;
  int keep_position(IsPosition& position) override;
  int return_to(const IsPosition& kept) override;

  int write(const char* record) override;
  int remove(const char* record) override;
  int replace(const char* record) override;
  int add_key(const KeyDescription& key) override;
  int flush() override;

  int release() override;
  int lock(const char* record, bool& taken) override;
  int unlock(const char* record) override;
  // A set of changes is one transaction of the server, so nothing has to be guarded or marked.
  int set_guard(IsGuard /*guard*/) override { return 0; }
  int mark(bool /*marked*/) override { return 0; }
  int reserve(std::uint64_t /*records*/) override { return 0; }

  int count(std::int64_t& records) override;
  int changes(std::uint64_t& number) override;
  int ahead(int records) override;
  int info(IsamInfo& info) override;
  int shape(IsamInfo& shape) override;
  int fill(double& fill) override;
  int check(std::vector<std::string>& findings, const IsWatch& watch) override;
  int glance(std::vector<std::string>& findings) override;

  void begin(std::unique_ptr<TableSnapshot> snapshot) { snapshot_ = std::move(snapshot); }
  [[nodiscard]] bool has_snapshot() const override { return snapshot_ != nullptr; }
  int snapshot_read(char* record) override { return snapshot_->next(record); }
  [[nodiscard]] std::int64_t snapshot_count() const override { return snapshot_->count(); }
  int snapshot_write(const std::string& base, const std::string& like,
                     const IsWatch& watch) override;
  void snapshot_end() override { snapshot_ = nullptr; }

 private:
  // What a read looks for.
  struct Search {
    int mode = kIsFirst;
    std::size_t key = 0;
    KeyPlace place;          // of modes by value; its key is filled up where only a part counts
    std::size_t length = 0;  // how many bytes of the value count
  };
  struct Look;

  [[nodiscard]] TableKey& key_at(std::size_t key) { return table_->keys()[key]; }
  [[nodiscard]] std::size_t find_key(const KeyDescription& description);
  Search search_for(std::size_t number, const char* record, int mode, int length);

  int find(const Search& search, bool lock, char* record, KeyPosition& position);
  int run_locking(const Search& search, Look& look, Rows& rows);
  void note_lock(std::int64_t lock, const Rows& rows);
  void forget_automatic_lock();
  int give_back(std::int64_t lock);
  int refuse_lock(std::int64_t lock);
  int check_length(std::string_view record);
  int stand_at(const Search& search, std::string_view record, std::int64_t sequence,
               KeyPosition& position, char* to);
  void stand_after_miss(const Search& search, KeyPosition& position);

  [[nodiscard]] std::size_t ahead_of(const Search& search, bool lock);
  [[nodiscard]] bool goes_on(const Search& search) const;
  bool take_ahead(const Search& search, std::int64_t& sequence, std::string_view& record);
  bool begin_stream(const Search& search);
  void forget_ahead();
  [[nodiscard]] bool is_steady() const { return mode().exclusive || mode().read_only; }

  int change(Statement& statement, const char* record, bool inserts);

  std::shared_ptr<Table> table_;
  std::size_t key_ = 0;
  KeyPosition position_;
  std::int64_t automatic_lock_ = 0;  // 0 for none
  int read_ahead_;                   // records, at most, as the file was opened
  int walk_ahead_ = 0;               // the same, as a program that walks has asked for

  using Clock = std::chrono::steady_clock;
  // The answer to the last step of a walk, with the records that it has read ahead.
  struct Ahead {
    Rows rows;
    int next = 0;              // row to be delivered next
    int mode = kIsFirst;       // kIsNext or kIsPrevious while the program walks
    std::size_t size = 0;      // as in kAhead
    std::int64_t changes = 0;  // of the table
    Clock::time_point asked;   // while others can change the file
  };
  Ahead ahead_;
  RowStream stream_;                         // what comes after `ahead_`
  std::unique_ptr<TableSnapshot> snapshot_;  // null: none has begun
};

}  // namespace marigold::inner::isam
