// Files cut and overwritten, and files that are large.

#include <cerrno>
#include <random>

#include "tests/isam/torture.h"

namespace marigold::test {
namespace {

// Reads a file that may be damaged in every way: each answer is right, or the file is refused.
void read_all_ways(const Contents& expected, const std::string& what) {
  SCOPED_TRACE(what);
  const int file = ISOPEN("file", kSharedMode);
  if (file < 0) {
    ASSERT_EQ(iserrno, kIsBadFile);
    return;
  }
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
    for (int mode = kIsFirst; ISREAD(file, record.data(), mode) == 0 && count <= expected.size();
         mode = kIsNext) {
      ASSERT_TRUE(is_right(record));
      ++count;
    }
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
  const int variants = amount(600, 10'000);
  for (int variant = 0; variant < variants && !HasFatalFailure(); ++variant) {
    copy_pair("good", "file");
    const std::string name = random() % 2 == 0 ? "file.idx" : "file.dat";
    std::string bytes = read_file(name);
    const bool header = random() % 3 == 0;
    for (unsigned count = random() % 4 + 1; count > 0; --count)
      bytes[random() % (header ? 1024 : bytes.size())] = static_cast<char>(random());
    write_file(name, bytes);
    read_all_ways(contents, "variant " + std::to_string(variant) + " " + name);
  }
  const auto stride = static_cast<std::uintmax_t>(amount(509, 1));
  for (const std::string name : {"file.idx", "file.dat"}) {
    std::uintmax_t whole = 1;
    for (std::uintmax_t length = 0; length < whole && !HasFatalFailure();
         length += length < 300 ? 1 : stride) {
      copy_pair("good", "file");
      whole = std::filesystem::file_size(name);
      std::filesystem::resize_file(name, length);
      read_all_ways(contents, name + " cut to " + std::to_string(length));
    }
  }
}

// Records first, last and around the border beyond which an offset needs more than 32 bits.
TEST(TortureLongTest, AFileBeyondFourGibibytes) {
  const WorkDirectory directory;  // on a disk: too much for memory
  constexpr std::uintmax_t kNeeded = 8'000'000'000;
  constexpr std::int32_t kRecords = 140'000;
  constexpr std::int32_t kBorder = (std::int64_t{1} << 32) / kIsLongestRecord;
  if (std::filesystem::space(".").available < kNeeded) GTEST_SKIP() << "less than 8 GB free";
  // The number ascending at the start of a record, and descending at its end.
  const KeyDescription second{1, 1, {{{kIsLongestRecord - 4, 4, kIsInt4}}}};
  std::string record(kIsLongestRecord, '=');
  const auto set_number = [&](std::int32_t number) {
    isst_int4(number, record.data());
    isst_int4(-number, record.data() + kIsLongestRecord - 4);
  };
  int file = ISBUILD("large", kIsLongestRecord, kWidePrimary, kExclusiveMode);
  ASSERT_EQ(ISADDINDEX(file, second), 0);
  for (std::int32_t number = 1; number <= kRecords; ++number) {
    set_number(number);
    ASSERT_EQ(ISWRITE(file, record.data()), 0) << number << " " << iserrno;
  }
  ASSERT_GT(std::filesystem::file_size("large.dat"), std::uintmax_t{1} << 32);
  const auto expect_all = [&] {
    std::vector<std::int32_t> numbers = {1, 2, kRecords - 1, kRecords};
    for (std::int32_t number = kBorder - 100; number <= kBorder + 10; ++number)
      numbers.push_back(number);
    for (const KeyDescription& key : {kWidePrimary, second}) {
      for (const std::int32_t number : numbers) {
        set_number(number);
        const std::string expected = record;
        ASSERT_EQ(error_of(ISSTART(file, key, 0, record.data(), kIsEqual)), 0) << number;
        record.assign(kIsLongestRecord, '\0');
        ASSERT_EQ(error_of(ISREAD(file, record.data(), kIsCurrent)), 0) << number;
        ASSERT_EQ(record, expected) << number;
      }
    }
    EXPECT_EQ(iscount(file), kRecords);
    EXPECT_EQ(walk(file), "");
  };
  expect_all();
  ASSERT_EQ(ISCLOSE(file), 0);
  file = ISOPEN("large", kSharedMode);
  expect_all();
  ASSERT_EQ(ISCLOSE(file), 0);
  std::printf("[ large  ] %ju bytes\n", std::filesystem::file_size("large.dat"));
}

}  // namespace
}  // namespace marigold::test
