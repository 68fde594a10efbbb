// SPDX-License-Identifier: GPL-3.0-or-later
// What a command writes a piece at a time: to standard output, or to a file that is put in place
// when it is whole.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/common/new_files.h"

namespace marigold {

class OutputFile {
 public:
  // Empty: standard output. What is no regular file (a device, a pipe) is written to as it is.
  // False with the reason.
  bool open(const std::string& path, std::string& reason);

  // Takes bytes, which reach the file sooner or later.
  bool write(std::string_view bytes, std::string& reason);

  // Nothing more comes. Without this a new file is as if it had never been begun.
  bool finish(std::string& reason);

 private:
  bool fail(int error, std::string& reason) const;
  bool flush(std::string& reason);

  std::string path_;
  std::unique_ptr<NewFiles> fresh_;
  FileWriter file_;
  std::string pending_;
};

}  // namespace marigold
