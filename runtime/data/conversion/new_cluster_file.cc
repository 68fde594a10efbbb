// SPDX-License-Identifier: GPL-3.0-or-later
// New data files of a cluster, filled in blocks: a server takes many records in the time of a few.

#include <utility>

#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_store.h"
#include "runtime/data/conversion/cluster_swap.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/data/conversion/new_data_file.h"
#include "runtime/isam/common/cluster.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 20;

class ClusterFile : public NewDataFile {
 public:
  using NewDataFile::NewDataFile;
  ~ClusterFile() override {
    if (descriptor_ >= 0) ISCLOSE(descriptor_);
  }

  int create(const std::string& base, const std::string& old_base) override;
  int write(const std::vector<char>& record, const std::vector<char>& old) override;
  int write_deleted(const std::vector<char>& old) override;
  int flush() override;
  int close() override {
    if (const int failed = conversion_step("close")) return failed;
    return add_keys_and_close(definition_, std::exchange(descriptor_, -1));
  }

 private:
  struct Waiting {
    std::vector<char> record;
    std::vector<char> old;
  };

  int load();
  int write_one_by_one();

  int descriptor_ = -1;
  std::vector<Waiting> block_;
  std::size_t bytes_ = 0;  // of the block
};

int ClusterFile::create(const std::string& base, const std::string& old_base) {
  if (const int failed = conversion_step("create")) return failed;
  const KeyDescription primary =
      definition_.type == FileType::kIsam ? isam_key(definition_, 1) : random_key();
  descriptor_ = isbuild_like(cluster_table(base, definition_.type).c_str(),
                             cluster_table(old_base, definition_.type).c_str(),
                             definition_.record_length, primary, kIsInputOutput | kIsExclusive);
  return descriptor_ < 0 ? iserrno : 0;
}

int ClusterFile::write(const std::vector<char>& record, const std::vector<char>& old) {
  if (const int failed = conversion_step("write")) return failed;
  block_.push_back({.record = record, .old = old});
  bytes_ += record.size() + old.size();
  return bytes_ < kBlockBytes ? 0 : flush();
}

int ClusterFile::write_deleted(const std::vector<char>& old) {
  if (definition_.type == FileType::kIsam) return 0;
  std::vector<char> record(static_cast<std::size_t>(definition_.record_length), '\0');
  isst_int4(isld_int4(old.data()), record.data());
  record.back() = kDeletedRecord;
  return write(record, old);
}

int ClusterFile::load() {
  auto next = block_.begin();
  const auto take = [&](char* record) {
    if (next == block_.end()) return false;
    std::ranges::copy(next->record, record);
    ++next;
    return true;
  };
  return isload(descriptor_, take, [](std::uint64_t) { return true; }) == 0 ? 0 : iserrno;
}

// Finds the records of a block that have the primary key of another one.
int ClusterFile::write_one_by_one() {
  for (const Waiting& waiting : block_) {
    if (ISWRITE(descriptor_, waiting.record.data()) == 0) continue;
    if (iserrno != kIsDuplicate) return iserrno;
    on_duplicate(waiting.old);
  }
  return 0;
}

int ClusterFile::flush() {
  if (block_.empty()) return 0;
  int failed = conversion_step("load");
  if (failed == 0) failed = load();
  if (failed == kIsDuplicate) failed = write_one_by_one();
  block_.clear();
  bytes_ = 0;
  return failed;
}

}  // namespace

std::unique_ptr<NewDataFile> new_cluster_file(const FileDefinition& definition) {
  return std::make_unique<ClusterFile>(definition);
}

}  // namespace marigold::inner
