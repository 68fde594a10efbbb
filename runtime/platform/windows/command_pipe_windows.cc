// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/command_pipe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/stream.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

SECURITY_ATTRIBUTES inherited() {
  return {.nLength = sizeof(SECURITY_ATTRIBUTES),
          .lpSecurityDescriptor = nullptr,
          .bInheritHandle = TRUE};
}

bool is_file(const std::string& path) {
  const WidePath wide(path.c_str());
  if (wide.failed() != 0) return false;
  const DWORD attributes = GetFileAttributesW(wide.text());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// The two ends of a pipe; the command inherits the reading one.
int open_pipe(FileHandle& reading, FileHandle& writing) {
  constexpr DWORD kPipeBytes = 1 << 20;
  SECURITY_ATTRIBUTES security = inherited();
  HANDLE ends[2] = {};
  if (CreatePipe(&ends[0], &ends[1], &security, kPipeBytes) == 0) return windows_error();
  reading = file_of(ends[0]);
  writing = file_of(ends[1]);
  return SetHandleInformation(ends[1], HANDLE_FLAG_INHERIT, 0) != 0 ? 0 : windows_error();
}

// A file takes the command's output, so that the command never waits for this process to read it.
// The command inherits the writing end; each end has a position of its own.
int open_output(FileHandle& reading, FileHandle& writing) {
  SECURITY_ATTRIBUTES security = inherited();
  const std::string name = new_file_name(path_join(path_for_temporary_files(), "marigold"));
  constexpr DWORD kPassing = FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE;
  if (const int failed = open_file(name.c_str(), FILE_APPEND_DATA | SYNCHRONIZE | DELETE,
                                   CREATE_NEW, writing, kPassing, &security))
    return failed;
  return open_file(name.c_str(), GENERIC_READ, OPEN_EXISTING, reading);
}

// The command processor takes everything between the outer quotes as it stands.
int spawn(const char* command, HANDLE input, HANDLE output, HANDLE& process) {
  const std::string line = std::string("cmd.exe /d /s /c \"") + command + "\"";
  std::wstring wide(line.size() + 1, L'\0');
  const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, line.c_str(), -1,
                                        wide.data(), static_cast<int>(wide.size()));
  if (units == 0) return EINVAL;
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = input;
  const bool passed_on = output == INVALID_HANDLE_VALUE;
  start.hStdOutput = passed_on ? GetStdHandle(STD_OUTPUT_HANDLE) : output;
  start.hStdError = passed_on ? GetStdHandle(STD_ERROR_HANDLE) : output;
  PROCESS_INFORMATION started{};
  if (CreateProcessW(nullptr, wide.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                     &started) == 0)
    return windows_error();
  CloseHandle(started.hThread);
  process = started.hProcess;
  return 0;
}

}  // namespace

CommandPipe::CommandPipe(CommandPipe&& other) noexcept
    : input_(std::move(other.input_)),
      output_end_(std::move(other.output_end_)),
      process_(std::exchange(other.process_, kNoProcess)),
      output_(std::exchange(other.output_, {})) {}

CommandPipe& CommandPipe::operator=(CommandPipe&& other) noexcept {
  if (this == &other) return *this;
  close();
  drop_output();
  input_ = std::move(other.input_);
  output_end_ = std::move(other.output_end_);
  process_ = std::exchange(other.process_, kNoProcess);
  output_ = std::exchange(other.output_, {});
  return *this;
}

CommandPipe::~CommandPipe() {
  close();
  static_cast<void>(stream_write(Stream::kError, take_output()));
  drop_output();
}

int CommandPipe::start(const char* command, CommandOutput output) {
  close();
  drop_output();
  FileHandle reading;
  FileHandle writing;
  if (const int failed = open_pipe(reading, writing)) return failed;
  FileHandle collected;
  FileHandle collecting;
  const bool collects = output == CommandOutput::kCollected;
  if (const int failed = collects ? open_output(collected, collecting) : 0; failed != 0)
    return failed;
  HANDLE process = nullptr;
  if (const int failed = spawn(command, handle_of(reading), handle_of(collecting), process))
    return failed;
  input_ = std::move(writing);
  output_end_ = std::move(collected);
  process_ = reinterpret_cast<std::intptr_t>(process);
  return 0;
}

// Reads the available output; returns false at its end. Drops output beyond the bound.
bool CommandPipe::collect() {
  std::array<char, kMostCommandOutput> bytes{};
  DWORD count = 0;
  while (output_end_.is_open() &&
         ReadFile(handle_of(output_end_), bytes.data(), bytes.size(), &count, nullptr) != 0 &&
         count > 0)
    output_.append(bytes.data(), std::min<std::size_t>(count, kMostCommandOutput - output_.size()));
  return false;
}

int CommandPipe::write(std::string_view bytes) {
  constexpr std::size_t kMost = 1 << 16;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(bytes.size(), kMost));
    if (WriteFile(handle_of(input_), bytes.data(), count, &written, nullptr) == 0)
      return windows_error();
    bytes.remove_prefix(written);
  }
  return 0;
}

int CommandPipe::close() {
  if (!is_open()) return 0;
  static_cast<void>(input_.close());
  const FileHandle process(std::exchange(process_, kNoProcess));
  WaitForSingleObject(handle_of(process), INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(handle_of(process), &status);
  return static_cast<int>(status);
}

std::string CommandPipe::take_output() {
  collect();
  return std::exchange(output_, {});
}

void CommandPipe::drop_output() {
  drop_output_end();
  output_.clear();
}

void CommandPipe::drop_output_end() {
  static_cast<void>(output_end_.close());
}

std::string command_path(std::string_view variable, std::string_view rest) {
  std::string path = std::string("\"%").append(variable).append("%").append(rest).append("\"");
  std::ranges::replace(path, '/', '\\');
  return path;
}

// The command processor runs only files whose names end as PATHEXT lists.
bool command_exists(const char* path) {
  const std::string name = path;
  const std::size_t dot = name.find_last_of("./\\");
  if (dot != std::string::npos && name[dot] == '.' && is_file(name)) return true;
  const char* const value = std::getenv("PATHEXT");
  std::string_view endings = value == nullptr ? ".COM;.EXE;.BAT;.CMD" : value;
  while (!endings.empty()) {
    const std::size_t length = std::min(endings.find(';'), endings.size());
    if (length > 0 && is_file(name + std::string(endings.substr(0, length)))) return true;
    endings.remove_prefix(std::min(length + 1, endings.size()));
  }
  return false;
}

}  // namespace marigold::inner
