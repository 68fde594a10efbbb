// A pipe to the standard input of a command that the system's command processor runs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace marigold {

// What becomes of what the command writes to its standard output and standard error.
enum class CommandOutput {
  kPassedOn,   // it goes where ours goes
  kCollected,  // it is kept, up to kMostCommandOutput bytes, for take_output
};
inline constexpr std::size_t kMostCommandOutput = 4096;

// What a failed write leaves of a command, and a command that ended badly, shows in its status.
class CommandPipe {
 public:
  CommandPipe() = default;
  CommandPipe(CommandPipe&& other) noexcept;
  CommandPipe& operator=(CommandPipe&& other) noexcept;
  // Closes the pipe; output that nobody has taken goes to standard error.
  ~CommandPipe();

  // Starts the command; one that is running is closed first. 0, or the system's error number. That
  // the command processor finds no such program only shows in the status.
  int start(const char* command, CommandOutput output = CommandOutput::kPassedOn);
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
  // Writes all bytes and waits while the command is slow to take them. 0, or the system's error
  // number: EPIPE when the command does not read any more, which never ends this process.
  int write(std::string_view bytes);
  // Lets the command see the end of its input and waits for its own. Its exit status, as the
  // command processor counts: 127 for a program that is not there, 128 and more for a signal.
  // 0 when nothing is open.
  // What the command leaves running in the background is not waited for.
  int close();
  // What was collected of the last command until now, both streams as they came; complete after
  // close. Gone afterwards.
  std::string take_output();

 private:
  bool collect();
  void drop_output();
  void drop_output_end();

  int descriptor_ = -1;
  // The reading end of the command's output; -1 when it is passed on or has come to its end. What a
  // command has left running may still write to it, and keeps it until the next start.
  int output_descriptor_ = -1;
  long process_ = -1;
  std::string output_;
};

// Whether the path names a program that this process may run.
bool command_exists(const char* path);

}  // namespace marigold
