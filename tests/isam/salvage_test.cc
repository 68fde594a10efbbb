// SPDX-License-Identifier: GPL-3.0-or-later
// Files made again beside themselves: compacted, and recovered from a damaged header.

#include <cerrno>
#include <cstddef>
#include <random>

#include "runtime/isam/local/file.h"
#include "runtime/platform/mapped_file.h"
#include "runtime/platform/stop_signals.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

constexpr std::size_t kWideSlot = kWideRecord + sizeof(isam::SlotHeader);
const std::vector<KeyDescription> kWideKeys = {kWidePrimary, kWideText, kWideBoth};

std::size_t files_here() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("."),
                                                std::filesystem::directory_iterator{}));
}

std::string all_texts(const std::string& base) {
  const int file = ISOPEN(base.c_str(), kIsInput);
  std::string record(kWideRecord, '\0');
  std::string order;
  ISSTART(file, kWideText, 0, record.data(), kIsFirst);
  for (int mode = kIsFirst; ISREAD(file, record.data(), mode) == 0; mode = kIsNext)
    order += record.substr(0, 204);
  ISCLOSE(file);
  return order;
}

// Builds a file "good" of some records, with as many deleted ones.
Contents build_with_gaps(std::int32_t numbers) {
  Contents contents = some_contents(numbers, 5);
  build_wide("good", contents);
  const int file = ISOPEN("good", kExclusiveMode);
  for (std::int32_t number = 1; number <= numbers; number += 2) {
    const bool there = contents.erase(number) > 0;
    EXPECT_EQ(ISDELETE(file, wide_record(number, 0).data()) == 0, there);
  }
  EXPECT_EQ(ISCLOSE(file), 0);
  return contents;
}

// ---- Compacting

TEST_F(TortureTest, CompactingGivesBackTheSpaceOfDeletedRecords) {
  const Contents contents = build_with_gaps(2000);
  const std::string order = all_texts("good");
  std::filesystem::permissions("good.dat", std::filesystem::perms(0640));
  const auto access = std::filesystem::status("good.dat").permissions();  // what a system has of it
  const int held = ISOPEN("good", kSharedMode);
  IsCompactReport report;
  EXPECT_EQ(error_of(iscompact("good", report)), kIsFileLocked);
  const auto is_refused_elsewhere = [] {
    IsCompactReport none;
    EXPECT_EQ(error_of(iscompact("good", none)), kIsFileLocked);
  };
  EXPECT_EQ(run_child(is_refused_elsewhere), 0);
  EXPECT_EQ(ISCLOSE(held), 0);
  std::uint64_t last = 0;
  const auto watch = [&last](std::uint64_t done, std::uint64_t all) {
    EXPECT_GE(done * 1000 / all, last);
    EXPECT_LE(done, all);
    last = done * 1000 / all;
  };
  EXPECT_EQ(error_of(iscompact("good", report, watch)), 0);
  EXPECT_EQ(report.records, static_cast<std::int64_t>(contents.size()));
  EXPECT_EQ(report.data_after, isam::kDataStart + contents.size() * kWideSlot);
  EXPECT_EQ(report.data_after, std::filesystem::file_size("good.dat"));
  EXPECT_EQ(report.index_after, std::filesystem::file_size("good.idx"));
  EXPECT_LT(report.data_after + report.index_after, report.data_before + report.index_before);
  EXPECT_EQ(std::filesystem::status("good.dat").permissions(), access);
  EXPECT_EQ(all_texts("good"), order);
  expect_holds("good", contents);
  // Only the pair is left; a file without a record is just a header.
  const int file = ISOPEN("good", kExclusiveMode);
  for (const auto& [number, record] : contents)
    EXPECT_EQ(ISDELETE(file, record.data()), 0);
  EXPECT_EQ(ISCLOSE(file), 0);
  EXPECT_EQ(error_of(iscompact("good", report)), 0);
  EXPECT_EQ(report.data_after, isam::kDataStart);
  EXPECT_EQ(files_here(), 2U);
}

TEST_F(TortureTest, CompactingRefusesWhatItWouldLoseAndStopsWhenAsked) {
  const Contents contents = build_with_gaps(40);
  copy_pair("good", "file");
  std::string bytes = read_file("file.dat");
  bytes[isam::kDataStart + sizeof(isam::SlotHeader) + 9] ^= 1;
  for (std::size_t at = isam::kDataStart; at < bytes.size(); at += kWideSlot)
    bytes[at + sizeof(isam::SlotHeader) + 9] ^= 1;
  write_file("file.dat", bytes);
  const std::string index = read_file("file.idx");
  IsCompactReport report;
  EXPECT_EQ(error_of(iscompact("file", report)), kIsBadFile);
  EXPECT_TRUE(read_file("file.dat") == bytes);
  EXPECT_EQ(error_of(iscompact("nothing", report)), ENOENT);
  copy_pair("good", "file");
  const auto is_asked_to_stop = [] {
    const StopSignalsHold hold;
    ask_to_stop();
    IsCompactReport none;
    EXPECT_EQ(error_of(iscompact("file", none)), EINTR);
    if (HasFailure()) std::_Exit(1);
  };
  EXPECT_EQ(run_child(is_asked_to_stop), kStopped);
  expect_holds("file", contents);
  EXPECT_EQ(files_here(), 4U);
}

