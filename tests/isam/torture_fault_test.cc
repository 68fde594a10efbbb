// SPDX-License-Identifier: GPL-3.0-or-later
// Faults beneath the engine: failing calls of the system, lack of memory, files that were cut and
// overwritten, and large files.

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <utility>

#include "runtime/isam/local/entry_sort.h"
#include "runtime/isam/local/layout.h"
#include "runtime/platform/mapped_file.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/system_error.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

struct Fault {
  std::optional<FileCall> call;  // of the system; none: a request for memory
  int error = 0;
  int countdown = 0;      // calls before the failing one
  bool for_long = false;  // the calls after it fail as well
  bool armed = false;     // the engine is at work
};

Fault fault;

bool is_due(std::optional<FileCall> call) {
  if (!fault.armed || call != fault.call) return false;
  const int left = --std::atomic_ref(fault.countdown);  // a rebuild may call from two threads
  return left == 0 || (fault.for_long && left < 0);
}

// Memory is refused to the engine, or to the platform below it.
bool is_of_fault(int error) {
  return error == fault.error || (!fault.call && error == ENOMEM);
}

// Calls the engine, which may meet the fault.
template <typename Call>
int call_armed(Call call) {
  fault.armed = true;
  const int result = call();
  fault.armed = false;
  return error_of(result);
}

// Lets the n-th call of a row fail, for every n until a run meets no fault.
template <typename Run>
void fail_each_call(const Fault& row, int step, Run run) {
  file_fault_hook = [](FileCall call) { return is_due(call) ? system_number(fault.error) : 0; };
  int failed = -1;
  for (int n = 1; failed < 0 || (fault.countdown <= 0 && !testing::Test::HasFailure()); n += step) {
    fault = row;
    fault.countdown = n;
    SCOPED_TRACE("error " + std::to_string(row.error) + " at call " + std::to_string(n) +
                 (row.for_long ? " and later" : ""));
    run();
    ++failed;
  }
  file_fault_hook = nullptr;
  EXPECT_GT(failed, 0);
  std::printf("[ failed ] error %d at %d calls%s\n", row.error, failed,
              row.for_long ? " and later" : "");
}

// Only calls through `attempt` or `close` meet the fault.
class FaultRun {
 public:
  void run(const Contents& start) {
    expected_ = start;
    copy_pair("start", "file");
    leave_without_indexes();
    build(kExclusiveMode);
    build(kSharedMode);
    open(kExclusiveMode);
    change(100);
    const KeyDescription later{1, 1, {{{200, 20, kIsCharacters}}}};
    EXPECT_EQ(attempt([&] { return ISADDINDEX(file_, later); }), 0);
    close();
    open(kSharedMode);
    change(300);
    EXPECT_EQ(attempt([&] { return ISFLUSH(file_); }), 0);
    grow_elsewhere();
    std::string record = wide_record(expected_.rbegin()->first, 0);
    EXPECT_EQ(attempt([&] { return ISREAD(file_, record.data(), kIsEqual | kIsLock); }), 0);
    EXPECT_EQ(record, expected_.rbegin()->second);
    EXPECT_EQ(attempt([&] { return ISRELEASE(file_); }), 0);
    change(400);
    close();
    look("file", expected_, 4);
  }

 private:
  // A call that meets the fault reports it, everything is as before, and the call works from then
  // on.
  template <typename Call>
  int attempt(Call call) {
    const int error = call_armed(call);
    if (fault.countdown > 0 || !is_of_fault(error)) return error;
    if (file_ >= 0) {
      EXPECT_EQ(iscount(file_), static_cast<std::int64_t>(expected_.size()));
      // No process is blocked, and the next process after this one's death finds the state from
      // before.
      if (shared_) {
        save("expected", expected_);
        const auto look_elsewhere = [] { look("file", saved("expected"), 4); };
        EXPECT_EQ(run_child(look_elsewhere), 0);
      }
      copy_pair("file", "image");
      pass_for_own("image");
      look("image", expected_, shared_ ? 4 : 3);
    }
    fault.for_long = false;
    const int second = error_of(call());
    EXPECT_EQ(file_ >= 0 ? verify(file_) : "", "");
    return second;
  }

