// SPDX-License-Identifier: GPL-3.0-or-later
// Sets of changes of users who may not write everywhere.

#include "tests/data/support.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

using std::filesystem::perms;

// Commits a change and returns the result with the messages.
std::string change_first() {
  DataFile& book = data_file("CUSTOMER");
  data_open(book, LockWait::kTell);
  changes_begin();
  fill(book, 1, "new");
  changes_write(book);
  int result = 0;
  const std::string errors = errors_of([&] { result = changes_commit(LockWait::kTell); });
  return std::to_string(result) + " " + errors;
}

struct RestrictedTest : DataTest {
  RestrictedTest() {
    data_open("CUSTOMER", LockWait::kTell);
    write(data_file("CUSTOMER"), 1, "old");
    data_close_all();
  }
  ~RestrictedTest() override { std::filesystem::permissions("data/4", perms(0755)); }
  static void restrict(perms files) {
    for (const auto& entry : std::filesystem::directory_iterator("data/4"))
      std::filesystem::permissions(entry.path(), files);
    for (const char* directory : {".", "data"})
      std::filesystem::permissions(directory, perms(0777));
    std::filesystem::permissions("data/4", perms(0555));
  }
};

TEST_F(RestrictedTest, ASetNeedsADirectoryForItsJournal) {
  restrict(perms(0666));
  EXPECT_TRUE(elsewhere([] {
    become_a_reader();
    EXPECT_EQ(change_first(),
              "1013 nothing is changed: " + std::filesystem::current_path().string() +
                  "/data/4/CHANGES.journal: Permission denied\n");
    return read(data_file("CUSTOMER"), 1) == 0 &&
           data_get_text(data_file("CUSTOMER"), "NAME") == "old";
  }));
}

// The engine's reason stands before the number of an error that ends a process.
TEST_F(RestrictedTest, AFatalErrorHasItsReason) {
  EXPECT_FALSE(elsewhere([] {
    data_open("CUSTOMER", LockWait::kTell);
    die_at(15);
    return write(data_file("CUSTOMER"), 2) == kDataDone;
  }));
  restrict(perms(0444));
  const std::string errors = errors_of([] {
    EXPECT_FALSE(elsewhere([] {
      become_a_reader();
      data_file("CUSTOMER").read_only = true;
      return data_open("CUSTOMER", LockWait::kTell) == kDataDone;
    }));
  });
  EXPECT_TRUE(
      errors.starts_with("\nstr: data/4/CUSTOMER\na program died during a change; a program "
                         "that may write the file must open it first\nerror\n      1013\n"))
      << errors;
}

// A program that only reads goes on beside a set that it cannot finish; any other ends.
TEST_F(RestrictedTest, AReaderGoesOnBesideAnUnfinishedSet) {
  EXPECT_FALSE(elsewhere([] {
    die_when_recorded("data/4");
    return change_first().empty();
  }));
  restrict(perms(0444));
  for (const bool reads : {true, false}) {
    const auto open_and_read = [](bool only_reads) {
      become_a_reader();
      DataFile& book = data_file("CUSTOMER");
      book.read_only = only_reads;
      const std::string errors = errors_of([&] { data_open(book, LockWait::kTell); });
      EXPECT_TRUE(errors.starts_with("some records are those from before")) << errors;
      return read(book, 1) == 0;
    };
    EXPECT_EQ(elsewhere(open_and_read, reads), reads);
  }
}

}  // namespace
}  // namespace marigold::inner::test
