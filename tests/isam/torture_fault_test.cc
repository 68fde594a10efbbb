// What fails beneath the engine: calls of the system, memory that there is none of, files that were
// cut and overwritten, and files that are large.

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <random>

#include "runtime/isam/layout.h"
#include "runtime/platform/mapped_file.h"
#include "tests/isam/support.h"

namespace marigold::test {
namespace {

struct Fault {
  std::optional<FileCall> call;  // of the system; none: memory is asked for
  int error = 0;
  int countdown = 0;      // to the call that fails
  bool for_long = false;  // the calls after it fail as well
  bool armed = false;     // the engine is at work
};

Fault fault;

bool is_due(std::optional<FileCall> call) {
  if (!fault.armed || call != fault.call) return false;
  --fault.countdown;
  return fault.countdown == 0 || (fault.for_long && fault.countdown < 0);
}

// Calls the engine, which may meet the fault.
template <typename Call>
int call_armed(Call call) {
  fault.armed = true;
  const int result = call();
  fault.armed = false;
  return error_of(result);
}

// Only what is called through `attempt` or `close` meets the fault.
class FaultRun {
 public:
  void run(const Contents& start) {
    expected_ = start;
    copy_pair("start", "file");
    // As after an ISADDINDEX that was interrupted: the indexes are made anew at the first opening.
    std::string index = read_file("file.idx");
    index[offsetof(isam::IndexHeader, state)] = isam::kStateRebuild;
    write_file("file.idx", index);
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
    look("file");
  }

 private:
  // When the call meets the fault it says so, everything is as before, and it works from then on.
  template <typename Call>
  int attempt(Call call) {
    const int error = call_armed(call);
    if (fault.countdown > 0 || error != fault.error) return error;
    if (file_ >= 0) {
      EXPECT_EQ(iscount(file_), static_cast<std::int64_t>(expected_.size()));
      // Nobody is blocked, and who comes after our death finds what was there before.
      EXPECT_EQ(shared_ ? run_process([this] { look("file"); }) : 0, 0);
      copy_pair("file", "image");
      pass_for_own("image");
      look("image");
    }
    fault.for_long = false;
    const int second = error_of(call());
    EXPECT_EQ(file_ >= 0 ? walk(file_) : "", "");
    return second;
  }

  void look(const std::string& base) {
    Contents found;
    EXPECT_EQ(examine(base, found), "");
    EXPECT_TRUE(found == expected_);
    const int file = ISOPEN(base.c_str(), kIsInput);
    IsamInfo info;
    EXPECT_EQ(isinfo(file, info), 0);
    EXPECT_EQ(info.key_count, shared_ ? 4 : 3);
    EXPECT_EQ(ISCLOSE(file), 0);
  }