  static void look(const std::string& base, const Contents& expected, int keys) {
    expect_holds(base, expected);
    const int file = ISOPEN(base.c_str(), kIsInput);
    IsamInfo info;
    EXPECT_EQ(isinfo(file, info), 0);
    EXPECT_EQ(info.key_count, keys);
    EXPECT_EQ(ISCLOSE(file), 0);
  }

  // A file that could not be built does not exist at the next attempt.
  void build(int mode) {
    int built = -1;
    const auto call = [&] {
      EXPECT_TRUE(!file_exists("new.idx") && !file_exists("new.dat"));  // without the heap
      return built = ISBUILD("new", kWideRecord, kWidePrimary, mode);
    };
    EXPECT_EQ(attempt(call), 0);
    EXPECT_EQ(ISCLOSE(built), 0);
    remove_pair("new");
  }

  void open(int mode) {
    int opened = -1;
    EXPECT_EQ(attempt([&] { return opened = ISOPEN("file", mode); }), 0);
    file_ = opened;
    shared_ = mode == kSharedMode;
  }

  // A failing ISCLOSE closes as well.
  void close() {
    const int error = call_armed([&] { return ISCLOSE(file_); });
    EXPECT_TRUE(error == 0 || (is_of_fault(error) && fault.countdown <= 0)) << error;
    if (error != 0) fault.for_long = false;
    file_ = -1;
  }

  void change(unsigned seed) {
    for (const Operation& operation : random_operations(seed, amount(60, 600), 300)) {
      Contents with = expected_;
      const bool succeeds = apply(operation, with);
      const std::string record = wide_record(operation.number, operation.version);
      const int error = attempt([&] { return perform(operation.what, file_, record); });
      EXPECT_EQ(error == 0, succeeds) << error;
      expected_ = std::move(with);
    }
  }

  // Another process makes the file longer than this one has mapped it.
  void grow_elsewhere() {
    const auto write = [] {
      const int file = ISOPEN("file", kSharedMode);
      for (std::int32_t number = 1000; number < 1100; ++number)
        EXPECT_EQ(perform({Does::kWrite, number, 1}, file), 0);
      EXPECT_EQ(ISCLOSE(file), 0);
    };
    EXPECT_EQ(run_child(write), 0);
    for (std::int32_t number = 1000; number < 1100; ++number)
      expected_[number] = wide_record(number, 1);
  }

  int file_ = -1;
  bool shared_ = false;
  Contents expected_;
};

// A system's number that the engine has as well comes back increased by 1000: a file that somebody
// has replaced on a server is no end of a file.
constexpr Fault kFaults[] = {{FileCall::kOpen, EMFILE},
                             {FileCall::kReserve, ENOSPC},
                             {FileCall::kReserve, ENOSPC, 0, true},
                             {FileCall::kMap, ENOMEM},
                             {FileCall::kSync, 1000 + ETIMEDOUT},
                             {FileCall::kSync, EIO, 0, true},
                             {FileCall::kLock, ENOLCK},
                             {FileCall::kLock, 1000 + EHOSTUNREACH},
                             {std::nullopt, kIsNoMemory},
                             {std::nullopt, kIsNoMemory, 0, true}};
// Each run starts a process, which takes long under Wine, so not every call there.
TEST_F(TortureTest, AFailedCallLeavesTheFileAsItWas) {
  const Contents start = some_contents(40, 3);
  build_wide("start", start);
  for (const Fault& row : kFaults) {
    fail_each_call(row, amount(is_slow_system() ? 5 : 1, 1), [&] { FaultRun().run(start); });
    ASSERT_FALSE(HasFailure());
  }
}

// Rebuilds the indexes of a file while a call fails; the disk may be too full for the runs of the
// sort.
void rebuild_with_fault(const Contents& contents) {
  isam::sort_run_bytes = 3000;
  copy_pair("start", "file");
  IsRebuildReport report;
  const int error = call_armed([&] { return isrebuild("file", report); });
  const bool was_met = fault.countdown <= 0;
  if (was_met && error != 0) {
    EXPECT_EQ(error, fault.error);
    // Between its last two syncs a file is marked, and the next process to open it rebuilds it.
    const std::uint32_t state =
        static_cast<unsigned char>(read_file("file.idx")[offsetof(isam::IndexHeader, state)]);
    EXPECT_TRUE(state != isam::kStateRebuild || fault.call == FileCall::kSync);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 4);  // two pairs
  } else {
    EXPECT_EQ(error, 0);
  }
  const bool for_long = std::exchange(fault.for_long, false);
  expect_holds("file", contents);
  EXPECT_EQ(error_of(isrebuild("file", report)), 0);
  EXPECT_EQ(report.records, static_cast<std::int64_t>(contents.size()));
  EXPECT_EQ(report.lost, 0);
  expect_holds("file", contents);
  fault.for_long = for_long;
  isam::sort_run_bytes = 0;
}

