// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/isam/support.h"

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string_view>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/isam/local/layout.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner::test {

namespace {

constexpr const char* kCluster = "MARIGOLD_TEST_CLUSTER";

}  // namespace

std::string at(const std::string& name) {
  const char* const directory = std::getenv(kCluster);
  return directory == nullptr ? name : cluster_join(directory, name);
}

void test_in_cluster(const std::string& directory) {
  if (directory.empty())
    unsetenv(kCluster);
  else
    setenv(kCluster, directory.c_str(), 1);
}

int build(int mode) {
  return ISBUILD(at("file").c_str(), 8, kPrimary, mode);
}

std::string record(std::int32_t number, char letter) {
  std::string bytes(8, letter);
  isst_int4(number, bytes.data());
  return bytes;
}

namespace {

int step(int file, char what, std::string& bytes) {
  constexpr std::string_view kReads = "flnpceg";  // by their modes; a capital letter locks
  const int lock = std::isupper(static_cast<unsigned char>(what)) != 0 ? kIsLock : 0;
  const auto small = static_cast<char>(std::tolower(static_cast<unsigned char>(what)));
  if (what == 'w') return ISWRITE(file, bytes.data());
  if (what == 'd') return ISDELETE(file, bytes.data());
  if (what == 'k') return ISSTART(file, kLetter, 0, bytes.data(), kIsEqual);
  if (what == 'r') return ISRELEASE(file);
  return ISREAD(file, bytes.data(), static_cast<int>(kReads.find(small)) | lock);
}

}  // namespace

void play(int file, const std::string& steps) {
  std::istringstream words(steps);
  std::string played;
  for (std::string word; words >> word;) {
    word = word.substr(0, word.find('='));
    std::int32_t number = 0;
    char letter = 'a';
    std::sscanf(word.c_str() + 1, "%d%c", &number, &letter);
    std::string bytes = record(number, letter);
    const bool reads = std::string_view("wdkr").find(word[0]) == std::string_view::npos;
    const int error = error_of(step(file, word[0], bytes));
    played += (played.empty() ? "" : " ") + word;
    if (error != 0 || reads) played += '=';
    if (error != 0) played += std::to_string(error);
    if (error == 0 && reads) played += std::to_string(isld_int4(bytes.data())) + bytes[4];
  }
  EXPECT_EQ(played, steps);
}

void play_elsewhere(const std::string& steps) {
  const auto body = [](const std::string& played) {
    play(ISOPEN(at("file").c_str(), kSharedMode), played);
  };
  EXPECT_EQ(run_child(body, steps), 0);
}

std::string wide_record(std::int32_t number, std::uint32_t version) {
  std::mt19937 random(static_cast<unsigned>(number) * 7919U + version);
  std::string record(kWideRecord, '\0');
  isst_int4(number, record.data());
  // Equal and nearly equal texts stand side by side, and a node stores them in little space; other
  // texts between them need much.
  const char letter = static_cast<char>(random() % 2 == 0 ? 'a' + random() % 3 : random());
  record.replace(4, 200, std::string(190, letter) + std::to_string(1000000000 + random() % 40));
  for (std::size_t i = 204; i < record.size(); ++i)
    record[i] = static_cast<char>(random());
  return record;
}

void build_wide(const std::string& base, const Contents& contents) {
  const int file = ISBUILD(at(base).c_str(), kWideRecord, kWidePrimary, kExclusiveMode);
  ASSERT_GE(file, 0) << iserrno;
  ASSERT_EQ(ISADDINDEX(file, kWideText), 0) << iserrno;
  ASSERT_EQ(ISADDINDEX(file, kWideBoth), 0) << iserrno;
  for (const auto& [number, record] : contents)
    ASSERT_EQ(ISWRITE(file, record.data()), 0) << iserrno;
  ASSERT_EQ(ISCLOSE(file), 0) << iserrno;
}

std::string verify(int file) {
  std::vector<std::string> findings;
  if (ischeck(file, findings) != 0) return "check: " + std::to_string(iserrno) + "\n";
  std::string lines;
  for (const std::string& finding : findings)
    lines += finding + "\n";
  return lines;
}

std::string examine(const std::string& base, Contents& contents) {
  contents.clear();
  const int file = ISOPEN(at(base).c_str(), kSharedMode);
  if (file < 0) return "open: " + std::to_string(iserrno) + "\n";
  std::string result = verify(file);
  std::string record(kWideRecord, '\0');
  for (int mode = kIsFirst; ISREAD(file, record.data(), mode) == 0; mode = kIsNext)
    contents[isld_int4(record.data())] = record;
  if (iserrno != kIsEndOfFile) result += "read: " + std::to_string(iserrno) + "\n";
  if (ISCLOSE(file) != 0) result += "close: " + std::to_string(iserrno) + "\n";
  return result;
}

void expect_holds(const std::string& base, const Contents& contents, Place at) {
  const testing::ScopedTrace trace(at.file_name(), static_cast<int>(at.line()), base);
  Contents found;
  EXPECT_EQ(examine(base, found), "");
  EXPECT_TRUE(found == contents) << found.size() << " of " << contents.size();
}

void expect_sound_and_close(int file, Place at) {
  const testing::ScopedTrace trace(at.file_name(), static_cast<int>(at.line()), file);
  EXPECT_EQ(verify(file), "");
  EXPECT_EQ(error_of(ISCLOSE(file)), 0);
}

std::string read_first(int file, int lock) {
  std::string record(kWideRecord, '\0');
  EXPECT_EQ(error_of(ISREAD(file, record.data(), kIsFirst | lock)), 0);
  return record;
}

std::vector<Operation> random_operations(unsigned seed, int count, std::int32_t numbers) {
  std::mt19937 random(seed);
  std::vector<Operation> operations(static_cast<std::size_t>(count));
  constexpr std::array kOften = {Does::kWrite,   Does::kWrite,  Does::kWrite,
                                 Does::kReplace, Does::kDelete, Does::kDelete};
  for (auto& [what, number, version] : operations) {
    what = kOften[random() % kOften.size()];
    number = static_cast<std::int32_t>(random() % static_cast<unsigned>(numbers));
    version = static_cast<std::uint32_t>(random());
  }
  return operations;
}

bool apply(const Operation& operation, Contents& contents) {
  if (operation.what == Does::kDelete) return contents.erase(operation.number) > 0;
  const bool there = contents.contains(operation.number);
  if (there != (operation.what == Does::kReplace)) return false;
  contents[operation.number] = wide_record(operation.number, operation.version);
  return true;
}

int perform(Does what, int file, const std::string& record) {
  constexpr std::array kOperations = {ISWRITE, ISREPLACE, ISDELETE};
  return kOperations[static_cast<std::size_t>(what)](file, record.data());
}

Contents some_contents(std::int32_t numbers, unsigned seed) {
  Contents contents;
  for (const Operation& operation : random_operations(seed, 3 * numbers, numbers))
    apply(operation, contents);
  return contents;
}

void save(const char* path, const Contents& contents) {
  std::string bytes;
  for (const auto& [number, record] : contents)
    bytes += record;
  write_file(path, bytes);
}

Contents saved(const char* path) {
  const std::string bytes = read_file(path);
  Contents contents;
  for (std::size_t at = 0; at < bytes.size(); at += kWideRecord)
    contents[isld_int4(&bytes[at])] = bytes.substr(at, kWideRecord);
  return contents;
}

void copy_pair(const std::string& from, const std::string& to) {
  for (const char* suffix : {".dat", ".idx"})
    write_file(to + suffix, read_file(from + suffix));
}

void remove_pair(const std::string& base) {
  for (const char* suffix : {".dat", ".idx"})
    std::filesystem::remove(base + suffix);
}

void leave_without_indexes() {
  std::string index = read_file("file.idx");
  index[offsetof(isam::IndexHeader, state)] = isam::kStateRebuild;
  write_file("file.idx", index);
}

void die_at(long step) {
  static long steps_left;
  steps_left = step;
  isam::change_step_hook = [] {
    if (--steps_left == 0) die_now();
  };
}

void pass_for_own(const std::string& base) {
  const auto put_number = [&](const std::string& name, std::size_t offset) {
    FileIdentity identity;
    MappedFile file;
    ASSERT_EQ(file.open(name.c_str(), FileAccess::kRead), 0);
    ASSERT_EQ(file.identity(identity), 0);
    std::string bytes = read_file(name);
    if (bytes.size() < isam::kPageSize) return;
    std::memcpy(bytes.data() + offset, &identity.number, sizeof identity.number);
    write_file(name, bytes);
  };
  put_number(base + ".idx", offsetof(isam::IndexHeader, file_number));
  put_number(base + ".dat", isam::kDataMark + offsetof(isam::DataMark, file_number));
}

namespace {

unsigned char run_played = 0;  // 0: the machine's own

BootIdentity boot_identity_played() {
  BootIdentity identity{};
  identity.fill(std::byte{run_played});
  return identity;
}

void play_run(unsigned char number) {
  run_played = number;
  boot_identity_hook = number == 0 ? nullptr : boot_identity_played;
}

}  // namespace

OtherRun::OtherRun() : before_(run_played) {
  static unsigned char runs = 0;
  play_run(++runs == 0 ? ++runs : runs);
}

OtherRun::OtherRun(int number) : before_(run_played) {
  play_run(static_cast<unsigned char>(number));
}

OtherRun::~OtherRun() {
  play_run(before_);
}

int OtherRun::number() {
  return run_played;
}

void restrict_to_reading(bool restricted) {
  using std::filesystem::perms;
  for (const char* name : {"file.idx", "file.dat"})
    std::filesystem::permissions(name, restricted ? perms(0444) : perms(0644));
  std::filesystem::permissions(".", perms(0755));
}

int amount(int in_short, int in_long) {
  return is_long_run() ? in_long : in_short;
}

}  // namespace marigold::inner::test
