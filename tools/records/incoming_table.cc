// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/incoming_table.h"

#include <cerrno>
#include <cstring>

#include "runtime/data/access/data_path.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/cluster_swap.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kBlock = std::size_t{4} << 20;  // bytes of records

int remove_file(const std::string& base) {
  const IsExchange remove{.kind = IsExchange::Kind::kRemove, .from = base};
  return isexchange({&remove, 1}) == 0 ? 0 : iserrno;
}

}  // namespace

IncomingTable::IncomingTable(const DataTarget& target)
    : target_(target),
      base_(cluster_table(data_path_with(target.base, kIncoming), target.definition->type)),
      length_(static_cast<std::size_t>(target.definition->record_length)) {}

IncomingTable::~IncomingTable() {
  if (!made_) return;
  file_.close();
  static_cast<void>(remove_file(base_));
}

int IncomingTable::begin() {
  {
    OpenKeyedFile left;
    const int failed = left.open(base_, kIsInputOutput | kIsExclusive);
    if (failed != 0 && failed != ENOENT) return failed;
  }
  if (const int failed = remove_file(base_)) return failed;
  const int failed = file_.build_like(*target_.definition, base_, target_.table());
  made_ = file_.is_open();
  if (failed != 0) return failed == EEXIST ? kIsFileLocked : failed;
  return isindexes(file_.number(), false) == 0 ? 0 : iserrno;
}

int IncomingTable::write(const char* record) {
  block_.insert(block_.end(), record, record + length_);
  return block_.size() < kBlock ? 0 : flush();
}

int IncomingTable::flush() {
  std::size_t next = 0;
  const auto take = [&](char* record) {
    if (next == block_.size()) return false;
    std::memcpy(record, block_.data() + next, length_);
    next += length_;
    return true;
  };
  const int failed =
      block_.empty() || isload(file_.number(), take, [](std::uint64_t) { return true; }) == 0
          ? 0
          : iserrno;
  block_.clear();
  return failed;
}

int IncomingTable::close() {
  // After a failure the destructor closes the file; the reason is that of the failure.
  if (const int failed = flush()) return failed;
  return isindexes(file_.number(), true) == 0 ? file_.close() : iserrno;
}

void IncomingTable::append_steps(bool replace, std::vector<IsExchange>& steps) const {
  using enum IsExchange::Kind;
  steps.push_back({.kind = replace ? kRename : kRenameNew, .from = base_, .to = target_.table()});
  steps.push_back({.kind = kWriteText,
                   .from = version_file_record(target_.base),
                   .text = version_record_text(static_cast<double>(target_.definition->version))});
}

}  // namespace marigold::inner