// The n-th call fails, for every n until a run meets no fault.
TEST_F(TortureTest, CompactingThatFailsLeavesTheFileAsItWas) {
  const Contents contents = build_with_gaps(30);
  copy_pair("good", "file");
  static int countdown;
  static FileCall failing;
  for (const FileCall call : {FileCall::kOpen, FileCall::kReserve, FileCall::kSync}) {
    failing = call;
    for (int n = 1, met = 1; met != 0 && !HasFailure(); ++n) {
      countdown = n;
      file_fault_hook = [](FileCall what) {
        return what == failing && --countdown == 0 ? ENOSPC : 0;
      };
      IsCompactReport report;
      const int error = error_of(iscompact("file", report));
      file_fault_hook = nullptr;
      met = countdown <= 0 ? 1 : 0;
      // Two calls may fail unnoticed: the look whether this process has the file open, and
      // reserving space ahead.
      EXPECT_TRUE(error == 0 || (met != 0 && error == ENOSPC)) << n << " " << error;
      expect_holds("file", contents);
      EXPECT_EQ(files_here(), 4U) << n;
    }
  }
}

// ---- Recovering

void damage(const std::string& path, std::size_t from, std::size_t count, char with = '\x7F') {
  std::string bytes = read_file(path);
  bytes.replace(from, count, std::string(count, with));
  write_file(path, bytes);
}

// Both copies of the header, except for the pair's number in the second one.
void damage_headers_but_number() {
  damage("file.dat", 0, 1024);
  damage("file.dat", 2048, 8);
  damage("file.dat", 2048 + 24, 1024);
}

