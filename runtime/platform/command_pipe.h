// SPDX-License-Identifier: GPL-3.0-or-later
// A pipe to the standard input of a command that the system's command processor runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

// Destination of the command's standard output and standard error.
enum class CommandOutput {
  kPassedOn,   // the same streams as this process's
  kCollected,  // collected for take_output, up to kMostCommandOutput bytes
};
inline constexpr std::size_t kMostCommandOutput = 4096;

// Failures show in the exit status: a command that stops reading, or fails.
class CommandPipe {
 public:
  CommandPipe() = default;
  CommandPipe(CommandPipe&& other) noexcept;
  CommandPipe& operator=(CommandPipe&& other) noexcept;
  // Closes the pipe. Output that nobody has taken goes to standard error.
  ~CommandPipe();

  // Starts the command, after closing a running one. Returns 0, or the system's error number. A
  // program that the command processor does not find shows only in the exit status.
  int start(const char* command, CommandOutput output = CommandOutput::kPassedOn);
  [[nodiscard]] bool is_open() const { return input_.is_open(); }
  // Writes all bytes and waits while the command is slow to read them. Returns 0, or the system's
  // error number: EPIPE if the command has stopped reading, which never ends this process.
  int write(std::string_view bytes);
  // Ends the command's input and waits until the command ends. Returns its exit status as the
  // command processor reports it: 127 for a program that does not exist, 128 and more for a signal;
  // 0 if no command is open. Does not wait for processes that the command leaves in the background.
  int close();
  // Returns the output collected from the last command so far, both streams in the order of
  // arrival, and forgets it. The output is complete after close.
  std::string take_output();

 private:
  static constexpr std::intptr_t kNoProcess = -1;

  bool collect();
  void drop_output();
  void drop_output_end();

  FileHandle input_;  // the writing end of the command's input
  // The reading end of the command's output; not open if the output is passed on or has ended.
  // Processes that a command has left in the background may still write to it, so it stays open
  // until the next start.
  FileHandle output_end_;
  std::intptr_t process_ = kNoProcess;
  std::string output_;
};

// A word of a command line: the path `rest` after the value of a variable, which the command
// processor inserts. In quotes, because a directory may have blanks in its name.
std::string command_path(std::string_view variable, std::string_view rest);

// Whether the path names a program that this process may run, on Windows also without the ending of
// its file.
bool command_exists(const char* path);

}  // namespace marigold::inner
