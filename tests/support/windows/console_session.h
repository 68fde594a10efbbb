// SPDX-License-Identifier: GPL-3.0-or-later
// A console of Windows with a program in it: types keys as events, reads the cells of the screen
// buffer that is shown, and notices whether all that the user had is as before.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/key_events.h"

namespace marigold::inner::test {

// All that a program may change in the console.
struct UsersConsole {
  DWORD input_mode = 0;
  DWORD output_mode = 0;
  UINT input_code_page = 0;
  UINT output_code_page = 0;
  std::vector<int> numbers;  // size, window, cursor and colours of the screen buffer
  std::wstring text;
  std::vector<WORD> colours;
  bool operator==(const UsersConsole&) const = default;
};

class ConsoleSession {
 public:
  // A console whose buffer is larger than its window and has text and a cursor of its own.
  explicit ConsoleSession(UINT code_page = 437) {
    FreeConsole();
    require(AllocConsole() != 0, "AllocConsole");
    require(SetConsoleCtrlHandler(survive, TRUE) != 0, "SetConsoleCtrlHandler");
    require(SetConsoleCP(code_page) != 0 && SetConsoleOutputCP(code_page) != 0, "SetConsoleCP");
    input_ = open(L"CONIN$");
    output_ = open(L"CONOUT$");
    nowhere_ = open(L"NUL");
    const CONSOLE_CURSOR_INFO cursor{25, TRUE};
    DWORD written = 0;
    require(SetConsoleScreenBufferSize(output_, {100, 60}) != 0, "SetConsoleScreenBufferSize");
    require(WriteConsoleW(output_, L"C:\\>\u00E4\u2500", 6, &written, nullptr) != 0,
            "WriteConsoleW");
    require(FillConsoleOutputAttribute(output_, 0x1E, 300, {7, 30}, &written) != 0, "Fill");
    require(SetConsoleCursorInfo(output_, &cursor) != 0, "SetConsoleCursorInfo");
    before_ = now();
  }
  ~ConsoleSession() {
    if (process_ != nullptr) TerminateProcess(process_, 1);
    outcome();
    for (const HANDLE handle : {input_, output_, nowhere_})
      CloseHandle(handle);
    SetConsoleCtrlHandler(survive, FALSE);
    FreeConsole();
  }
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;

  // Standard streams of a program.
  enum class Output { kConsole, kNowhere };
  struct Streams {
    Output input = Output::kConsole;
    Output output = Output::kConsole;
    Output errors = Output::kNowhere;
  };
  void start(const std::string& command_line, const Streams& streams) {
    std::wstring line(command_line.begin(), command_line.end());
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = streams.input == Output::kConsole ? input_ : nowhere_;
    start.hStdOutput = streams.output == Output::kConsole ? output_ : nowhere_;
    start.hStdError = streams.errors == Output::kConsole ? output_ : nowhere_;
    PROCESS_INFORMATION started{};
    // In a group of its own it gets Ctrl-Break alone.
    require(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP,
                           nullptr, nullptr, &start, &started) != 0,
            command_line.c_str());
    CloseHandle(started.hThread);
    process_ = started.hProcess;
    number_ = started.dwProcessId;
  }
  void start(const std::string& command_line) { start(command_line, Streams{}); }

