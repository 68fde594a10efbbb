// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/change_journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/common/checksum.h"
#include "runtime/platform/mapped_file.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"

namespace marigold::inner {
namespace {

using isam::change_step;

constexpr std::uint64_t kTurnLock = kFirstLock + 1;
constexpr std::uint64_t kWriterLock = kFirstLock + 2;

constexpr std::array<char, 2> kMagic = {'\xFE', '\x43'};
constexpr std::uint16_t kVersion = 1;
constexpr std::size_t kSetLength = 16;
// A longer journal is cut when it is emptied.
constexpr std::uint64_t kKeptBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 30;

// Numbers are little-endian, as in the engine's files.
struct Head {
  std::array<char, 2> magic;
  std::uint16_t version;
  std::uint32_t directories;
  std::uint64_t length;    // of the part, with this head
  std::uint64_t checksum;  // of the part with this field 0
  std::array<char, kSetLength> set;
  std::uint32_t changes;  // in this part
  std::uint32_t changes_of_set;
  std::array<char, 16> spare;
};
static_assert(sizeof(Head) == 64);

struct ChangeHead {
  std::uint32_t position;
  std::uint32_t deletes;  // 0 or 1
  std::int32_t version;
  std::uint32_t name_length;
  std::uint32_t record_length;
};

std::uint64_t checksum_of(Head head, std::string_view rest) {
  head.checksum = 0;
  const std::uint64_t first = isam::long_checksum(std::as_bytes(std::span(&head, 1)));
  return isam::long_checksum(std::as_bytes(std::span(rest)), first);
}

template <typename Value>
void append(std::string& bytes, const Value& value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// Takes values from the front of a text; after a failure all further ones fail.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  template <typename Value>
  bool take(Value& value) {
    if (!has(sizeof value)) return false;
    std::memcpy(&value, bytes_.data(), sizeof value);
    bytes_.remove_prefix(sizeof value);
    return true;
  }
  bool take(std::string& text, std::size_t length) {
    if (!has(length)) return false;
    text = bytes_.substr(0, length);
    bytes_.remove_prefix(length);
    return true;
  }
  [[nodiscard]] bool is_at_end() const { return whole_ && bytes_.empty(); }

 private:
  bool has(std::size_t length) { return whole_ = whole_ && length <= bytes_.size(); }

  std::string_view bytes_;
  bool whole_ = true;
};

bool parse_directory(Reader& reader, JournalPart& part) {
  std::uint32_t length = 0;
  std::string directory;
  if (!reader.take(length) || !reader.take(directory, length)) return false;
  part.directories.push_back(std::move(directory));
  return true;
}

// A name with a directory is refused, so that a user who may write in one directory has no power
// over another.
bool parse_change(Reader& reader, JournalPart& part) {
  ChangeHead head{};
  JournalChange change;
  if (!reader.take(head) || !reader.take(change.name, head.name_length) ||
      !reader.take(change.record, head.record_length))
    return false;
  if (change.name.empty() || path_has_directory(change.name) || change.record.empty()) return false;
  change.position = head.position;
  change.deletes = head.deletes != 0;
  change.version = head.version;
  part.changes.push_back(std::move(change));
  return true;
}

bool is_empty_head(std::string_view bytes) {
  return bytes.size() < kMagic.size() || (bytes[0] == '\0' && bytes[1] == '\0');
}

}  // namespace

std::string journal_bytes(const JournalPart& part) {
  std::string rest;
  for (const std::string& directory : part.directories) {
    append(rest, static_cast<std::uint32_t>(directory.size()));
    rest += directory;
  }
  for (const JournalChange& change : part.changes) {
    append(rest, ChangeHead{.position = change.position,
                            .deletes = change.deletes ? 1U : 0U,
                            .version = change.version,
                            .name_length = static_cast<std::uint32_t>(change.name.size()),
                            .record_length = static_cast<std::uint32_t>(change.record.size())});
    rest += change.name + change.record;
  }
  Head head{.magic = kMagic,
            .version = kVersion,
            .directories = static_cast<std::uint32_t>(part.directories.size()),
            .length = sizeof(Head) + rest.size(),
            .checksum = 0,
            .set = {},
            .changes = static_cast<std::uint32_t>(part.changes.size()),
            .changes_of_set = part.changes_of_set,
            .spare = {}};
  std::ranges::copy(part.set.substr(0, kSetLength), head.set.begin());
  head.checksum = checksum_of(head, rest);
  std::string bytes;
  append(bytes, head);
  return bytes + rest;
}

JournalState journal_parse(std::string_view bytes, JournalPart& part) {
  part = {};
  if (is_empty_head(bytes)) return JournalState::kEmpty;
  Head head{};
  Reader start(bytes);
  if (!start.take(head) || head.magic != kMagic) return JournalState::kTorn;
  if (head.version != kVersion) return JournalState::kOther;
  if (head.length < sizeof head || head.length > bytes.size()) return JournalState::kTorn;
  const std::string_view rest = bytes.substr(sizeof head, head.length - sizeof head);
  if (head.checksum != checksum_of(head, rest)) return JournalState::kTorn;
  Reader reader(rest);
  bool whole = true;
  for (std::uint32_t i = 0; whole && i < head.directories; ++i)
    whole = parse_directory(reader, part);
  for (std::uint32_t i = 0; whole && i < head.changes; ++i)
    whole = parse_change(reader, part);
  part.set.assign(head.set.begin(), head.set.end());
  part.changes_of_set = head.changes_of_set;
  // The checksum shows that a runtime with other rules has written the journal.
  return whole && reader.is_at_end() ? JournalState::kWhole : JournalState::kOther;
}

ChangeJournal::ChangeJournal(const std::string& directory)
    : directory_(directory), path_(path_join(directory, kChangeJournal)) {}

int ChangeJournal::open(bool writable) {
  return file_.open_own(path_.c_str(), writable);
}

int ChangeJournal::open_or_make(const std::string& like) {
  constexpr int kRounds = 50;
  for (int round = 0;; ++round) {
    int failed = open(true);
    // Another process has made the journal, and is about to give it the access of the data.
    if (failed == EACCES && round < kRounds) {
      wait_a_little(round);
      continue;
    }
    if (failed != ENOENT) return failed;
    failed = file_.create(path_.c_str());
    if (failed == EEXIST && round < kRounds) continue;
    if (failed == 0) failed = file_.take_access(like.c_str());
    return failed == 0 ? file_sync_directory(path_.c_str()) : failed;
  }
}

int ChangeJournal::take_turn() {
  constexpr int kPatience = 2000;  // rounds, most of them of a millisecond
  int failed = EAGAIN;
  for (int round = 0; failed == EAGAIN && round < kPatience; ++round) {
    if (round > 0) wait_a_little(round);
    failed = file_.lock(kTurnLock, 1, true);
  }
  change_step();
  return failed;
}

int ChangeJournal::become_writer() {
  const int failed = file_.lock(kWriterLock, 1, true);
  change_step();
  return failed;
}

int ChangeJournal::writer_lives(bool& lives) const {
  return file_.locked_exclusively_by_other(kWriterLock, lives);
}

int ChangeJournal::is_empty(bool& empty) const {
  std::array<char, kMagic.size()> begin{};
  std::size_t count = 0;
  const int failed = file_.read(0, begin, count);
  empty = is_empty_head({begin.data(), count});
  return failed;
}

int ChangeJournal::read(JournalState& state, JournalPart& part) const {
  bool empty = false;
  state = JournalState::kEmpty;
  part = {};
  if (const int failed = is_empty(empty)) return failed;
  if (empty) return 0;  // whatever longer sets have left
  std::uint64_t size = 0;
  if (const int failed = file_.size(size)) return failed;
  if (size > kMostBytes) return EFBIG;
  std::string bytes(size, '\0');
  std::size_t count = 0;
  if (const int failed = file_.read(0, bytes, count)) return failed;
  state = journal_parse(std::string_view(bytes).substr(0, count), part);
  return 0;
}

int ChangeJournal::write(const JournalPart& part) {
  const std::string bytes = journal_bytes(part);
  if (bytes.size() > kMostBytes) return EFBIG;
  change_step();
  if (const int failed = file_.write(0, bytes)) return failed;
  change_step();
  const int failed = file_.sync();
  change_step();
  return failed;
}

// Only the head is overwritten: a disk that need not change the length of a file syncs faster.
int ChangeJournal::clear() {
  constexpr std::array<char, sizeof(Head)> kNoHead{};
  std::uint64_t size = 0;
  int failed = file_.size(size);
  change_step();
  if (failed == 0 && size > 0 && size <= kKeptBytes) failed = file_.write(0, kNoHead);
  if (failed != 0 || size > kKeptBytes) failed = file_.cut();
  change_step();
  if (failed == 0 && size > 0) failed = file_.sync();
  change_step();
  return failed;
}

}  // namespace marigold::inner