TEST_F(TortureTest, AFailedRebuildLeavesTheFileAsItWas) {
  Contents contents = some_contents(120, 6);
  build_wide("start", contents);
  const int file = ISOPEN("start", kSharedMode);
  for (int count = 0; count < 20; ++count) {
    EXPECT_EQ(ISDELETE(file, contents.begin()->second.data()), 0);
    contents.erase(contents.begin());
  }
  ASSERT_EQ(ISCLOSE(file), 0);
  IsRebuildReport report;
  ASSERT_EQ(isrebuild("start", report), 0);  // with no space to spare
  // Without memory the C++ library ends a process that reads a directory.
  for (const Fault& row : kFaults) {
    if (row.call) fail_each_call(row, 1, [&] { rebuild_with_fault(contents); });
    ASSERT_FALSE(HasFailure());
  }
}

// ---- Damaged files

constexpr std::size_t kPiece = 512;
constexpr const char* kNames[] = {"file.idx", "file.dat"};
using Pair = std::array<std::string, 2>;

// A pair as it stands at two moments. After damage, any record written until the later moment may
// be found. In the strict case the records must be those of that moment, unless the pair is
// refused.
struct Moments {
  std::array<Pair, 2> pairs;
  Contents last;
  std::set<std::string> written;
};

Moments make_moments(std::int32_t numbers, bool in_use) {
  const auto read_pair = [] { return Pair{read_file(kNames[0]), read_file(kNames[1])}; };
  Moments moments{{}, some_contents(numbers, 9), {}};
  remove_pair("file");
  build_wide("file", moments.last);
  for (const auto& [number, record] : moments.last)
    moments.written.insert(record);
  moments.pairs[0] = read_pair();
  const int file = ISOPEN("file", kSharedMode);
  int left = numbers;
  for (const Operation& operation : random_operations(21, numbers, numbers)) {
    EXPECT_EQ(perform(operation, file) == 0, apply(operation, moments.last));
    moments.written.insert(wide_record(operation.number, operation.version));
    if (in_use && --left == numbers / 2) moments.pairs[0] = read_pair();
  }
  moments.pairs[1] = read_pair();
  EXPECT_EQ(ISCLOSE(file), 0);
  if (!in_use) moments.pairs[1] = read_pair();
  return moments;
}

// Returns whether the file could be opened.
bool use_all_ways(const Moments& moments, bool strictly, bool change) {
  const int file = ISOPEN("file", kSharedMode);
  if (file < 0) {
    // A file without a record may be the leftover of a process that died while it built the file.
    const bool empty =
        read_file(kNames[1]).find_first_not_of('\0', isam::kDataStart) == std::string::npos;
    EXPECT_TRUE(iserrno == kIsBadFile || (iserrno == ENOENT && empty && !strictly)) << iserrno;
    return false;
  }
  const auto expect_right = [&](int error, const std::string& record) {
    const auto last = moments.last.find(isld_int4(record.data()));
    const bool there = strictly && last != moments.last.end();
    const bool right =
        strictly ? there && record == last->second : moments.written.contains(record);
    EXPECT_TRUE(error == kIsBadFile || (error == 0 && right) || (error == kIsNoRecord && !there))
        << error;
  };
  const std::int32_t numbers = moments.last.rbegin()->first + 2;
  std::string record(kWideRecord, '\0');
  for (std::int32_t number = -1; number < numbers; ++number) {
    isst_int4(number, record.data());
    const int error = error_of(ISREAD(file, record.data(), kIsEqual));
    expect_right(error, record);
  }
  for (const KeyDescription& key : {kWidePrimary, kWideText, kWideBoth}) {
    std::size_t count = 0;
    ISSTART(file, key, 0, record.data(), kIsFirst);
    while (ISREAD(file, record.data(), count == 0 ? kIsFirst : kIsNext) == 0 &&
           ++count < moments.written.size())
      expect_right(0, record);
    EXPECT_TRUE(iserrno == kIsBadFile ||
                (iserrno == kIsEndOfFile && (!strictly || count == moments.last.size())))
        << iserrno << " " << count;
  }
  // Changes must do no harm either, and not hang; the answers were looked at above.
  for (const Operation& operation : random_operations(3, change ? 4 : 0, numbers))
    perform(operation, file);
  ISCLOSE(file);
  return true;
}

