// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace marigold::inner::test {

namespace {

// Returns TMPDIR, or a directory in memory if there is one: the tests sync most of their files.
std::string parent_of_work() {
  const char* const memory = "/dev/shm";
  const bool said = std::getenv("TMPDIR") != nullptr;
  return !said && access(memory, W_OK) == 0 ? memory
                                            : std::filesystem::temp_directory_path().string();
}

}  // namespace

WorkDirectory::WorkDirectory() : WorkDirectory(parent_of_work()) {}

WorkDirectory::WorkDirectory(const std::string& parent) {
  path = parent + "/marigold-test-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) std::abort();
  std::filesystem::current_path(path);
}

WorkDirectory::~WorkDirectory() {
  std::filesystem::current_path("/");
  std::filesystem::remove_all(path);
}

void write_textdb(const std::string& path, const Records& records, const std::string& behind) {
  std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
  std::ostringstream packed;
  for (const auto& [key, value] : records) {
    for (const std::string& bytes : {key, value})
      packed << std::setw(10) << bytes.size() + behind.size() << bytes << behind;
  }
  write_file(".records", packed.str());
  const Finished perl = run_shell(
      "perl -MNDBM_File -MFcntl -e 'tie(my %db, \"NDBM_File\", shift, O_RDWR|O_CREAT, 0666) or die; "
      "local $/; %db = unpack(\"(A10/a)*\", <STDIN>)' '" +
      path + "' <.records");
  EXPECT_EQ(perl.status, 0) << perl.err;
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string read_file(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

bool is_mapped(const std::string& path) {
  const std::string line_end = std::filesystem::canonical(path).string() + "\n";
  return read_file("/proc/self/maps").find(line_end) != std::string::npos;
}

Finished run_shell(const std::string& command_line) {
  const int result = std::system(("{ " + command_line + "\n} >.out 2>.err").c_str());
  const int status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
  return {command_line, read_file(".out"), read_file(".err"), status};
}

void expect_runs(const std::string& program, std::initializer_list<Finished> rows) {
  for (const Finished& expected : rows) {
    // Without a shell in between, which would report a killed program in words of its own.
    const Finished run = run_shell("exec " + program + " " + expected.command_line);
    EXPECT_EQ(run.out, expected.out) << run.command_line;
    EXPECT_EQ(run.err, expected.err) << run.command_line;
    EXPECT_EQ(run.status, expected.status) << run.command_line;
  }
}

}  // namespace marigold::inner::test
