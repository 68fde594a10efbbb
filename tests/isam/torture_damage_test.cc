// Files cut and overwritten, and calls of the system that fail.

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "runtime/platform/mapped_file.h"
#include "tests/isam/torture.h"

namespace marigold::test {
namespace {

// Reads a file that may be damaged in every way: each answer is right, or the file is refused.
void read_all_ways(const Contents& expected, const std::string& what) {
  const int file = ISOPEN("file", kIsInputOutput | kIsManualLock);
  if (file < 0) {
    ASSERT_EQ(iserrno, kIsBadFile) << what;
    return;
  }
  for (std::int32_t number = -1; number < 60; ++number) {
    std::string record = wide_record(number, 0);
    const auto right = expected.find(number);
    if (ISREAD(file, record.data(), kIsEqual) == 0) {
      ASSERT_TRUE(right != expected.end() && record == right->second)
          << what << " number " << number;
    } else {
      ASSERT_TRUE(iserrno == kIsBadFile || (iserrno == kIsNoRecord && right == expected.end()))
          << what << iserrno;
    }
  }
  for (const KeyDescription& key : {kWidePrimary, kWideText, kWideBoth}) {
    std::string record(kWideRecord, '\0');
    std::size_t count = 0;
    ISSTART(file, key, 0, record.data(), kIsFirst);
    for (int mode = kIsFirst; ISREAD(file, record.data(), mode) == 0 && count <= expected.size();
         mode = kIsNext) {
      const auto right = expected.find(isld_int4(record.data()));
      ASSERT_TRUE(right != expected.end() && record == right->second) << what;
      ++count;
    }
    ASSERT_TRUE(iserrno == kIsBadFile || (iserrno == kIsEndOfFile && count == expected.size()))
        << what << iserrno;
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
  const int variants = amount(600, 10'000);
  for (int variant = 0; variant < variants && !HasFatalFailure(); ++variant) {
    copy_pair("good", "file");
    const std::string name = random() % 2 == 0 ? "file.idx" : "file.dat";
    std::string bytes = read_file(name);
    const bool header = random() % 3 == 0;
    for (unsigned count = random() % 4 + 1; count > 0; --count) {
      bytes[random() % (header ? 1024 : bytes.size())] = static_cast<char>(random());
    }
    write_file(name, bytes);
    read_all_ways(contents, "variant " + std::to_string(variant) + " " + name);
  }
}

TEST_F(TortureTest, CutFilesAreRefusedOrAnswerRight) {
  const Contents contents = some_contents(60, 9);
  build_wide("good", contents);
  for (const char* name : {"file.idx", "file.dat"}) {
    copy_pair("good", "file");
    const std::uintmax_t whole = std::filesystem::file_size(name);
    const std::uintmax_t stride = static_cast<std::uintmax_t>(amount(509, 7));
    for (std::uintmax_t length = 0; length < whole && !HasFatalFailure();
         length += length < 300 ? 1 : stride) {
      copy_pair("good", "file");
      std::filesystem::resize_file(name, length);
      read_all_ways(contents, std::string(name) + " cut to " + std::to_string(length));
    }
  }
}

// ---- Calls that fail

struct Faults {
  FileCall call = FileCall::kOpen;
  int countdown = 0;
  int error = 0;
};

Faults faults;

int fail_when_due(FileCall call) {
  return call == faults.call && --faults.countdown == 0 ? faults.error : 0;
}

// The n-th call fails, for every n until a run meets no fault: the operation says so, the file is
// as before, and the same operation works afterwards.
void fail_each(FileCall call, int error, const std::vector<Operation>& operations,
               const Contents& start) {
  for (int n = 1; !testing::Test::HasFailure(); ++n) {
    copy_pair("start", "file");
    faults = {call, n, error};
    Contents expected = start;
    int file = ISOPEN("file", kIsInputOutput | kIsManualLock);
    if (file < 0) {
      ASSERT_EQ(iserrno, error);
      file = ISOPEN("file", kIsInputOutput | kIsManualLock);
      ASSERT_GE(file, 0) << iserrno;
    }
    for (const Operation& operation : operations) {
      const bool succeeds = apply(operation, expected);
      const bool had_fault = faults.countdown <= 0;
      int result = perform(operation, file);
      if (!had_fault && faults.countdown <= 0 && result != 0) {
        ASSERT_EQ(iserrno, error);
        ASSERT_EQ(iscount(file),
                  static_cast<std::int64_t>(expected.size()) - (operation.write ? 1 : -1));
        result = perform(operation, file);
      }
      ASSERT_EQ(result == 0, succeeds) << iserrno;
    }
    const bool closed = ISCLOSE(file) == 0;
    ASSERT_TRUE(closed || iserrno == error);
    const bool met = faults.countdown <= 0;
    faults = {};
    Contents found;
    ASSERT_EQ(examine("file", found), "") << "call " << static_cast<int>(call) << " number " << n;
    ASSERT_EQ(found, expected);
    if (!met) return;
  }
}

TEST_F(TortureTest, AFailedCallLeavesTheFileAsItWas) {
  const Contents start = some_contents(40, 3);
  build_wide("start", start);
  const auto operations = random_operations(17, amount(150, 1500), 400);
  file_fault_hook = fail_when_due;
  fail_each(FileCall::kReserve, ENOSPC, operations, start);
  fail_each(FileCall::kMap, ENOMEM, operations, start);
  fail_each(FileCall::kSync, EIO, operations, start);
  fail_each(FileCall::kLock, ENOLCK, operations, start);
  file_fault_hook = nullptr;
}

}  // namespace
}  // namespace marigold::test
