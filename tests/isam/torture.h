// What the torture tests share. They are short by default; with --long they run for minutes and say
// how much they did.
#pragma once

#include <string>

#include "tests/isam/support.h"

namespace marigold::test {

// How much to do: little, or much with --long.
int amount(int in_short, int in_long);

// Memory that outlives the processes that share it, all zero.
void* shared_memory(std::size_t bytes);
template <typename T>
T& shared() {
  return *new (shared_memory(sizeof(T))) T{};
}

void copy_pair(const std::string& from, const std::string& to);

// In memory where there is such a place: for many small files that are soon gone.
struct TortureTest : testing::Test {
  WorkDirectory directory{std::filesystem::is_directory("/dev/shm")
                              ? "/dev/shm"
                              : std::filesystem::temp_directory_path().string()};
};

}  // namespace marigold::test
