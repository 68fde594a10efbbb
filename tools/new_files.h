// Files that are written under temporary names and put in place when they are whole, so that nobody
// ever sees half of one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marigold {

// While it lives, signals that ask the process to end wait. At its end the temporary files that
// were not put in place are removed.
class NewFiles {
 public:
  // The files will stand at `path` and a suffix each. Their temporary names are in the same
  // directory and differ from run to run: what a killed run has left behind is in nobody's way.
  explicit NewFiles(const std::string& path);
  ~NewFiles();
  NewFiles(const NewFiles&) = delete;
  NewFiles& operator=(const NewFiles&) = delete;

  // One more file. The caller writes it at temporary_path() and the suffix.
  void add(std::string_view suffix);
  [[nodiscard]] const std::string& temporary_path() const { return temporary_; }

  // Makes the missing directories of the path.
  bool make_directories(std::string& reason) const;

  // Puts the files in place, in the order in which they were added, each in one step and after its
  // content has reached the disk. A file that was there before gives its permissions to the new
  // one. False with the reason when one of them cannot be, or a signal has asked to stop; those
  // before it are in place then.
  bool put_in_place(std::string& reason);

 private:
  bool replace(const std::string& suffix, std::string& reason) const;

  std::string path_;
  std::string temporary_;
  std::vector<std::string> suffixes_;
};

// Writes a file whole, in one step. What is no regular file (a device, a pipe) is written to as it
// is. False with the reason.
bool write_file(const std::string& path, std::string_view bytes, std::string& reason);

// "PATH: " and the text of a system error number.
std::string file_error(const std::string& path, int error);

}  // namespace marigold
