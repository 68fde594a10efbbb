// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/cluster_snapshot.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/platform/process.h"

namespace marigold::inner::isam {
namespace {

// Bytes of records in an answer of the server, about.
constexpr std::size_t kAnswer = std::size_t{1} << 18;

}  // namespace

int Moment::judge(int result) {
  return result >= 0 ? result
                     : connection_.refuse(kIsServer, "the connection was lost during a snapshot");
}

// The order of writing has no index, so the server sorts whole tables.
int Moment::begin() {
  const int failed = connection_.open("marigold " + std::to_string(process_number()));
  return failed != 0 ? judge(failed)
                     : command(
                           "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; "
                           "SET LOCAL enable_seqscan = on; SET LOCAL enable_sort = on");
}

int Moment::run(const Step& step, Rows& rows) {
  return judge(connection_.run({&step, 1}, {&rows, 1}));
}

int Moment::command(const std::string& text) {
  return judge(connection_.command(text));
}

TableSnapshot::TableSnapshot(std::shared_ptr<Moment> moment, const Table& table)
    : moment_(std::move(moment)),
      table_(table.quoted_table()),
      cursor_(moment_->new_cursor()),
      record_length_(table.record_length()),
      fetch_{.text = "FETCH " +
                     std::to_string(std::max<std::size_t>(kAnswer / table.record_length(), 1)) +
                     " FROM " + cursor_} {}

// The first question to the server sets the moment.
int TableSnapshot::begin() {
  Statement count{.text = "SELECT count(*) FROM " + table_, .once = true};
  Rows rows;
  if (const int failed = moment_->run({&count, {}}, rows)) return failed;
  count_ = rows.number(0, 0);
  return moment_->command("DECLARE " + cursor_ + " NO SCROLL CURSOR FOR SELECT record FROM " +
                          table_ + " ORDER BY seq");
}

int TableSnapshot::next(char* record) {
  if (next_ == rows_.count()) {
    next_ = 0;
    if (const int failed = moment_->run({&fetch_, {}}, rows_)) return failed;
    if (rows_.count() == 0) return kIsEndOfFile;
  }
  const std::string_view bytes = rows_.bytes(next_++, 0);
  if (bytes.size() != record_length_) return moment_->connection().refuse_record(table_);
  std::memcpy(record, bytes.data(), bytes.size());
  return 0;
}

}  // namespace marigold::inner::isam
