// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/support.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

namespace marigold::inner::test {

namespace {

// Returns TMPDIR, or a directory in memory if there is one: the tests sync most of their files.
std::string parent_of_work() {
  const std::string memory = "/dev/shm";
  const bool said = std::getenv("TMPDIR") != nullptr;
  std::error_code none;
  return !said && std::filesystem::is_directory(memory, none)
             ? memory
             : std::filesystem::temp_directory_path().string();
}

}  // namespace

WorkDirectory::WorkDirectory() : WorkDirectory(parent_of_work()) {}

WorkDirectory::WorkDirectory(const std::string& parent) {
  std::random_device random;
  do {
    path = parent + "/marigold-test-" + std::to_string(random());
  } while (!std::filesystem::create_directory(path));
  std::filesystem::current_path(path);
}

WorkDirectory::~WorkDirectory() {
  std::filesystem::current_path(std::filesystem::temp_directory_path());
  std::error_code left;  // a process that a failed test has left behind may have a file open
  std::filesystem::remove_all(path, left);
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

void expect_runs(const std::string& program, std::initializer_list<Finished> rows) {
  for (const Finished& expected : rows) {
    const Finished run = run_shell(kWithoutShell + program + " " + expected.command_line);
    EXPECT_EQ(run.out, expected.out) << run.command_line;
    EXPECT_EQ(run.err, expected.err) << run.command_line;
    EXPECT_EQ(run.status, expected.status) << run.command_line;
  }
}

std::string read_file(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

}  // namespace marigold::inner::test
