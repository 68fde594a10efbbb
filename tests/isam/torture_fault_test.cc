// Calls of the system that fail, and memory that there is none of.

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>

#include "runtime/isam/layout.h"
#include "runtime/platform/mapped_file.h"
#include "tests/isam/torture.h"

namespace marigold::test {
namespace {

struct Faults {
  std::optional<FileCall> call;  // of the system; none: memory is asked for
  int error = 0;
  int countdown = 0;      // to the call that fails
  bool for_long = false;  // those after it fail as well
  bool armed = false;     // the engine is at work
};

Faults faults;

bool is_due(std::optional<FileCall> call) {
  if (!faults.armed || call != faults.call) return false;
  --faults.countdown;
  return faults.countdown == 0 || (faults.for_long && faults.countdown < 0);
}

int fail_when_due(FileCall call) {
  return is_due(call) ? faults.error : 0;
}

// Calls the engine, which may meet the fault.
template <typename Call>
int call_armed(Call call) {
  faults.armed = true;
  const int result = call();
  faults.armed = false;
  return error_of(result);
}

class FaultRun {
 public:
  // Only what is called through `attempt` or `close` meets the fault.
  explicit FaultRun(const Contents& start) : expected_(start) {
    copy_pair("start", "file");
    // As after an ISADDINDEX that was interrupted: the indexes are made anew at the first opening.
    std::string index = read_file("file.idx");
    index[offsetof(isam::IndexHeader, state)] = isam::kStateRebuild;
    write_file("file.idx", index);
  }

  void run() {
    build(kExclusiveMode);
    build(kSharedMode);
    open(kExclusiveMode);
    change(100);
    EXPECT_EQ(attempt([&] { return ISADDINDEX(file_, kLaterKey); }), 0);
    close();
    open(kSharedMode);
    change(300);
    EXPECT_EQ(attempt([&] { return ISFLUSH(file_); }), 0);
    grow_elsewhere();
    EXPECT_EQ(attempt([&] { return ISREAD(file_, record_.data(), kIsLast | kIsLock); }), 0);
    EXPECT_EQ(record_, expected_.rbegin()->second);
    EXPECT_EQ(attempt([&] { return ISRELEASE(file_); }), 0);
    change(400);
    close();
    look("file");
  }

 private:
  static constexpr KeyDescription kLaterKey{1, 1, {{{200, 20, kIsCharacters}}}};

  // When the call meets the fault it says so, everything is as before, and it works from then on.
  template <typename Call>
  int attempt(Call call) {
    const int error = call_armed(call);
    if (met_ || faults.countdown > 0 || error != faults.error) return error;
    met_ = true;
    if (file_ >= 0) {
      EXPECT_EQ(iscount(file_), static_cast<std::int64_t>(expected_.size()));
      // Nobody is blocked, and who comes after our death finds what was there before.
      EXPECT_EQ(shared_ ? run_process([this] { look("file"); }) : 0, 0);
      copy_pair("file", "image");
      look("image");
    }
    faults.for_long = false;
    const int second = error_of(call());
    EXPECT_EQ(file_ >= 0 ? walk(file_) : "", "");
    return second;
  }

  void look(const std::string& base) {
    Contents found;
    EXPECT_EQ(examine(base, found), "");
    EXPECT_TRUE(found == expected_);
    const int file = ISOPEN(base.c_str(), kIsInput);
    EXPECT_EQ(error_of(ISSTART(file, kLaterKey, 0, record_.data(), kIsFirst)),
              shared_ ? 0 : kIsBadKey);
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
    EXPECT_TRUE(error == 0 || (error == faults.error && faults.countdown <= 0)) << error;
    if (error != 0) faults.for_long = false;
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
    record_ = wide_record(expected_.begin()->first, 0);
    EXPECT_EQ(attempt([&] { return ISREAD(file_, record_.data(), kIsEqual); }), 0);
    EXPECT_EQ(record_, expected_.begin()->second);
  }

  // Another process makes the file longer than we have seen it.
  void grow_elsewhere() {
    const auto write = [] {
      const int file = ISOPEN("file", kSharedMode);
      for (std::int32_t number = 1000; number < 1100; ++number)
        EXPECT_EQ(perform({Does::kWrite, number, 1}, file), 0);
      EXPECT_EQ(ISCLOSE(file), 0);
    };
    EXPECT_EQ(run_process(write), 0);
    for (std::int32_t number = 1000; number < 1100; ++number)
      apply({Does::kWrite, number, 1}, expected_);
  }

  int file_ = -1;
  bool shared_ = false;
  bool met_ = false;
  Contents expected_;
  std::string record_ = wide_record(0, 0);
};

// The n-th call fails, for every n until a run meets no fault.
TEST_F(TortureTest, AFailedCallLeavesTheFileAsItWas) {
  const Contents start = some_contents(40, 3);
  build_wide("start", start);
  file_fault_hook = fail_when_due;
  const Faults rows[] = {{FileCall::kOpen, EMFILE},
                         {FileCall::kReserve, ENOSPC},
                         {FileCall::kReserve, ENOSPC, 0, true},
                         {FileCall::kMap, ENOMEM},
                         {FileCall::kSync, EIO},
                         {FileCall::kSync, EIO, 0, true},
                         {FileCall::kLock, ENOLCK},
                         {std::nullopt, kIsNoMemory},
                         {std::nullopt, kIsNoMemory, 0, true}};
  for (const Faults& row : rows) {
    int n = 0;
    do {
      faults = row;
      faults.countdown = ++n;
      FaultRun(start).run();
    } while (faults.countdown <= 0 && !HasFailure());
    const char* long_too = row.for_long ? " and later" : "";
    ASSERT_FALSE(HasFailure()) << "error " << row.error << " at call " << n << long_too;
    std::printf("[ failed ] error %d at each of %d calls%s\n", row.error, n - 1, long_too);
  }
  file_fault_hook = nullptr;
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
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
