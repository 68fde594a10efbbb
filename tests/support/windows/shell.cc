// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of support.h that start programs or need calls of the system.
#include <windows.h>

#include <aclapi.h>
#include <fcntl.h>
extern "C" {
#include <ndbm.h>
}

#include <array>
#include <map>
#include <optional>

#include "tests/support/process.h"
#include "tests/support/support.h"
#include "tests/support/windows/start.h"

namespace marigold::inner::test {

namespace {

std::map<std::string, std::string> placed_programs;

// A command line for a program, without a shell: its words, and files for its standard streams.
struct Simple {
  Words words;
  std::array<std::string, 3> streams = {"NUL", ".out", ".err"};
};

// Takes a line apart as a shell does. Nothing if only a shell can run it.
std::optional<Simple> take_apart(const std::string& line) {
  Simple result;
  std::string word;
  bool in_word = false;
  int stream = -1;  // that the word names a file for
  const auto end_word = [&] {
    if (in_word && stream >= 0) result.streams[static_cast<std::size_t>(stream)] = word;
    if (in_word && stream < 0) result.words.push_back(word);
    if (in_word) stream = -1;
    word.clear();
    in_word = false;
  };
  for (std::size_t at = 0; at < line.size(); ++at) {
    const char c = line[at];
    if (c == '\'') {
      const std::size_t end = line.find('\'', at + 1);
      word += line.substr(at + 1, end - at - 1);
      in_word = true;
      at = end;
    } else if (c == ' ') {
      end_word();
    } else if (c == '<' || c == '>') {
      const bool errors = c == '>' && word == "2";
      if (errors) in_word = false;
      end_word();
      stream = c == '<' ? 0 : errors ? 2 : 1;
    } else if (std::string_view("\\\"$`|&;()*\n").find(c) != std::string_view::npos) {
      return std::nullopt;
    } else {
      word += c;
      in_word = true;
    }
  }
  end_word();
  if (result.words.empty() || !placed_programs.contains(result.words[0])) return std::nullopt;
  return result;
}

// A file that a program inherits. It is closed with the object.
class Stream {
 public:
  Stream(const std::string& path, bool input) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    handle_ = CreateFileW(wide(path).c_str(), input ? GENERIC_READ : GENERIC_WRITE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited,
                          input ? OPEN_EXISTING : CREATE_ALWAYS, 0, nullptr);
    if (handle_ == INVALID_HANDLE_VALUE) give_up(path.c_str());
  }
  ~Stream() { CloseHandle(handle_); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  [[nodiscard]] HANDLE handle() const { return handle_; }

 private:
  HANDLE handle_;
};

Finished run_simple(const std::string& line, const Simple& simple) {
  for (const char* left : {".out", ".err"})  // of the run before, if this one writes elsewhere
    write_file(left, "");
  const Stream in(simple.streams[0], true);
  const Stream out(simple.streams[1], false);
  const Stream err(simple.streams[2], false);
  const std::array streams = {in.handle(), out.handle(), err.handle()};
  const HANDLE process =
      start_program(placed_programs.at(simple.words[0]), simple.words, streams.data());
  constexpr int kAborted = 134;  // as a shell reports it
  const int status = status_of(process);
  return {line, read_file(".out"), read_file(".err"), status == kStopped ? kAborted : status};
}

}  // namespace

void write_textdb(const std::string& path, const Records& records, const std::string& behind) {
  std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
  std::string base = path;
  DBM* const store = dbm_open(base.data(), O_RDWR | O_CREAT | O_BINARY, 0666);
  ASSERT_NE(store, nullptr) << path;
  for (const auto& [key, value] : records) {
    std::string bytes[] = {key + behind, value + behind};
    const auto as_datum = [](std::string& text) {
      return datum{text.data(), static_cast<int>(text.size())};
    };
    EXPECT_EQ(dbm_store(store, as_datum(bytes[0]), as_datum(bytes[1]), DBM_REPLACE), 0);
  }
  dbm_close(store);
}

bool names_lock_holders() {
  return false;
}

bool is_private(const std::string& path) {
  ACL* list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_EQ(GetNamedSecurityInfoW(wide(path).c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                  nullptr, nullptr, &list, nullptr, &descriptor),
            0U);
  bool is_shared = list == nullptr;
  for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
    ACCESS_ALLOWED_ACE* entry = nullptr;
    GetAce(list, i, reinterpret_cast<void**>(&entry));
    for (const auto group : {WinWorldSid, WinAuthenticatedUserSid, WinBuiltinUsersSid})
      is_shared = is_shared || IsWellKnownSid(&entry->SidStart, group) != 0;
  }
  LocalFree(descriptor);
  return !is_shared;
}

void make_older(const std::string& path) {
  const HANDLE file = CreateFileW(wide(path).c_str(), FILE_WRITE_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER time{{now.dwLowDateTime, now.dwHighDateTime}};
  time.QuadPart -= 120ULL * 10'000'000;  // units of 100 ns
  const FILETIME older{time.LowPart, time.HighPart};
  EXPECT_NE(SetFileTime(file, nullptr, nullptr, &older), 0) << path << ' ' << GetLastError();
  CloseHandle(file);
}

// The shell finds a script there that runs the program under Wine, whatever the environment.
void place_program(const std::string& path, const std::string& name) {
  placed_programs["./" + name] = path;
  write_file(name, "#!/bin/sh\nexec '" EMULATOR "' '" + path + "' \"$@\"\n");
  EXPECT_EQ(run_shell("chmod +x " + name).status, 0);
}

// Wine gives no handle of a program of the system below, so a file shows the line's end.
Finished run_shell(const std::string& command_line) {
  if (const std::optional<Simple> simple = take_apart(command_line))
    return run_simple(command_line, *simple);
  const char* const kScript =
      "line=$(cat .line; echo x); rm .line; (eval \"${line%x}\") </dev/null >.out 2>.err; echo $? "
      ">.status";
  write_file(".line", command_line);
  start_below_wine("Z:\\bin\\sh", {"sh", "-c", kScript});
  std::string status;
  while (!status.ends_with("\n")) {
    sleep_us(2'000);
    status = read_file(".status");
  }
  std::filesystem::remove(".status");
  return {command_line, read_file(".out"), read_file(".err"), std::stoi(status)};
}

const char* const kWithoutShell = "";

}  // namespace marigold::inner::test
