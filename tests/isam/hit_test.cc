// SPDX-License-Identifier: GPL-3.0-or-later
// Pages that cannot be had when the engine touches them: somebody cuts files while they are open,
// or the disk is full although the space was reserved. The engine returns an error each time, never
// dies of a signal, and harms no other process.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "runtime/isam/local/file.h"
#include "tests/isam/support.h"
#include "tests/support/posix/fork.h"

namespace marigold::inner::test {
namespace {

constexpr int kNumbers = 200;
constexpr int kNoSuchStep = 2;  // exit status of a process that does not reach the step

long steps_left = 0;
void (*at_step)() = nullptr;

struct HitTest : TortureTest {
  HitTest() : start(some_contents(kNumbers, 3)) {
    build_wide("start", start);
    isam::change_step_hook = [] {
      if (--steps_left == 0) at_step();
    };
  }
  ~HitTest() override { isam::change_step_hook = nullptr; }

  // Expects another process to find these records in the file that is open here.
  static void expect_elsewhere(const Contents& expected) {
    const auto look = [&] {
      alarm(10);  // limits the wait
      expect_holds("file", expected);
    };
    EXPECT_EQ(run_forked(look), 0);
  }

  Contents start;
};

// ---- Files that are cut

struct Cut {
  const char* name;
  std::uintmax_t length;
};
Cut cut;

void cut_file() {
  std::filesystem::resize_file(cut.name, cut.length);
}

// Each answer is right or 105.
void use_cut_file(int file, const Contents& expected) {
  std::string record(kWideRecord, '\0');
  for (const auto& [number, right] : expected) {
    isst_int4(number, record.data());
    const int error = error_of(ISREAD(file, record.data(), kIsEqual));
    EXPECT_TRUE(error == kIsBadFile || (error == 0 && record == right)) << error;
  }
  int error = error_of(ISREAD(file, record.data(), kIsFirst));
  for (; error == 0; error = error_of(ISREAD(file, record.data(), kIsNext)))
    EXPECT_EQ(record, expected.at(isld_int4(record.data())));
  EXPECT_TRUE(error == kIsBadFile || error == kIsEndOfFile) << error;
}

TEST_F(HitTest, AFileThatIsCutIsABadOne) {
  const Cut cuts[] = {{"file.idx", 0},     {"file.idx", 4096}, {"file.idx", 30'001},
                      {"file.dat", 0},     {"file.dat", 4096}, {"file.dat", 20'001},
                      {"file.idx", 60'000}};
  for (const Cut& row : cuts) {
    cut = row;
    SCOPED_TRACE(std::string(row.name) + " cut to " + std::to_string(row.length));
    for (const int mode : {kIsInput | kIsManualLock, kSharedMode, kExclusiveMode}) {
      copy_pair("start", "file");
      const auto use = [&] {
        alarm(10);
        const int file = ISOPEN("file", mode);
        cut_file();
        use_cut_file(file, start);
        const int closed = error_of(ISCLOSE(file));
        EXPECT_TRUE(closed == kIsBadFile || closed == 0) << closed;
        // The cut part cannot be read, so the whole file is refused.
        EXPECT_EQ(error_of(ISOPEN("file", mode)), kIsBadFile);
      };
      EXPECT_EQ(run_forked(use), 0) << mode;
    }
  }
}

TEST_F(HitTest, AFileThatIsCutWithinAChangeIsABadOne) {
  const Cut cuts[] = {{"file.idx", 0}, {"file.idx", 4096}, {"file.dat", 0}, {"file.dat", 4096}};
  const auto operations = random_operations(1, 5, kNumbers);
  at_step = cut_file;
  int hits = 0;
  for (const Cut& row : cuts) {
    cut = row;
    for (long step = 1; step < 1000; step += amount(3, 1), ++hits) {
      SCOPED_TRACE(std::string(row.name) + " at step " + std::to_string(step));
      copy_pair("start", "file");
      const auto use = [&] {
        alarm(10);
        const int file = ISOPEN("file", kSharedMode);
        steps_left = step;
        Contents contents = start;
        for (const Operation& operation : operations) {
          Contents after = contents;
          const bool right = apply(operation, after);
          const int error = error_of(perform(operation, file));
          if (steps_left <= 0) {
            EXPECT_TRUE(error == kIsBadFile || error == 0) << error;
            if (error == 0) contents = after;
            break;
          }
          EXPECT_EQ(error == 0, right) << error;
          contents = after;
        }
        if (steps_left > 0) _exit(kNoSuchStep);
        // No process waits for this dead writer.
        EXPECT_EQ(run_forked([&] {
                    alarm(5);
                    EXPECT_EQ(error_of(ISOPEN("file", kSharedMode)), kIsBadFile);
                  }),
                  0);
        use_cut_file(file, contents);
        const int closed = error_of(ISCLOSE(file));
        EXPECT_TRUE(closed == kIsBadFile || closed == 0) << closed;
      };
      const int status = run_forked(use);
      if (status == kNoSuchStep) break;
      ASSERT_EQ(status, 0);
    }
  }
  EXPECT_GT(hits, 30);
}

TEST_F(HitTest, AFileThatIsCutWhileItsKeysAreMadeIsABadOne) {
  const KeyDescription later{1, 1, {{{200, 20, kIsCharacters}}}};
  at_step = cut_file;
  for (const Cut& row : {Cut{"file.idx", 0}, Cut{"file.idx", 8192}, Cut{"file.dat", 4096}}) {
    cut = row;
    int hits = 0;
    for (long step = 1, status = 0; status == 0; step += amount(3, 1), ++hits) {
      copy_pair("start", "file");
      const auto use = [&] {
        alarm(10);
        const int file = ISOPEN("file", kExclusiveMode);
        steps_left = step;
        const int error = error_of(ISADDINDEX(file, later));
        if (steps_left > 0) _exit(kNoSuchStep);
        EXPECT_TRUE(error == kIsBadFile || error == 0) << error;
        ISCLOSE(file);
      };
      status = run_forked(use);
      ASSERT_TRUE(status == 0 || status == kNoSuchStep)
          << status << " " << row.name << " cut to " << row.length << " at step " << step;
    }
    EXPECT_GT(hits, 5);
  }
}

// ---- A full disk, played: pages that cannot be stored to, and the signal that follows

bool is_for_long = false;

template <typename Each>
void each_view(Each each) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned long from = 0;
    unsigned long to = 0;
    const bool is_ours = line.ends_with(".idx") || line.ends_with(".dat");
    if (is_ours && std::sscanf(line.c_str(), "%lx-%lx", &from, &to) == 2)
      each(reinterpret_cast<void*>(from), to - from);
  }
}

void fill_disk() {
  each_view([](void* at, std::size_t length) { mprotect(at, length, PROT_READ); });
}
void make_space() {
  each_view([](void* at, std::size_t length) { mprotect(at, length, PROT_READ | PROT_WRITE); });
}

void on_refused_store(int, siginfo_t* info, void* context) {
  if (!is_for_long) make_space();
  struct sigaction bus {};
  sigaction(SIGBUS, nullptr, &bus);
  info->si_signo = SIGBUS;
  info->si_code = BUS_ADRERR;
  bus.sa_sigaction(SIGBUS, info, context);
}

void refuse_stores() {
  struct sigaction action {};
  action.sa_sigaction = on_refused_store;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigaction(SIGSEGV, &action, nullptr);
}

// Either 28 and everything is as before, or the change was done.
void expect_refused(int file, const Operation& operation, Contents& contents) {
  Contents after = contents;
  const bool is_right = apply(operation, after);
  const int error = error_of(perform(operation, file));
  EXPECT_TRUE(error == ENOSPC || (error == 0) == is_right) << error;
  if (error == 0) contents = after;
}

// The disk is full from this step on, or for one store only.
void use_full_disk(int mode, long step, const Contents& start) {
  alarm(20);  // limits the wait
  refuse_stores();
  const auto others_find = [&](const Contents& expected) {
    if (mode == kSharedMode) HitTest::expect_elsewhere(expected);
  };
  const auto operations = random_operations(2, 5, kNumbers);
  const int file = ISOPEN("file", mode);
  Contents contents = start;
  contents[5000] = wide_record(5000, 1);
  EXPECT_EQ(ISWRITE(file, contents[5000].data()), 0);
  steps_left = step;
  if (step == 0) fill_disk();
  for (const Operation& operation : operations) {
    const bool is_last = steps_left <= 0;
    expect_refused(file, operation, contents);
    if (is_last || steps_left <= 0) break;
  }
  if (steps_left > 0) _exit(kNoSuchStep);
  others_find(contents);
  make_space();
  for (const Operation& operation : operations)
    EXPECT_EQ(perform(operation, file) == 0, apply(operation, contents)) << iserrno;
  EXPECT_EQ(verify(file), "");
  others_find(contents);
  EXPECT_EQ(error_of(ISCLOSE(file)), 0);
  HitTest::expect_elsewhere(contents);
}

TEST_F(HitTest, AStoreThatTheDiskHasNoRoomForIsAnError) {
  at_step = fill_disk;
  for (const auto& [mode, lasts] : {std::pair{kSharedMode, false},
                                    {kSharedMode, true},
                                    {kExclusiveMode, false},
                                    {kExclusiveMode, true}}) {
    is_for_long = lasts;
    int refused = 0;
    for (long step = 0, status = 0; status == 0; step += amount(5, 1), ++refused) {
      copy_pair("start", "file");
      status = run_forked([&] { use_full_disk(mode, step, start); });
      ASSERT_TRUE(status == 0 || status == kNoSuchStep)
          << mode << (lasts ? " for long" : " once") << " from step " << step;
    }
    EXPECT_GT(refused, 15);
  }
}

// A reader stores nothing.
TEST_F(HitTest, OpeningReadingAndClosingNeedNoSpace) {
  for (const int mode : {kIsInput | kIsManualLock, kSharedMode, kExclusiveMode}) {
    const auto read_all = [&] {
      alarm(10);
      is_for_long = true;
      refuse_stores();
      file_fault_hook = [](FileCall) {
        fill_disk();
        return 0;
      };
      const int file = ISOPEN("start", mode);
      EXPECT_GE(file, 0) << iserrno;
      std::string record(kWideRecord, '\0');
      std::size_t count = 0;
      for (int next = kIsFirst; ISREAD(file, record.data(), next) == 0; next = kIsNext, ++count)
        EXPECT_EQ(record, start.at(isld_int4(record.data())));
      EXPECT_EQ(iserrno, kIsEndOfFile);
      EXPECT_EQ(count, start.size());
      EXPECT_EQ(iscount(file), static_cast<std::int64_t>(count));
      EXPECT_EQ(error_of(ISCLOSE(file)), 0);
    };
    EXPECT_EQ(run_forked(read_all), 0) << mode;
  }
}

// ---- A full disk

// Changes to a small file system that is mounted nowhere: a changed root directory allows no other
// one.
bool enter_small_disk() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (user != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
  }
  const int disk = fsopen("tmpfs", FSOPEN_CLOEXEC);
  if (disk < 0) return false;
  fsconfig(disk, FSCONFIG_SET_STRING, "size", "4m", 0);
  fsconfig(disk, FSCONFIG_CMD_CREATE, nullptr, nullptr, 0);
  return fchdir(fsmount(disk, FSMOUNT_CLOEXEC, 0)) == 0;
}

void punch(const char* name, std::uintmax_t from, std::uintmax_t to) {
  const int file = open(name, O_RDWR | O_CLOEXEC);
  EXPECT_EQ(fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(from),
                      static_cast<off_t>(to - from)),
            0);
  close(file);
}

void take_all_space() {
  const int file = open("filler", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string page(4096, 'x');
  while (write(file, page.data(), page.size()) > 0) {
  }
  close(file);
}

constexpr int kNotMounted = 77;

void write_on_a_full_disk() {
  if (!enter_small_disk()) _exit(kNotMounted);
  alarm(20);
  Contents contents = some_contents(kNumbers, 3);
  build_wide("file", contents);
  const int file = ISOPEN("file", kSharedMode);
  const std::string first = wide_record(1'000, 1);
  EXPECT_EQ(ISWRITE(file, first.data()), 0);
  contents[1'000] = first;
  // Punches holes like those of a sparse copy: blocks of zeros have no space. The undo area holds
  // nothing of value.
  isam::IndexHeader header;
  std::memcpy(&header, read_file("file.idx").data(), sizeof header);
  const auto pages = header.contents.page_count * isam::kPageSize;
  const auto undo_end = (isam::kUndoStart + header.undo_pages) * isam::kPageSize;
  const auto slots = isam::kDataStart + header.contents.slot_count * (kWideRecord + 16);
  punch("file.idx", 4096, undo_end / 4096 * 4096);
  punch("file.idx", (pages + 4095) / 4096 * 4096, std::filesystem::file_size("file.idx"));
  punch("file.dat", (slots + 4095) / 4096 * 4096, std::filesystem::file_size("file.dat"));
  take_all_space();
  int refused = 0;
  const auto write_some = [&](int from) {
    for (int number = from; number < from + 40; ++number) {
      const std::string record = wide_record(number, 1);
      const int error = error_of(ISWRITE(file, record.data()));
      EXPECT_TRUE(error == 0 || error == ENOSPC) << error;
      if (error == 0) contents[number] = record;
      refused += error == 0 ? 0 : 1;
    }
  };
  write_some(2'000);
  EXPECT_GT(refused, 0);
  EXPECT_EQ(verify(file), "");
  HitTest::expect_elsewhere(contents);
  std::filesystem::remove("filler");
  const std::string last = wide_record(4'000, 1);
  EXPECT_EQ(run_forked([&] {
              const int own = ISOPEN("file", kSharedMode);
              EXPECT_EQ(error_of(ISWRITE(own, last.data())), 0);
              EXPECT_EQ(error_of(ISCLOSE(own)), 0);
            }),
            0);
  contents[4'000] = last;
  refused = 0;
  write_some(3'000);
  EXPECT_EQ(refused, 0);
  expect_sound_and_close(file);
  HitTest::expect_elsewhere(contents);
}

TEST_F(HitTest, AFullDiskIsAnErrorAndReadingGoesOn) {
  const int status = run_forked(write_on_a_full_disk);
  if (status == kNotMounted)
    GTEST_SKIP() << "no file system can be mounted here; the played full disk stands for it";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace marigold::inner::test
