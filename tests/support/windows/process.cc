// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/process.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "tests/support/windows/start.h"

namespace marigold::inner::test {

namespace {

// Exit codes that no test returns itself. abort and a signal that nobody handles end with 3.
constexpr UINT kKilledCode = 0x4B494C4C;
constexpr UINT kTooLateCode = 0x4C415445;
constexpr UINT kSignalCode = 3;
constexpr UINT kMinusOne = 0xFFFFFFFF;
constexpr UINT kEventCode = 0xC000013A;  // of a process that Ctrl-C or Ctrl-Break has ended

// Quotes a word as the start of a C program reads it: backslashes count double before a quote.
std::string quoted(const std::string& word) {
  std::string result = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    if (c == '"') result.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    result += c;
  }
  return result.append(backslashes, '\\') + '"';
}

std::string own_path() {
  std::array<char, 32'768> path{};
  GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return path.data();
}

HANDLE as_handle(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

void CALLBACK end_too_late(PVOID, BOOLEAN) {
  TerminateProcess(GetCurrentProcess(), kTooLateCode);
}

}  // namespace

void give_up(const char* call) {
  std::fprintf(stderr, "%s: error %lu\n", call, GetLastError());
  std::abort();
}

std::wstring wide(std::string_view text) {
  const int length = static_cast<int>(text.size());
  std::wstring result(text.size(), L'\0');
  const int used =
      length == 0 ? 0 : MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), length);
  result.resize(static_cast<std::size_t>(used));
  return result;
}

namespace {

PROCESS_INFORMATION create_process(const std::string& path, const Words& words,
                                   const HANDLE* streams) {
  std::string line;
  for (const std::string& word : words)
    line += (line.empty() ? "" : " ") + quoted(word);
  std::wstring wide_line = wide(line);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  if (streams != nullptr) {
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = streams[0];
    start.hStdOutput = streams[1];
    start.hStdError = streams[2];
  }
  PROCESS_INFORMATION process{};
  // No other handle is inheritable but the standard streams of a redirected run.
  // Wine fails in this way now and then while the machine is busy.
  constexpr int kTries = 5;
  const std::wstring program = wide(path);
  for (int i = 1; CreateProcessW(program.c_str(), wide_line.data(), nullptr, nullptr, TRUE, 0,
                                 nullptr, nullptr, &start, &process) == 0;
       ++i) {
    if (GetLastError() != ERROR_INTERNAL_ERROR || i == kTries) give_up(path.c_str());
    Sleep(100);
  }
  return process;
}

}  // namespace

HANDLE start_program(const std::string& path, const Words& words, const HANDLE* streams) {
  const PROCESS_INFORMATION process = create_process(path, words, streams);
  CloseHandle(process.hThread);
  return process.hProcess;
}

void start_below_wine(const std::string& path, const Words& words) {
  create_process(path, words, nullptr);
}

int status_of(HANDLE process) {
  DWORD code = 0;
  if (WaitForSingleObject(process, INFINITE) != WAIT_OBJECT_0 ||
      GetExitCodeProcess(process, &code) == 0)
    give_up("WaitForSingleObject");
  CloseHandle(process);
  if (code == kKilledCode) return kKilled;
  if (code == kTooLateCode) return kTooLate;
  if (code == kMinusOne) return 255;  // as much of it as other systems pass on
  return code == kSignalCode || code == kEventCode ? kStopped : static_cast<int>(code);
}

Process::Process(const char* name, const Words& words) {
  Words all = {"test"};
  if (is_long_run()) all.push_back("--long");
  all.insert(all.end(), {"--child", name});
  all.insert(all.end(), words.begin(), words.end());
  handle_ = reinterpret_cast<std::intptr_t>(start_program(own_path(), all, nullptr));
}

int Process::wait() {
  return status_of(as_handle(std::exchange(handle_, 0)));
}

int Process::kill() {
  if (handle_ == 0) return 0;
  TerminateProcess(as_handle(handle_), kKilledCode);
  return wait();
}

bool Process::is_running() const {
  return handle_ != 0 && WaitForSingleObject(as_handle(handle_), 0) == WAIT_TIMEOUT;
}

bool is_slow_system() {
  return true;
}

bool aborted(int status) {
  return status == static_cast<int>(kSignalCode);
}

void ask_to_stop() {
  static std::atomic<bool> seen = false;
  FreeConsole();
  AllocConsole();
  // The handler that was added last is called first, and leaves the event to the others.
  const auto note = [](DWORD) -> BOOL {
    seen = true;
    return FALSE;
  };
  if (SetConsoleCtrlHandler(note, TRUE) == 0 || GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) == 0)
    give_up("GenerateConsoleCtrlEvent");
  while (!seen)
    Sleep(1);
  Sleep(300);  // for the others, and the end of the process
}

void die_now() {
  TerminateProcess(GetCurrentProcess(), kKilledCode);
  std::abort();
}

void end_within(int seconds) {
  static HANDLE timer = nullptr;
  if (timer != nullptr) DeleteTimerQueueTimer(nullptr, timer, INVALID_HANDLE_VALUE);
  timer = nullptr;
  if (seconds == 0) return;
  if (CreateTimerQueueTimer(&timer, nullptr, end_too_late, nullptr,
                            static_cast<DWORD>(seconds) * 1000, 0, WT_EXECUTEONLYONCE) == 0)
    give_up("CreateTimerQueueTimer");
}

long leave_copy() {
  return 0;
}

void adopt_copies() {}

void end_copy(long) {}

// The attribute of a file for reading only binds every user.
void become_a_reader() {}

void place_child_command(const std::string& path, const char* name) {
  std::ofstream(path + ".cmd", std::ios::binary)
      << '@' << quoted(own_path()) << " --child " << quoted(name) << " %*\r\n";
}

void* shared_memory_map(const char* name, std::size_t bytes, bool& made) {
  const HANDLE file = CreateFileW(wide(name).c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) give_up(name);
  made = GetLastError() != ERROR_ALREADY_EXISTS;
  const HANDLE section =
      CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(bytes), nullptr);
  if (section == nullptr) give_up(name);
  void* const memory = MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, bytes);
  if (memory == nullptr) give_up(name);
  CloseHandle(section);
  CloseHandle(file);
  return memory;
}

void shared_memory_unmap(void* memory, std::size_t) {
  UnmapViewOfFile(memory);
}

}  // namespace marigold::inner::test
