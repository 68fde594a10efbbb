// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/process.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace marigold::inner::test {

namespace {

// Exit codes that no test returns itself. abort and a signal that nobody handles end with 3.
constexpr UINT kKilledCode = 0x4B494C4C;
constexpr UINT kTooLateCode = 0x4C415445;
constexpr UINT kSignalCode = 3;

[[noreturn]] void give_up(const char* call) {
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

HANDLE as_handle(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

void CALLBACK end_too_late(PVOID, BOOLEAN) {
  TerminateProcess(GetCurrentProcess(), kTooLateCode);
}

}  // namespace

Process::Process(const char* name, const Words& words) {
  std::wstring program(32'768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  std::string line = is_long_run() ? "test --long --child " : "test --child ";
  line += quoted(name);
  for (const std::string& word : words)
    line += " " + quoted(word);
  std::wstring wide_line = wide(line);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION process{};
  // Inherits the standard streams of a redirected run alone: no other handle is inheritable.
  if (CreateProcessW(program.c_str(), wide_line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                     &start, &process) == 0)
    give_up("CreateProcessW");
  CloseHandle(process.hThread);
  handle_ = reinterpret_cast<std::intptr_t>(process.hProcess);
}

int Process::wait() {
  const HANDLE process = as_handle(std::exchange(handle_, 0));
  DWORD code = 0;
  if (WaitForSingleObject(process, INFINITE) != WAIT_OBJECT_0 ||
      GetExitCodeProcess(process, &code) == 0)
    give_up("WaitForSingleObject");
  CloseHandle(process);
  if (code == kKilledCode) return kKilled;
  if (code == kTooLateCode) return kTooLate;
  return code == kSignalCode ? kStopped : static_cast<int>(code);
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
