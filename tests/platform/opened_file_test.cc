// SPDX-License-Identifier: GPL-3.0-or-later
// Signals of the system that concern opened files become error numbers; other signals stay signals.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <span>
#include <thread>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/missing_page.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/spill_file.h"
#include "runtime/platform/worker.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

// Runs the body in a process of its own, which must end with 0.
template <typename Body>
void expect_in_a_process(Body body) {
  const auto run = [&] {
    body();
    std::_Exit(testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(OpenedFileTest, AFileThatMayNotBeLongerIsAnError) {
  const WorkDirectory directory;
  expect_in_a_process([] {
    RecordFile records;
    FileWriter writer;
    MappedFile mapped;
    EXPECT_EQ(records.create("records") + writer.make("writer") + mapped.create("mapped"), 0);
    const rlimit sizes{.rlim_cur = 10'000, .rlim_max = RLIM_INFINITY};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &sizes), 0);
    const std::string bytes(6'000, 'x');
    EXPECT_EQ(records.write(0, bytes) + writer.write(bytes) + mapped.reserve(9'000), 0);
    EXPECT_EQ(records.write(10'000, bytes), EFBIG);
    EXPECT_EQ(writer.write(bytes), EFBIG);
    EXPECT_EQ(file_append("writer", bytes), EFBIG);
    SpillFile spilled;
    EXPECT_EQ(spilled.make("data"), 0);
    EXPECT_EQ(spilled.write(10'000, std::as_bytes(std::span(bytes))), EFBIG);
    EXPECT_EQ(mapped.reserve(10'001), EFBIG);
    EXPECT_EQ(std::filesystem::file_size("mapped"), 9'000U);
    // A program started from here is still ended by the signal.
    EXPECT_NE(run_shell("sh -c 'head -c 20000 /dev/zero > long'").status, 0);
  });
}

std::atomic<int> signals_of_owner = 0;
thread_local bool is_owner = false;

TEST(WorkerTest, SignalsStayWithTheOwner) {
  is_owner = true;
  const auto before = std::signal(SIGUSR1, [](int) { signals_of_owner += is_owner ? 1 : 100; });
  {
    Worker worker;
    for (int i = 0; i < 100; ++i)
      worker.run([] { std::this_thread::yield(); });
    kill(getpid(), SIGUSR1);
  }
  EXPECT_EQ(signals_of_owner, 1);
  std::signal(SIGUSR1, before);
}

// Returns a page of a mapped file that no longer exists.
volatile char* foreign_page() {
  write_file("foreign", "x");
  const int file = open("foreign", O_RDONLY | O_CLOEXEC);
  void* memory = mmap(nullptr, 8192, PROT_READ, MAP_SHARED, file, 0);
  return static_cast<volatile char*>(memory) + 4096;
}

TEST(OpenedFileTest, BusErrorsOfOthersAreLeftToThem) {
  const WorkDirectory directory;
  signal(SIGBUS, SIG_DFL);  // a sanitizer's handler would report
  const auto with_a_mapped_file = [](const std::function<void()>& body) {
    MappedFile mapped;
    EXPECT_EQ(mapped.create("mapped") + mapped.reserve(8192) + mapped.map(8192), 0);
    body();
    std::_Exit(9);
  };
  const std::function<void()> touch = [] { static_cast<void>(*foreign_page()); };
  EXPECT_EXIT(with_a_mapped_file(touch), testing::KilledBySignal(SIGBUS), "");
  EXPECT_EXIT(with_a_mapped_file([] { raise(SIGBUS); }), testing::KilledBySignal(SIGBUS), "");
  const auto with_a_handler = [&] {
    signal(SIGBUS, [](int) { std::_Exit(3); });
    with_a_mapped_file(touch);
  };
  EXPECT_EXIT(with_a_handler(), testing::ExitedWithCode(3), "");
}

TEST(OpenedFileTest, AMissingPageIsFilledInOrLeft) {
  const WorkDirectory directory;
  expect_in_a_process([] {
    MappedFile file;
    EXPECT_EQ(file.create("file") + file.reserve(12'288) + file.map(12'288), 0);
    std::byte* const last = file.memory() + 8'192;
    *last = std::byte{7};
    std::filesystem::resize_file("file", 4'097);
    EXPECT_FALSE(file.was_hit());
    *last = std::byte{8};
    EXPECT_TRUE(file.was_hit());
    EXPECT_EQ(file.sync(), EIO);
    EXPECT_EQ(file.view_again(), ENODATA);
    // The guard leaves at the touch, repeatedly, also from within.
    for (int round = 0; round < 2; ++round) {
      int steps = 0;
      auto inner = [&] {
        ++steps;
        *last = std::byte{9};
        ++steps;
      };
      auto outer = [&] {
        EXPECT_FALSE(run_until_missing_page(inner));
        file.view_again();
        *last = std::byte{9};
        ++steps;
      };
      EXPECT_FALSE(run_until_missing_page(outer));
      EXPECT_EQ(steps, 1);
      EXPECT_EQ(file.view_again(), ENODATA);
    }
    std::filesystem::resize_file("file", 12'288);
    auto touch = [&] { *last = std::byte{7}; };
    EXPECT_TRUE(run_until_missing_page(touch));
    EXPECT_EQ(file.sync(), 0);
    EXPECT_EQ(read_file("file")[8'192], 7);
  });
}

}  // namespace
}  // namespace marigold::inner::test
