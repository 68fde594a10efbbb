// What the torture tests share. They are short by default; with --long they run for minutes and say
// how much they did.
#pragma once

#include <sys/mman.h>

#include <string>

#include "tests/isam/support.h"

namespace marigold::test {

// How much to do: little, or much with --long.
int amount(int in_short, int in_long);

// Something that processes share and that outlives them.
template <typename T>
T& shared() {
  void* memory =
      mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return *new (memory) T{};
}

void copy_pair(const std::string& from, const std::string& to);

// In memory where there is such a place: for many small files that are soon gone.
struct TortureTest : testing::Test {
  WorkDirectory directory{std::filesystem::is_directory("/dev/shm")
                              ? "/dev/shm"
                              : std::filesystem::temp_directory_path().string()};
};

}  // namespace marigold::test
