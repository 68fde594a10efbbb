// What the torture tests share. They are short by default; with --long they run for minutes and say
// how much they did.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/isam/support.h"
#include "tests/support/support.h"

namespace marigold::test {

// How much to do: little, or much with --long.
int amount(int in_short, int in_long);

// Runs a body in a process of its own; its exit status, or minus the signal that ended it.
int run_process(const std::function<void()>& body);

// Memory that outlives the processes that share it, all zero.
void* shared_memory(std::size_t bytes);
template <typename T>
T& shared() {
  return *new (shared_memory(sizeof(T))) T{};
}

void copy_pair(const std::string& from, const std::string& to);

// One operation after another, with a list of what must come of it.
struct Operation {
  bool write = false;
  std::int32_t number = 0;
  std::uint32_t version = 0;
};
std::vector<Operation> random_operations(unsigned seed, int count, std::int32_t numbers);
// What the operation does to the list (true: it succeeds), and to the file (the engine's result).
bool apply(const Operation& operation, Contents& contents);
int perform(const Operation& operation, int file);
Contents some_contents(std::int32_t numbers, unsigned seed);

struct TortureTest : testing::Test {
  WorkDirectory directory{scratch_directory()};
};

}  // namespace marigold::test
