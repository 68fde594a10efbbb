// SPDX-License-Identifier: GPL-3.0-or-later
// Shared parts of the engines' tests: a file of three keys with entries so long that every tree
// soon has several levels, a list in memory of the records that it must hold, and operations on
// both. The torture tests are short by default; with --long they run for minutes and
// report how much they did.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <source_location>
#include <string>
#include <vector>

#include "runtime/isam/common/isam.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

inline constexpr int kExclusiveMode = kIsInputOutput | kIsExclusive;
inline constexpr int kSharedMode = kIsInputOutput | kIsManualLock;

// Returns the base name of a file of the test: in the current directory, or in the database that
// test_in_cluster has said.
std::string at(const std::string& name);
void test_in_cluster(const std::string& directory);  // this process and its children; "": no more

// ---- A small file for steps that a test spells out: a primary key, and a letter at 4 that can be a
// key.

inline constexpr KeyDescription kPrimary{0, 1, {{{0, 4, kIsInt4}}}};
inline constexpr KeyDescription kLetter{1, 1, {{{4, 1, kIsCharacters}}}};

std::string record(std::int32_t number, char letter = 'a');
// Builds "file".
int build(int mode = kExclusiveMode);
// Plays steps like "w20x" (write record 20 with the letter x) and "n=20x" (read the next one, which
// is that record). After the sign stands the record that a read finds, or the number of the error.
void play(int file, const std::string& steps);
// Plays steps in another process, which then ends.
void play_elsewhere(const std::string& steps);

// ---- A wide file

// number: int4 at 0, the primary key; text: 200 characters at 4, with duplicates; filler up to the
// end.
inline constexpr int kWideRecord = 240;
inline constexpr KeyDescription kWidePrimary{0, 1, {{{0, 4, kIsInt4}}}};
inline constexpr KeyDescription kWideText{1, 1, {{{4, 200, kIsCharacters}}}};
inline constexpr KeyDescription kWideBoth{1, 2, {{{4, 150, kIsCharacters}, {0, 4, kIsInt4}}}};

using Contents = std::map<std::int32_t, std::string>;  // records by number

// Returns a record whose text and filler follow from the number and the version.
std::string wide_record(std::int32_t number, std::uint32_t version);

// Builds BASE with these records and closes it.
void build_wide(const std::string& base, const Contents& contents);

// Opens, verifies and reads a file. Returns a line for each finding or error; `contents` receives
// the records.
std::string examine(const std::string& base, Contents& contents);

// Verifies an open file and returns a line for each finding.
std::string verify(int file);

// Expect a file to be sound, and to hold these records; an open one is closed.
using Place = std::source_location;
void expect_holds(const std::string& base, const Contents& contents, Place at = Place::current());
void expect_sound_and_close(int file, Place at = Place::current());

// Reads the first record, and locks it if wanted.
std::string read_first(int file, int lock = 0);

// Returns the error of a call with this result; 0 for none.
inline int error_of(std::int64_t result) {
  return result < 0 ? iserrno : 0;
}

// An operation on a list of records and on a file.
enum class Does { kWrite, kReplace, kDelete };
struct Operation {
  Does what = Does::kWrite;
  std::int32_t number = 0;
  std::uint32_t version = 0;
};
std::vector<Operation> random_operations(unsigned seed, int count, std::int32_t numbers);
// Apply an operation to the list (true: it succeeds) and to the file (the engine's result).
bool apply(const Operation& operation, Contents& contents);
int perform(Does what, int file, const std::string& record);
inline int perform(const Operation& operation, int file) {
  return perform(operation.what, file, wide_record(operation.number, operation.version));
}
Contents some_contents(std::int32_t numbers, unsigned seed);

// Pass a list to a child.
void save(const char* path, const Contents& contents);
Contents saved(const char* path);

void copy_pair(const std::string& from, const std::string& to);
void remove_pair(const std::string& base);
// Leaves "file" like an interrupted ISADDINDEX: the first opening makes the indexes.
void leave_without_indexes();
// Makes copies pass for the files themselves, which hold their own numbers while they are in use.
void pass_for_own(const std::string& base);

// Lets this process die at a step of the engine from now on; at none for 0.
void die_at(long step);

// Plays another run of the machine, or another machine, as long as the object lives; nests.
class OtherRun {
 public:
  OtherRun();
  // The run that another process plays: its number there, 0 for the machine's own.
  explicit OtherRun(int number);
  static int number();
  ~OtherRun();
  OtherRun(const OtherRun&) = delete;
  OtherRun& operator=(const OtherRun&) = delete;

 private:
  unsigned char before_;
};

// Stage that two processes reach in turns.
class Stage {
 public:
  void reach(int stage) { at_ = stage; }
  void wait_for(int stage) const {
    end_within(20);
    while (at_ < stage)
      sleep_us(100);
    end_within(0);
  }

 private:
  std::atomic<int> at_ = 0;
};

// Leaves the files of "file" to be read but not written: by other users, and by their owner, who has
// them open at that time.
void restrict_to_reading(bool restricted);

// Amount of work: little, or much with --long.
int amount(int in_short, int in_long);

struct TortureTest : testing::Test {
  WorkDirectory directory;
};

}  // namespace marigold::inner::test