TEST_F(TortureTest, RecordsComeBackWithoutAHeader) {
  Contents contents = build_with_gaps(200);
  const auto count = static_cast<std::int64_t>(contents.size());
  const auto all = [](char with) { damage("file.dat", 0, isam::kDataStart, with); };
  std::vector<std::size_t> live;  // slots of the records
  for (std::size_t at = isam::kDataStart, end = read_file("good.dat").size(); at + 8 < end;
       at += kWideSlot) {
    if (read_file("good.dat")[at + 8] == 0x4C) live.push_back(at);
  }
  const auto tear = [&](std::size_t record, std::size_t at) {
    damage("file.dat", live[record] + at, 1,
           static_cast<char>(~read_file("file.dat")[live[record] + at]));
  };
  const std::function<void()> zeros = [&] { all('\0'); };
  const std::function<void()> other_bytes = [&] { all('\x7F'); };
  const auto tear_three = [&] {
    for (const auto& [record, at] : {std::pair{2U, 0U}, {4, 8}, {6, 100}})
      tear(record, at);
  };
  enum class Index { kKept, kJunk, kMissing };
  struct Row {
    const char* what;
    std::function<void()> damage;  // to the headers
    Index index = Index::kKept;
    bool undecided = false;
    std::int64_t lost = 0;
    std::function<void()> damage_records = [] {};
  };
  const Row rows[] = {
      {"zeros", zeros},
      {"other bytes", other_bytes},
      {"first copy", [] { damage("file.dat", 0, 1024); }},
      {"second copy", [] { damage("file.dat", 2048, 1024); }},
      {"no index", [] { damage("file.dat", 2048, 9); }, Index::kMissing},
      {"a number", damage_headers_but_number, Index::kJunk},
      {"no number", zeros, Index::kJunk, true},
      {"no number, no index", other_bytes, Index::kMissing, true},
      {"torn", zeros, Index::kKept, false, 3, tear_three},
      {"wiped", damage_headers_but_number, Index::kMissing, false, 1,
       [&] { damage("file.dat", live[3], kWideSlot, '\0'); }},
      {"cut", zeros, Index::kKept, false, count - 2,
       [&] { std::filesystem::resize_file("file.dat", live[2] + 9); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    copy_pair("good", "file");
    row.damage();
    row.damage_records();
    if (row.index == Index::kJunk) write_file("file.idx", "junk");
    if (row.index == Index::kMissing) std::filesystem::remove("file.idx");
    const std::string before = read_file("file.dat");
    IsRecoverReport report;
    ASSERT_EQ(error_of(isrecover("file", kWideRecord, kWideKeys, report)), 0);
    EXPECT_EQ(report.lost, row.lost);
    EXPECT_EQ(report.records, count - row.lost);
    EXPECT_EQ(report.checked, !row.undecided);
    EXPECT_EQ(report.undecided > 0, row.undecided);
    const bool kept = row.lost > 0 || row.undecided;
    EXPECT_EQ(report.kept, kept ? "file.damaged.dat" : "");
    EXPECT_TRUE(!kept || read_file(report.kept) == before);
    Contents found;
    EXPECT_EQ(examine("file", found), "");
    EXPECT_EQ(static_cast<std::int64_t>(found.size()), count - row.lost);
    for (const auto& [number, record] : found)
      EXPECT_TRUE(contents.contains(number) && contents[number] == record) << number;
    const int file = ISOPEN("file", kIsInput);
    std::vector<std::string> findings;
    EXPECT_EQ(isglance(file, findings), 0);
    EXPECT_TRUE(findings.empty()) << findings[0];
    EXPECT_EQ(ISCLOSE(file), 0);
    std::filesystem::remove("file.damaged.dat");
    EXPECT_EQ(files_here(), 4U);
  }
}

// A process died with the file open after it had deleted two records. Without a header, index and
// settled epoch decide whether the deletions count.
TEST_F(TortureTest, DeletedRecordsStayDeletedWhereThatIsKnown) {
  const Contents before = build_with_gaps(60);
  Contents after = before;
  const auto delete_two = [] {
    const int file = ISOPEN("good", kSharedMode);
    for (int count = 0; count < 2; ++count)
      EXPECT_EQ(ISDELETE(file, read_first(file).data()), 0);
  };
  EXPECT_EQ(run_child(delete_two), 0);
  after.erase(after.begin(), std::next(after.begin(), 2));
  struct Row {
    const char* what;
    bool has_number;
    bool restarted;
    const Contents& found;
  };
  for (const Row& row : {Row{"killed", false, false, after},
                         {"restarted", true, true, before},
                         {"no epoch", false, true, after}}) {
    SCOPED_TRACE(row.what);
    copy_pair("good", "file");
    damage_headers_but_number();
    if (!row.has_number) damage("file.dat", 0, isam::kDataStart);
    if (row.restarted)
      damage("file.idx", offsetof(isam::IndexHeader, boot), sizeof(BootIdentity), '\1');
    IsRecoverReport report;
    ASSERT_EQ(error_of(isrecover("file", kWideRecord, kWideKeys, report)), 0);
    EXPECT_EQ(report.lost, 0);
    EXPECT_EQ(report.undecided > 0, row.restarted) << report.undecided;
    EXPECT_EQ(report.kept.empty(), !row.restarted);
    expect_holds("file", row.found);
  }
}

// Nothing is changed if the caller is wrong about the file.
TEST_F(TortureTest, RecoveringRefusesWhatIsNoSuchFile) {
  const Contents contents = build_with_gaps(60);
  const auto refuses = [](int error, int length, std::span<const KeyDescription> keys) {
    const std::string data = read_file("file.dat");
    IsRecoverReport report;
    EXPECT_EQ(error_of(isrecover("file", length, keys, report)), error);
    EXPECT_TRUE(read_file("file.dat") == data);
    EXPECT_EQ(files_here(), 4U);
  };
  copy_pair("good", "file");
  const KeyDescription other[] = {kWidePrimary, kWideBoth};
  refuses(kIsBadArgument, kWideRecord + 1, kWideKeys);
  refuses(kIsBadArgument, 0, kWideKeys);
  refuses(kIsBadKey, kWideRecord, other);
  refuses(kIsBadKey, kWideRecord, {});
  const int held = ISOPEN("file", kSharedMode);
  refuses(kIsFileLocked, kWideRecord, kWideKeys);
  EXPECT_EQ(ISCLOSE(held), 0);
  for (const char with : {'\0', '\x7F'}) {
    damage("file.dat", 0, isam::kDataStart, with);
    refuses(kIsBadFile, kWideRecord + 4, kWideKeys);
    refuses(kIsBadFile, kWideRecord - 36, kWideKeys);
  }
  for (const std::string& junk : {""s, "junk"s, std::string(100'000, 'x'), read_file("good.idx")}) {
    write_file("file.dat", junk);
    refuses(kIsBadFile, kWideRecord, kWideKeys);
    write_file("file.idx", junk);
    refuses(kIsBadFile, kWideRecord, kWideKeys);
  }
}

// Under any further damage, a record that is reported as verified was written like that.
TEST_F(TortureTest, RecoveredRecordsAreThoseThatWereWritten) {
  Contents contents = build_with_gaps(60);
  std::mt19937 random(17);
  const auto spoil = [&random](const std::string& path, std::size_t from, unsigned most) {
    std::string bytes = read_file(path);
    for (unsigned count = random() % most; count > 0; --count)
      bytes[from + random() % (bytes.size() - from)] = static_cast<char>(random());
    if (random() % 4 == 0) bytes.resize(from + random() % (bytes.size() - from));
    write_file(path, bytes);
  };
  for (int variant = 0; variant < amount(200, 100'000) && !HasFailure(); ++variant) {
    SCOPED_TRACE(variant);
    copy_pair("good", "file");
    damage_headers_but_number();
    spoil("file.dat", isam::kDataStart, 40);
    spoil("file.idx", 0, 40);
    IsRecoverReport report;
    const int error = error_of(isrecover("file", kWideRecord, kWideKeys, report));
    ASSERT_TRUE(error == 0 || error == kIsBadFile) << error;
    if (error != 0) continue;
    Contents found;
    EXPECT_EQ(examine("file", found), "");
    EXPECT_EQ(static_cast<std::int64_t>(found.size()), report.records);
    EXPECT_TRUE(found.size() >= contents.size() || report.lost > 0);
    for (const auto& [number, record] : found)
      EXPECT_TRUE(!report.checked || contents[number] == record) << number;
    std::filesystem::remove("file.damaged.dat");
  }
}

// After a death at each step, a file that was compacted opens with all its records; one that was
// recovered has them, or gets them by another recovery. The next process can do either.
TEST_F(TortureTest, CompactingAndRecoveringSurviveDeathAtEveryStep) {
  const Contents contents = build_with_gaps(30);
  const auto make_again = [](int dies_at, bool recovers) {
    die_at(dies_at);
    IsCompactReport compacted;
    IsRecoverReport recovered;
    EXPECT_EQ(error_of(recovers ? isrecover("file", kWideRecord, kWideKeys, recovered)
                                : iscompact("file", compacted)),
              0);
    EXPECT_EQ(recovered.lost, 0);
  };
  for (const bool recovers : {false, true}) {
    int step = 0;
    for (int status = kKilled; status == kKilled && !HasFailure();) {
      SCOPED_TRACE((recovers ? "recovering " : "compacting ") + std::to_string(++step));
      copy_pair("good", "file");
      if (recovers) damage("file.dat", 0, isam::kDataStart);
      status = run_child(make_again, step, recovers);
      EXPECT_TRUE(status == 0 || status == kKilled) << status;
      if (!recovers) {
        copy_pair("file", "copy");
        expect_holds("file", contents);
        copy_pair("copy", "file");
      }
      make_again(0, recovers);
      expect_holds("file", contents);
    }
    isam::change_step_hook = nullptr;
    EXPECT_GT(step, 10);
    std::printf("[ killed ] while made again, at %d steps\n", step - 1);
  }
}

// ---- Replacing files

struct Seen {
  std::uint64_t number = 0;
  bool mapped = false;
};
std::map<std::string, Seen> seen;  // the files at the last step

std::uint64_t number_of(const std::string& path) {
  MappedFile file;
  FileIdentity identity;
  EXPECT_EQ(file.open(path.c_str(), FileAccess::kRead) + file.identity(identity), 0);
  return identity.number;
}

// Some systems refuse to replace a file that a process has mapped.
void expect_replaced_unmapped() {
  for (auto& [path, last] : seen) {
    const std::uint64_t number = number_of(path);
    EXPECT_FALSE(number != last.number && last.mapped) << path;
    last = {.number = number, .mapped = is_mapped(path)};
  }
}

TEST_F(TortureTest, NoFileIsReplacedWhileItIsMapped) {
  struct Case {
    const char* what;
    bool damaged;
    std::function<int()> run;
  };
  IsRebuildReport rebuilt;
  IsCompactReport compacted;
  IsRecoverReport recovered;
  const Case kCases[] = {
      {"rebuild", false, [&] { return isrebuild("good", rebuilt); }},
      {"rebuild of a damaged index", true, [&] { return isrebuild("good", rebuilt); }},
      {"compact", false, [&] { return iscompact("good", compacted); }},
      {"recover", true, [&] { return isrecover("good", kWideRecord, kWideKeys, recovered); }},
  };
  for (const Case& one : kCases) {
    SCOPED_TRACE(one.what);
    const Contents contents = build_with_gaps(20);
    if (one.damaged) damage("good.idx", 0, 4096);
    const std::uint64_t before = number_of("good.idx");
    seen = {{"good.dat", {}}, {"good.idx", {}}};
    isam::change_step_hook = expect_replaced_unmapped;
    EXPECT_EQ(error_of(one.run()), 0);
    isam::change_step_hook = nullptr;
    EXPECT_NE(number_of("good.idx"), before);
    expect_holds("good", contents);
    remove_pair("good");
  }
}

}  // namespace
}  // namespace marigold::inner::test
