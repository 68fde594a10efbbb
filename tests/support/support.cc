#include "tests/support/support.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace marigold::test {

WorkDirectory::WorkDirectory() {
  std::string path = (std::filesystem::temp_directory_path() / "marigold-test-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) std::abort();
  path_ = path;
  std::filesystem::current_path(path_);
}

WorkDirectory::~WorkDirectory() {
  std::filesystem::current_path("/");
  std::filesystem::remove_all(path_);
}

void write_textdb(const std::string& path, Records records) {
  for (auto& [key, value] : records) {
    key.push_back('\0');
    value.push_back('\0');
  }
  write_raw_textdb(path, records);
}

void write_raw_textdb(const std::string& path, const Records& records) {
  const auto directory = std::filesystem::path(path).parent_path();
  if (!directory.empty()) std::filesystem::create_directories(directory);
  const std::string command =
      "perl -MNDBM_File -MFcntl -e '"
      "tie(my %db, \"NDBM_File\", shift, O_RDWR|O_CREAT, 0666) or die; local $/; "
      "my @r = unpack(\"(N/a)*\", <STDIN>); while (@r) { my $k = shift @r; $db{$k} = shift @r }' '" +
      path + "'";
  std::FILE* perl = popen(command.c_str(), "w");
  ASSERT_NE(perl, nullptr);
  const auto put = [perl](const std::string& text) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      std::fputc(static_cast<int>(text.size() >> shift & 0xFF), perl);
    }
    std::fwrite(text.data(), 1, text.size(), perl);
  };
  for (const auto& [key, value] : records) {
    put(key);
    put(value);
  }
  ASSERT_EQ(pclose(perl), 0);
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string read_file(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

Finished run_shell(const std::string& command_line) {
  const int result = std::system(("{ " + command_line + "\n} >.out 2>.err").c_str());
  Finished finished;
  finished.status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
  finished.out = read_file(".out");
  finished.err = read_file(".err");
  return finished;
}

}  // namespace marigold::test
