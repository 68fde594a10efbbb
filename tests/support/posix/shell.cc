// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of support.h that need a shell, or the files of the system.
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <sstream>

#include "tests/support/support.h"

namespace marigold::inner::test {

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

bool is_mapped(const std::string& path) {
  const std::string line_end = std::filesystem::canonical(path).string() + "\n";
  return read_file("/proc/self/maps").find(line_end) != std::string::npos;
}

bool names_lock_holders() {
  return true;
}

bool is_private(const std::string& path) {
  constexpr auto kOthers = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
  return (std::filesystem::status(path).permissions() & kOthers) == std::filesystem::perms::none;
}

void make_older(const std::string& path) {
  const auto now = std::filesystem::file_time_type::clock::now();
  std::filesystem::last_write_time(path, now - std::chrono::minutes(2));
}

void place_program(const std::string& path, const std::string& name) {
  std::filesystem::create_symlink(path, name);
}

Finished run_shell(const std::string& command_line) {
  const int result = std::system(("{ " + command_line + "\n} >.out 2>.err").c_str());
  const int status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
  return {command_line, read_file(".out"), read_file(".err"), status};
}

// A shell in between would report a killed program in words of its own.
const char* const kWithoutShell = "exec ";

}  // namespace marigold::inner::test
