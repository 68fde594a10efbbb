// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/new_data_file.h"

#include <utility>

#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_store.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/record_file.h"

namespace marigold::inner {
namespace {

class KeyedFile : public NewDataFile {
 public:
  using NewDataFile::NewDataFile;
  ~KeyedFile() override {
    if (descriptor_ >= 0) ISCLOSE(descriptor_);
  }

  int create(const std::string& base, const std::string& old_base) override {
    if (const int failed = conversion_step("create")) return failed;
    descriptor_ = isbuild_like(base.c_str(), old_base.c_str(), definition_.record_length,
                               isam_key(definition_, 1), kIsInputOutput | kIsExclusive);
    return descriptor_ < 0 ? iserrno : 0;
  }

  int write(const std::vector<char>& record, const std::vector<char>& old) override {
    if (const int failed = conversion_step("write")) return failed;
    if (ISWRITE(descriptor_, record.data()) == 0) return 0;
    if (iserrno != kIsDuplicate) return iserrno;
    on_duplicate(old);
    return 0;
  }

  int write_deleted(const std::vector<char>& /*old*/) override { return 0; }
  int flush() override { return 0; }

  int close() override {
    if (const int failed = conversion_step("close")) return failed;
    return add_keys_and_close(definition_, std::exchange(descriptor_, -1));
  }

 private:
  int descriptor_ = -1;
};

class NumberedFile : public NewDataFile {
 public:
  using NewDataFile::NewDataFile;

  int create(const std::string& base, const std::string& old_base) override {
    if (const int failed = conversion_step("create")) return failed;
    const int failed = bytes_.create(base.c_str(), NewFileAccess::kOwnerOnly);
    return failed == 0 ? bytes_.take_access(old_base.c_str()) : failed;
  }

  // Writes each place in turn.
  int write(const std::vector<char>& record, const std::vector<char>& /*old*/) override {
    constexpr std::size_t kBlockBytes = 65536;
    if (const int failed = conversion_step("write")) return failed;
    block_.insert(block_.end(), record.begin(), record.end());
    return block_.size() < kBlockBytes ? 0 : flush();
  }

  int write_deleted(const std::vector<char>& old) override {
    std::vector<char> record(static_cast<std::size_t>(definition_.record_length - 1), '\0');
    record.push_back(kDeletedRecord);
    return write(record, old);
  }

  int flush() override {
    const int failed = bytes_.write(written_, block_);
    written_ += block_.size();
    block_.clear();
    return failed;
  }

  int close() override {
    if (const int failed = conversion_step("close")) return failed;
    const int failed = bytes_.sync();
    bytes_.close();
    return failed;
  }

 private:
  RecordFile bytes_;
  std::vector<char> block_;  // not written yet
  std::uint64_t written_ = 0;
};

}  // namespace

std::unique_ptr<NewDataFile> NewDataFile::of(const FileDefinition& definition,
                                             const std::string& base) {
  if (is_cluster_address(base)) return new_cluster_file(definition);
  if (definition.type == FileType::kIsam) return std::make_unique<KeyedFile>(definition);
  return std::make_unique<NumberedFile>(definition);
}

int add_keys_and_close(const FileDefinition& definition, int descriptor) {
  int failed = 0;
  for (int key = 2; failed == 0 && key <= definition.keys.key_count; ++key)
    failed = ISADDINDEX(descriptor, isam_key(definition, key)) == 0 ? 0 : iserrno;
  const int not_closed = ISCLOSE(descriptor) == 0 ? 0 : iserrno;
  return failed != 0 ? failed : not_closed;
}

}  // namespace marigold::inner
