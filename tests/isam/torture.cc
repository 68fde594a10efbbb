#include "tests/isam/torture.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

namespace marigold::test {
namespace {

bool long_run = false;

}  // namespace

int amount(int in_short, int in_long) {
  return long_run ? in_long : in_short;
}

int run_process(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    body();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void* shared_memory(std::size_t bytes) {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  return memory;
}

void copy_pair(const std::string& from, const std::string& to) {
  for (const char* suffix : {".dat", ".idx"}) {
    std::filesystem::copy_file(from + suffix, to + suffix,
                               std::filesystem::copy_options::overwrite_existing);
  }
}

std::vector<Operation> random_operations(unsigned seed, int count, std::int32_t numbers) {
  std::mt19937 random(seed);
  std::vector<Operation> operations;
  for (int i = 0; i < count; ++i) {
    operations.push_back({random() % 5 < 3,
                          static_cast<std::int32_t>(random() % static_cast<unsigned>(numbers)),
                          static_cast<std::uint32_t>(random())});
  }
  return operations;
}

// What the operation does to the list; what it does to the file is its result.
bool apply(const Operation& operation, Contents& contents) {
  if (!operation.write) return contents.erase(operation.number) > 0;
  return contents.emplace(operation.number, test::wide_record(operation.number, operation.version))
      .second;
}

int perform(const Operation& operation, int file) {
  const std::string record = test::wide_record(operation.number, operation.version);
  return operation.write ? ISWRITE(file, record.data()) : ISDELETE(file, record.data());
}

Contents some_contents(std::int32_t numbers, unsigned seed) {
  Contents contents;
  for (const Operation& operation : random_operations(seed, 3 * numbers, numbers))
    apply(operation, contents);
  return contents;
}

}  // namespace marigold::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (int i = 1; i < argc; ++i)
    marigold::test::long_run |= std::strcmp(argv[i], "--long") == 0;
  return RUN_ALL_TESTS();
}