// Does the work of write_file, but empty pages take no space and no time.
void write_sparse(const char* name, const std::string& bytes) {
  static const std::string empty(4096, '\0');
  std::ofstream file(name, std::ios::binary);
  for (std::size_t at = 0; at < bytes.size(); at += empty.size()) {
    const std::size_t length = std::min(empty.size(), bytes.size() - at);
    if (bytes.compare(at, length, empty, 0, length) == 0) continue;
    file.seekp(static_cast<std::streamoff>(at));
    file.write(&bytes[at], static_cast<std::streamsize>(length));
  }
  file.close();
  EXPECT_TRUE(file);
  std::filesystem::resize_file(name, bytes.size());
}

// Changes bytes: overwrites them, cuts the file, empties it, copies bytes from elsewhere or from
// the other moment, swaps sectors, or combines halves of two moments. Returns whether the records
// found must then be strictly right.
bool damage(Pair& pair, const Pair& other, std::mt19937& random) {
  const std::size_t half = random() % 2;
  std::string& bytes = pair[half];
  if (bytes.size() < 2 * kPiece) return false;
  const std::size_t bound = random() % 3 == 0 ? 2 * kPiece : bytes.size();
  std::size_t at = random() % bound;
  while (bytes[at] == '\0' && random() % 16 != 0)  // prefers bytes that are in use
    at = random() % bound;
  const std::size_t length =
      std::min<std::size_t>(random() % (random() % 2 == 0 ? 16 : 2048) + 1, bytes.size() - at);
  const std::size_t first = std::min(at, bytes.size() - kPiece) / kPiece * kPiece;
  const std::size_t second = random() % (bytes.size() / kPiece) * kPiece;
  const auto kind = random() % 8;
  if (kind == 0) {
    bytes.resize(at);
  } else if (kind == 1) {
    bytes.replace(at, length, length, random() % 2 == 0 ? '\0' : static_cast<char>(random()));
  } else if (kind == 2) {
    bytes.replace(at, length, bytes.substr(random() % (bytes.size() - length + 1), length));
  } else if (kind == 3) {
    bytes.replace(at, length, other[half].substr(std::min(at, other[half].size()), length));
  } else if (kind == 4) {
    std::swap_ranges(&bytes[first], &bytes[first] + kPiece, &bytes[second]);
  } else {
    if (kind == 5) bytes = other[half];
    bytes[at % bytes.size()] = static_cast<char>(random());
  }
  // The settled epoch shares a sector with the stamp that shows which index belongs to it.
  const bool forgets = kind == 1 && half == 1 && at < isam::kDataMark;
  return (kind < 2 || kind > 5) && !forgets;
}

