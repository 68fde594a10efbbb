// A pipe to the standard input of a command that the system's command processor runs.
#pragma once

#include <string_view>

namespace marigold {

// What a failed write leaves of a command, and a command that ended badly, shows in its status.
class CommandPipe {
 public:
  CommandPipe() = default;
  CommandPipe(CommandPipe&& other) noexcept;
  CommandPipe& operator=(CommandPipe&& other) noexcept;
  ~CommandPipe() { close(); }

  // Starts the command; one that is running is closed first. 0, or the system's error number. That
  // the command processor finds no such program only shows in the status.
  int start(const char* command);
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
  // Writes all bytes and waits while the command is slow to take them. 0, or the system's error
  // number: EPIPE when the command does not read any more, which never ends this process.
  int write(std::string_view bytes);
  // Lets the command see the end of its input and waits for its own. Its exit status, as the
  // command processor counts: 127 for a program that is not there, 128 and more for a signal.
  // 0 when nothing is open.
  int close();

 private:
  int descriptor_ = -1;
  long process_ = -1;
};

// Whether the path names a program that this process may run.
bool command_exists(const char* path);

}  // namespace marigold