  void type(std::vector<KeyEvent> events) {
    std::vector<INPUT_RECORD> records;
    for (const KeyEvent& event : events) {
      INPUT_RECORD record{};
      record.EventType = KEY_EVENT;
      KEY_EVENT_RECORD& key = record.Event.KeyEvent;
      key.bKeyDown = event.is_down ? TRUE : FALSE;
      key.wRepeatCount = event.repeats;
      key.wVirtualKeyCode = event.key;
      key.uChar.UnicodeChar = static_cast<WCHAR>(event.character);
      key.dwControlKeyState = event.modifiers;
      records.push_back(record);
      key.bKeyDown = FALSE;
      if (event.is_down) records.push_back(record);
    }
    DWORD written = 0;
    WriteConsoleInputW(input_, records.data(), static_cast<DWORD>(records.size()), &written);
    require(written == records.size(), "WriteConsoleInputW");
  }
  void type(std::u16string_view characters) {
    for (const char16_t character : characters)
      type({KeyEvent{.character = character}});
  }
  // Ctrl-Break. Nobody can send it under Wine, where Ctrl-C in a console that takes it for an event
  // comes in its place.
  void interrupt() {
    if (GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, number_) != 0) return;
    DWORD mode = 0;
    require(GetConsoleMode(input_, &mode) != 0, "GetConsoleMode");
    require(SetConsoleMode(input_, mode | ENABLE_PROCESSED_INPUT) != 0, "SetConsoleMode");
    type({KeyEvent{.key = 'C', .character = 3, .modifiers = kEventControl}});
  }

  bool wait_until(const auto& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
  }
  // Returns the exit code; that of a living process (259) if it does not end in time.
  DWORD outcome() {
    DWORD code = 0;
    if (process_ == nullptr) return code;
    WaitForSingleObject(process_, 20'000);
    GetExitCodeProcess(process_, &code);
    CloseHandle(process_);
    process_ = nullptr;
    return code;
  }

  // Returns a row of the shown screen, from 1, without blanks at the end.
  std::u16string row_text(int row) const {
    std::u16string text;
    for (const CHAR_INFO& cell : shown(row - 1, 1))
      text += static_cast<char16_t>(cell.Char.UnicodeChar);
    return text.substr(0, text.find_last_not_of(u' ') + 1);
  }
  std::uint16_t colour(int row, int column) const {
    return shown(row - 1, 1).at(static_cast<std::size_t>(column - 1)).Attributes;
  }
  // Whether the shown screen has 80 by 24 cells, these ones.
  bool shows(const ConsoleBuffer& expected) const {
    const std::vector<CHAR_INFO> cells = shown(0, kScreenRows);
    return cells.size() == expected.size() &&
           std::equal(cells.begin(), cells.end(), expected.begin(),
                      [](const CHAR_INFO& seen, const ConsoleCell& cell) {
                        return static_cast<char16_t>(seen.Char.UnicodeChar) ==
                                   code_page_437_character(cell.character) &&
                               seen.Attributes == cell.colour;
                      });
  }
  // Makes the shown screen smaller.
  void resize(SHORT columns, SHORT rows) const {
    const HANDLE screen = open(L"CONOUT$");
    const SMALL_RECT window = {0, 0, static_cast<SHORT>(columns - 1), static_cast<SHORT>(rows - 1)};
    require(SetConsoleWindowInfo(screen, TRUE, &window) != 0, "SetConsoleWindowInfo");
    require(SetConsoleScreenBufferSize(screen, {columns, rows}) != 0, "SetConsoleScreenBufferSize");
    CloseHandle(screen);
  }
  COORD cursor() const { return info().dwCursorPosition; }
  // Returns the shown screen from its first row to the cursor's.
  std::u16string text() const {
    std::u16string text;
    for (const CHAR_INFO& cell : shown(0, static_cast<int>(cursor().Y) + 1))
      text += static_cast<char16_t>(cell.Char.UnicodeChar);
    return text;
  }
  bool modes_restored() const {
    const UsersConsole found = now();
    return found.input_mode == before_.input_mode && found.output_mode == before_.output_mode;
  }
  // Whether the user has everything back.
  bool restored() const { return now() == before_; }

 private:
  static void require(bool done, const char* call) {
    if (done) return;
    std::fprintf(stderr, "%s: error %lu\n", call, GetLastError());
    std::abort();
  }
  static BOOL WINAPI survive(DWORD) { return TRUE; }
  static HANDLE open(const wchar_t* name) {
    SECURITY_ATTRIBUTES inherited{
        .nLength = sizeof inherited, .lpSecurityDescriptor = nullptr, .bInheritHandle = TRUE};
    const HANDLE handle =
        CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    &inherited, OPEN_EXISTING, 0, nullptr);
    require(handle != INVALID_HANDLE_VALUE, "CreateFileW");
    return handle;
  }
  // CONOUT$ is the buffer that is shown now.
  static CONSOLE_SCREEN_BUFFER_INFO info() {
    const HANDLE screen = open(L"CONOUT$");
    CONSOLE_SCREEN_BUFFER_INFO found{};
    require(GetConsoleScreenBufferInfo(screen, &found) != 0, "GetConsoleScreenBufferInfo");
    CloseHandle(screen);
    return found;
  }
  // Rows of the shown screen, from 0.
  static std::vector<CHAR_INFO> shown(int first, int rows) {
    const COORD size = {info().dwSize.X, static_cast<SHORT>(rows)};
    std::vector<CHAR_INFO> cells(static_cast<std::size_t>(size.X) * static_cast<std::size_t>(rows));
    SMALL_RECT region = {0, static_cast<SHORT>(first), static_cast<SHORT>(size.X - 1),
                         static_cast<SHORT>(first + rows - 1)};
    const HANDLE screen = open(L"CONOUT$");
    require(ReadConsoleOutputW(screen, cells.data(), size, {0, 0}, &region) != 0,
            "ReadConsoleOutputW");
    CloseHandle(screen);
    return cells;
  }
  UsersConsole now() const {
    UsersConsole found;
    const CONSOLE_SCREEN_BUFFER_INFO screen = info();
    const HANDLE output = open(L"CONOUT$");
    CONSOLE_CURSOR_INFO cursor{};
    require(GetConsoleMode(input_, &found.input_mode) != 0 &&
                GetConsoleMode(output, &found.output_mode) != 0 &&
                GetConsoleCursorInfo(output, &cursor) != 0,
            "GetConsoleMode");
    CloseHandle(output);
    found.input_code_page = GetConsoleCP();
    found.output_code_page = GetConsoleOutputCP();
    found.numbers = {screen.dwSize.X,
                     screen.dwSize.Y,
                     screen.srWindow.Left,
                     screen.srWindow.Top,
                     screen.srWindow.Right,
                     screen.srWindow.Bottom,
                     screen.dwCursorPosition.X,
                     screen.dwCursorPosition.Y,
                     screen.wAttributes,
                     static_cast<int>(cursor.dwSize),
                     cursor.bVisible};
    for (const CHAR_INFO& cell : shown(0, screen.dwSize.Y)) {
      found.text += cell.Char.UnicodeChar;
      found.colours.push_back(cell.Attributes);
    }
    return found;
  }

  HANDLE input_ = nullptr;
  HANDLE output_ = nullptr;  // the user's buffer
  HANDLE nowhere_ = nullptr;
  HANDLE process_ = nullptr;
  DWORD number_ = 0;
  UsersConsole before_;
};

}  // namespace marigold::inner::test