struct DamageRow {
  const char* name;
  std::int32_t numbers;
  bool in_use;
  int variants_in_long;
};
constexpr DamageRow kDamageRows[] = {{"ManyRecords", 60, false, 500'000},
                                     {"FewRecords", 9, false, 5'000'000},
                                     {"InUse", 9, true, 4'500'000}};
struct DamageTest : TortureTest, testing::WithParamInterface<int> {};

struct Progress {
  std::atomic<int> variant = 0;
  std::atomic<int> opened = 0;
};

void try_variants(const DamageRow& row, Progress& progress) {
  const Moments moments = make_moments(row.numbers, row.in_use);
  const int variants = amount(300, row.variants_in_long);
  auto& variant = progress.variant;
  for (const int end = std::min(variant + 20'000, variants); variant < end; ++variant) {
    if (variant % 100 == 0) end_within(120);
    std::mt19937 random(static_cast<unsigned>(variant));
    const std::size_t later = random() % 8 == 0 ? 0 : 1;
    const unsigned places = random() % 2 == 0 ? 1 : random() % 4 + 2;
    Pair pair = moments.pairs[later];
    bool strictly = places == 1 && later == 1 && !row.in_use;
    for (unsigned place = 0; place < places; ++place)
      strictly = damage(pair, moments.pairs[1 - later], random) && strictly;
    for (std::size_t half = 0; half < 2; ++half)
      write_sparse(kNames[half], pair[half]);
    progress.opened += use_all_ways(moments, strictly, variant % 4 == 0) ? 1 : 0;
    if (testing::Test::HasFailure()) return;
  }
}

// A process of its own for many variants shows which of them ends or stops it.
TEST_P(DamageTest, IsRefusedOrAnswersRight) {
  const DamageRow& row = kDamageRows[GetParam()];
  const int variants = amount(300, row.variants_in_long);
  const Shared<Progress> progress("progress");
  const std::atomic<int>& variant = progress->variant;
  const auto go_on = [](int which) {
    const Shared<Progress> common("progress");
    try_variants(kDamageRows[which], *common);
  };
  while (variant < variants) {
    ASSERT_EQ(run_child(go_on, GetParam()), 0) << "at variant " << variant;
    if (variant % 500'000 != 0 && variant != variants) continue;
    std::printf("[ damaged] %d variants, of which %d could be opened\n", +variant,
                +progress->opened);
    std::fflush(stdout);
  }
}

INSTANTIATE_TEST_SUITE_P(Files, DamageTest, testing::Range(0, 3),
                         [](const auto& row) { return kDamageRows[row.param].name; });

TEST_F(TortureTest, UndoRefusesAnAreaThatNoChangeHasLeft) {
  static const auto undo_so_much = [](const Moments& moments, bool in_use, std::uint64_t used) {
    Pair pair = moments.pairs[1];
    constexpr std::size_t kUsed = offsetof(isam::IndexHeader, undo_used);
    std::memcpy(&pair[0][kUsed], &used, sizeof used);
    const std::uint64_t first[] = {std::uint64_t{1} << 40, kUsed, sizeof used};  // hits undo_used
    std::memcpy(&pair[0][isam::kUndoStart * isam::kPageSize], first, sizeof first);
    for (std::size_t half = 0; half < 2; ++half)
      write_sparse(kNames[half], pair[half]);
    use_all_ways(moments, !in_use, true);
    EXPECT_TRUE(in_use || read_file(kNames[1]) == pair[1]);
  };
  for (const bool in_use : {false, true}) {
    const auto undo_all = [](bool used_now) {
      const Moments moments = make_moments(9, used_now);
      for (std::uint64_t used = 8; used < 2000 && !HasFailure(); used += 8)
        undo_so_much(moments, used_now, used);
    };
    EXPECT_EQ(run_child(undo_all, in_use), 0) << in_use;
  }
}

// In the long run an offset needs more than 32 bits.
TEST(LargeFileTest, TheLongestRecordsAreFoundAgain) {
  const WorkDirectory directory(
      std::filesystem::temp_directory_path().string());  // much for memory
  const std::int32_t records = amount(100, 140'000);
  const auto large_record = [](std::int32_t number) {
    std::string record(kIsLongestRecord, '=');
    isst_int4(number, record.data());
    isst_int4(number, record.data() + kIsLongestRecord - 4);
    return record;
  };
  int file = ISBUILD("large", kIsLongestRecord, kWidePrimary, kExclusiveMode);
  for (std::int32_t number = 1; number <= records; ++number)
    ASSERT_EQ(ISWRITE(file, large_record(number).data()), 0) << number << " " << iserrno;
  ASSERT_EQ(ISCLOSE(file), 0);
  file = ISOPEN("large", kSharedMode);
  for (std::int32_t number = 1; number <= records; ++number) {
    std::string record(kIsLongestRecord, '\0');
    isst_int4(number, record.data());
    ASSERT_EQ(ISREAD(file, record.data(), kIsEqual), 0) << number << " " << iserrno;
    ASSERT_EQ(record, large_record(number));
  }
  expect_sound_and_close(file);
}

}  // namespace

// Serves the operators below, which are outside of the namespace.
static bool memory_fails() {
  return is_due(std::nullopt);
}

}  // namespace marigold::inner::test

void* operator new(std::size_t size) {
  void* memory = marigold::inner::test::memory_fails() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
// Not inlined: beside a call of the operator above, the compiler would report free() as the wrong
// counterpart.
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
