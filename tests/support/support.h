// What several tests need: a directory of their own, text databases by an independent writer, and
// running a program.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace marigold::test {

// Makes a new directory the current one; gone with all that is in it at the end of the test.
class WorkDirectory {
 public:
  WorkDirectory();
  ~WorkDirectory();
  WorkDirectory(const WorkDirectory&) = delete;
  WorkDirectory& operator=(const WorkDirectory&) = delete;

 private:
  std::string path_;
};

using Records = std::vector<std::pair<std::string, std::string>>;

// Writes PATH.pag and PATH.dir with Perl's own interface to the store, and the directories above
// them. Keys and values get their zero byte; the raw variant stores them as they are.
void write_textdb(const std::string& path, Records records);
void write_raw_textdb(const std::string& path, const Records& records);

void write_file(const std::string& path, const std::string& content);
std::string read_file(const std::string& path);

struct Finished {
  int status = -1;  // exit status; 128 + the signal's number when one ended it
  std::string out;
  std::string err;
};

// Runs a shell command line in the current directory. Output that the command line redirects is not
// in the result.
Finished run_shell(const std::string& command_line);

}  // namespace marigold::test