  // What could not be built is not there when it is tried again.
  void build(int mode) {
    int built = -1;
    const auto call = [&] {
      EXPECT_TRUE(access("new.idx", F_OK) != 0 && access("new.dat", F_OK) != 0);
      return built = ISBUILD("new", kWideRecord, kWidePrimary, mode);
    };
    EXPECT_EQ(attempt(call), 0);
    EXPECT_EQ(ISCLOSE(built), 0);
    std::filesystem::remove("new.idx");
    std::filesystem::remove("new.dat");
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
    EXPECT_TRUE(error == 0 || (error == fault.error && fault.countdown <= 0)) << error;
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

  // Another process makes the file longer than we have seen it.
  void grow_elsewhere() {
    Contents more;
    for (std::int32_t number = 1000; number < 1100; ++number)
      more[number] = wide_record(number, 1);
    const auto write = [&more] {
      const int file = ISOPEN("file", kSharedMode);
      for (const auto& [number, record] : more)
        EXPECT_EQ(ISWRITE(file, record.data()), 0);
      EXPECT_EQ(ISCLOSE(file), 0);
    };
    EXPECT_EQ(run_process(write), 0);
    expected_.merge(more);
  }

  int file_ = -1;
  bool shared_ = false;
  Contents expected_;
};

// The n-th call fails, for every n until a run meets no fault.
TEST_F(TortureTest, AFailedCallLeavesTheFileAsItWas) {
  const Contents start = some_contents(40, 3);
  build_wide("start", start);
  file_fault_hook = [](FileCall call) { return is_due(call) ? fault.error : 0; };
  const Fault rows[] = {{FileCall::kOpen, EMFILE},
                        {FileCall::kReserve, ENOSPC},
                        {FileCall::kReserve, ENOSPC, 0, true},
                        {FileCall::kMap, ENOMEM},
                        {FileCall::kSync, EIO},
                        {FileCall::kSync, EIO, 0, true},
                        {FileCall::kLock, ENOLCK},
                        {std::nullopt, kIsNoMemory},
                        {std::nullopt, kIsNoMemory, 0, true}};
  for (const Fault& row : rows) {
    int n = 0;
    do {
      fault = row;
      fault.countdown = ++n;
      FaultRun().run(start);
    } while (fault.countdown <= 0 && !HasFailure());
    const char* long_too = row.for_long ? " and later" : "";
    ASSERT_FALSE(HasFailure()) << "error " << row.error << " at call " << n << long_too;
    std::printf("[ failed ] error %d at each of %d calls%s\n", row.error, n - 1, long_too);
  }
  file_fault_hook = nullptr;
}

// Reads a file that may be damaged in every way: each answer is right, or the file is refused.
void read_all_ways(const Contents& expected, const std::string& what) {
  SCOPED_TRACE(what);
  const int file = ISOPEN("file", kSharedMode);
  ASSERT_TRUE(file >= 0 || iserrno == kIsBadFile) << iserrno;
  if (file < 0) return;
  const auto is_right = [&](const std::string& record) {
    const auto right = expected.find(isld_int4(record.data()));
    return right != expected.end() && record == right->second;
  };
  for (std::int32_t number = -1; number < 60; ++number) {
    std::string record = wide_record(number, 0);
    const int error = error_of(ISREAD(file, record.data(), kIsEqual));
    ASSERT_TRUE(error == kIsBadFile || (error == 0 && is_right(record)) ||
                (error == kIsNoRecord && !expected.contains(number)))
        << number << " " << error;
  }
  for (const KeyDescription& key : {kWidePrimary, kWideText, kWideBoth}) {
    std::string record(kWideRecord, '\0');
    std::size_t count = 0;
    ISSTART(file, key, 0, record.data(), kIsFirst);
    for (; ISREAD(file, record.data(), count == 0 ? kIsFirst : kIsNext) == 0; ++count)
      ASSERT_TRUE(is_right(record) && count < expected.size());
    ASSERT_TRUE(iserrno == kIsBadFile || (iserrno == kIsEndOfFile && count == expected.size()))
        << iserrno;
  }
  // Changing it must do no harm either, and not hang; what it answers is looked at above.
  for (const Operation& operation : random_operations(3, 4, 60))
    perform(operation, file);
  ISCLOSE(file);
}

TEST_F(TortureTest, DamagedFilesAreRefusedOrAnswerRight) {
  const Contents contents = some_contents(60, 9);
  build_wide("good", contents);
  std::mt19937 random(11);
  for (int variant = 0; variant < amount(600, 10'000) && !HasFatalFailure(); ++variant) {
    copy_pair("good", "file");
    const std::string name = random() % 2 == 0 ? "file.idx" : "file.dat";
    std::string bytes = read_file(name);
    const std::size_t bound = random() % 3 == 0 ? 1024 : bytes.size();
    for (unsigned count = random() % 4 + 1; count > 0; --count)
      bytes[random() % bound] = static_cast<char>(random());
    write_file(name, bytes);
    read_all_ways(contents, "variant " + std::to_string(variant) + " " + name);
  }
  const auto stride = static_cast<std::size_t>(amount(509, 1));
  for (const std::string suffix : {".idx", ".dat"}) {
    const std::size_t whole = std::filesystem::file_size("good" + suffix);
    for (std::size_t length = 0; length < whole; length += length < 300 ? 1 : stride) {
      copy_pair("good", "file");
      std::filesystem::resize_file("file" + suffix, length);
      read_all_ways(contents, suffix + " cut to " + std::to_string(length));
      if (HasFatalFailure()) return;
    }
  }
}

// In the long run an offset needs more than 32 bits.
TEST(LargeFileTest, TheLongestRecordsAreFoundAgain) {
  const WorkDirectory directory;  // on a disk: too much for memory
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
  EXPECT_EQ(walk(file), "");
  EXPECT_EQ(ISCLOSE(file), 0);
}

}  // namespace

// For the operators below, which stand outside.
bool memory_fails() {
  return is_due(std::nullopt);
}

}  // namespace marigold::test

void* operator new(std::size_t size) {
  void* memory = marigold::test::memory_fails() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
// Not inlined: beside a call of the operator above free() would pass for the wrong way to end it.
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
