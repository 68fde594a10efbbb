// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/settings.h"
#include "runtime/texte/char_table.h"
#include "runtime/wi/terminal/terminal.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

struct KeysTest : testing::Test {
  void SetUp() override {
    clearenv();
    settings_read();
    recording_reset();
    terminal_reset(&recording_console());
  }
  // Returns code and character of the single key in these bytes.
  static std::pair<int, int> key_of(const std::string& bytes) {
    recording().type(bytes);
    const int code = key_read(character);
    EXPECT_TRUE(recording().keys.empty());
    return {code, character};
  }
  static int wait() {
    int code = 0;
    key_wait(character, code);
    return code;
  }
  static inline std::uint8_t character = 99;
  static inline std::string hooks_run;
};

TEST_F(KeysTest, BytesAreKeysOrCharacters) {
  const std::tuple<std::string, std::string, std::vector<int>> rows[] = {
      {"", "\x01\x04\b\t\n\f\r\x12\x19\x1B", {5, 29, 6, 2, 13, 28, 13, 0, 22, 23}},
      {"", "\x02\x03\x05\v\x0E\x1F\x7F\x9F\xDF\xFE", std::vector<int>(10, 23)},
      {"\0"s, ";<=>?@ABCD\x01\xFF", {14, 15, 16, 17, 18, 19, 20, 21, 30, 0, 0, 0}},
      {"\xE0", "GHIKMOPQRS\x01\xFF", {24, 10, 27, 8, 9, 25, 11, 26, 12, 7, 0, 0}},
      {"\x06", "0123456789?", {13, 14, 15, 16, 17, 18, 19, 20, 21, 30, 5}},
      {"\x06", "bfhijklxy\x01\xFF", {27, 26, 8, 12, 11, 10, 9, 7, 23, 23, 23}}};
  for (const auto& [prefix, bytes, codes] : rows) {
    for (std::size_t index = 0; index < bytes.size(); ++index) {
      const int second =
          prefix == "\0"s || prefix == "\xE0" ? static_cast<std::uint8_t>(bytes[index]) : 0;
      EXPECT_EQ(key_of(prefix + bytes[index]), std::pair(codes[index], second)) << prefix << index;
    }
  }
  const std::pair<char, int> characters[] = {{'\a', 7},     {' ', 32},     {'~', '~'},
                                             {'\x15', 182}, {'\x84', 228}, {'\xFD', 178}};
  for (const auto& [byte, expected] : characters)
    EXPECT_EQ(key_of({byte}), std::pair(1, expected));
}

TEST_F(KeysTest, ACharacterThatWouldBeAPrefixComesTwice) {
  const WorkDirectory directory;
  EXPECT_EQ(key_of("\xE0\xE0"), std::pair(0, 0xE0));  // no character of the built-in table
  write_file("table", "224 agrave\n228 adiaeresis\n");
  char_table_load(CharTable::kInput, "table");
  EXPECT_EQ(key_of("\xE0\xE0"), std::pair(1, 0xE0));
  EXPECT_EQ(key_of("\xE0H").first, kKeyUp);
  EXPECT_EQ(key_of("\xE4"), std::pair(1, 0xE4));
  errors_of(char_tables_load);
}

TEST_F(KeysTest, ControlRPaintsTheScreenWhoeverReadsIt) {
  static int painted = 0;
  Console painting = recording_console();
  painting.repaint = [] { ++painted; };
  open_subsystems().window_system = true;
  for (const Console* console : {&recording_console(), static_cast<const Console*>(&painting)}) {
    terminal_reset(console);
    recording().calls.clear();
    EXPECT_EQ(key_of("\x12"), std::pair(0, 0));
    recording().type("\x12");
    EXPECT_EQ(key_poll(character), 0);
    EXPECT_EQ(recording().calls, console == &painting ? "S" : "SWW");
  }
  EXPECT_EQ(painted, 2);
  open_subsystems().window_system = false;
  EXPECT_EQ(key_of("\x12"), std::pair(0, 0));
  EXPECT_EQ(painted, 2);
}

TEST_F(KeysTest, WaitingRunsTheHooksThatTheSettingsAllow) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"", "TRUE", "r"}, {"TRUE", "", "rfl"}, {"TRUE", "TRUE", "rfls"}};
  for (const auto& [debug, function_keys, expected] : rows) {
    setenv("DEBUG", debug, 1);
    setenv("DEBUGFUNCTIONKEYS", function_keys, 1);
    settings_read();
    key_hooks() = {.restore_cursor = [] { hooks_run = 'r'; },
                   .debug_fields = [] { hooks_run += 'f'; },
                   .debug_list = [] { hooks_run += 'l'; },
                   .statistics = [] { hooks_run += wait() == 22 ? 's' : '?'; }};  // not again
    recording().keys = {0x1B, 0x12, 0x1B, 0x04, 0x0C, 0x19, 0x19};
    for (const int code : {29, 28, 22})
      EXPECT_EQ(wait(), code);
    EXPECT_EQ(hooks_run, expected) << debug;
  }
  terminal_reset(&recording_console());
  recording().keys = {0x12, 'q'};
  EXPECT_EQ(wait(), kKeyCharacter);  // no hook is set: nothing happens
}

TEST_F(KeysTest, PollingNeverWaitsAndALostKeyboardEndsWhoKeepsAskingForKeys) {
  EXPECT_EQ(key_poll(character), kKeyEscape);
  EXPECT_FALSE(recording().keyboard_lost);  // poll has not read it
  recording().type("ab");
  EXPECT_EQ(key_poll(character), kKeyCharacter);
  EXPECT_EQ(character, 'a');
  EXPECT_EQ(key_raw(character), 'b');
  EXPECT_EQ(character, 'b');
  for (int escape = 0; escape < 100; ++escape)
    EXPECT_EQ(key_read(character), kKeyEscape);
  EXPECT_FALSE(key_is_waiting());
  EXPECT_EQ(key_poll(character), kKeyEscape);  // may go on without end
  EXPECT_EXIT(wait(), testing::ExitedWithCode(1), "^the keyboard input has ended\n$");
  EXPECT_EQ(key_of("a").first, kKeyCharacter);
  EXPECT_EQ(key_read(character), kKeyEscape);
}

}  // namespace marigold::inner::test
