// SPDX-License-Identifier: GPL-3.0-or-later
// Output that is written a piece at a time: to standard output, or to a file that is put in place
// when it is whole.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "runtime/core/new_files.h"

namespace marigold::inner {

class OutputFile {
 public:
  // An empty path is standard output. A path that exists and is no regular file (a device, a pipe)
  // is written to as it is. Returns false with the reason.
  bool open(const std::string& path, std::string& reason);

  // Takes bytes and writes them at the latest in finish. Returns false with the reason.
  bool write(std::string_view bytes, std::string& reason);

  // Writes the rest and puts a new file in place. Without this call a new file never appears.
  // Returns false with the reason.
  bool finish(std::string& reason);

 private:
  bool fail(int error, std::string& reason) const;
  bool flush(std::string& reason);

  std::string path_;
  std::unique_ptr<NewFiles> fresh_;
  FileWriter file_;
  std::string pending_;
};

// Writes a file whole, in one step; an empty path and a device as in OutputFile. Returns false with
// the reason.
bool write_file(const std::string& path, std::string_view bytes, std::string& reason);

}  // namespace marigold::inner
