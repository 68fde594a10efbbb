#include "runtime/core/settings.h"
#include "runtime/wi/terminal.h"
#include "tests/support/support.h"
#include "tests/wi/recording_console.h"

namespace marigold::test {

struct KeysTest : testing::Test {
  void SetUp() override {
    clearenv();
    settings_read();
    recording_reset();
    terminal_reset(&recording_console());
  }
  // What key_read makes of the bytes: code and character of each key.
  static std::vector<std::pair<int, int>> keys_of(const std::string& bytes) {
    recording().type(bytes);
    std::vector<std::pair<int, int>> keys;
    while (!recording().keys.empty()) {
      std::uint8_t character = 99;
      const int code = key_read(character);
      keys.emplace_back(code, character);
    }
    return keys;
  }
  static int wait() {
    std::uint8_t character = 0;
    int code = 0;
    key_wait(character, code);
    return code;
  }
};

TEST_F(KeysTest, SingleBytesAreKeysOrCharacters) {
  const std::pair<int, int> control[] = {{1, 5},   {4, 29},  {8, 6},  {9, 2},   {10, 13},
                                         {12, 28}, {13, 13}, {18, 0}, {25, 22}, {27, 23}};
  for (const auto& [byte, code] : control)
    EXPECT_EQ(keys_of({static_cast<char>(byte)}), (std::vector{std::pair{code, 0}})) << byte;
  const std::pair<int, int> characters[] = {{7, 7},    {32, 32},   {'A', 'A'}, {'~', '~'},
                                            {21, 182}, {132, 228}, {225, 223}, {253, 178}};
  for (const auto& [byte, character] : characters)
    EXPECT_EQ(keys_of({static_cast<char>(byte)}), (std::vector{std::pair{1, character}})) << byte;
  for (const int byte : {2, 3, 5, 11, 14, 31, 127, 159, 223, 254})
    EXPECT_EQ(keys_of({static_cast<char>(byte)}), (std::vector{std::pair{23, 0}})) << byte;
}

TEST_F(KeysTest, PrefixesLookASecondByteUp) {
  const struct {
    char prefix;
    std::string seconds;
    std::vector<int> codes;
    int otherwise;
    bool second_is_character;
  } rows[] = {
      {'\0', ";<=>?@ABC", {14, 15, 16, 17, 18, 19, 20, 21, 30}, 0, true},
      {'\xE0', "GHIKMOPQRS", {24, 10, 27, 8, 9, 25, 11, 26, 12, 7}, 0, true},
      {'\x06',
       "0123456789?bfhijklx",
       {13, 14, 15, 16, 17, 18, 19, 20, 21, 30, 5, 27, 26, 8, 12, 11, 10, 9, 7},
       23,
       false},
  };
  for (const auto& row : rows) {
    for (int second = 0; second < 256; ++second) {
      const auto found = row.seconds.find(static_cast<char>(second));
      const int code = found == std::string::npos ? row.otherwise : row.codes.at(found);
      const int character = row.second_is_character ? second : 0;
      EXPECT_EQ(keys_of({row.prefix, static_cast<char>(second)}),
                (std::vector{std::pair{code, character}}))
          << int{row.prefix} << " " << second;
    }
  }
}

TEST_F(KeysTest, PollingNeverWaits) {
  std::uint8_t character = 99;
  EXPECT_EQ(key_poll(character), kKeyEscape);
  EXPECT_EQ(character, 0);
  EXPECT_FALSE(recording().keyboard_lost);  // it has not been read
  recording().type("ab");
  EXPECT_TRUE(key_is_waiting());
  EXPECT_EQ(key_poll(character), kKeyCharacter);
  EXPECT_EQ(character, 'a');
  EXPECT_EQ(key_raw(character), 'b');
  EXPECT_EQ(character, 'b');
}

std::string hooks_run;

TEST_F(KeysTest, WaitingRunsTheHooksThatTheSettingsAllow) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"", "TRUE", "r"}, {"TRUE", "", "rfl"}, {"TRUE", "TRUE", "rfls"}};
  for (const auto& [debug, function_keys, expected] : rows) {
    setenv("DEBUG", debug, 1);
    setenv("DEBUGFUNCTIONKEYS", function_keys, 1);
    settings_read();
    key_hooks() = {.restore_cursor = [] { hooks_run += 'r'; },
                   .debug_fields = [] { hooks_run += 'f'; },
                   .debug_list = [] { hooks_run += 'l'; },
                   .statistics =
                       [] {
                         hooks_run += 's';
                         EXPECT_EQ(wait(), 22);  // not once more
                       }};
    hooks_run.clear();
    recording().keys = {0x1B, 0x12, 0x1B, 0x04, 0x0C, 0x19, 0x19};
    EXPECT_EQ(wait(), 29);
    EXPECT_EQ(wait(), 28);
    EXPECT_EQ(wait(), 22);
    EXPECT_EQ(hooks_run, expected) << debug;
  }
  terminal_reset(&recording_console());
  recording().keys = {0x12, 'q'};
  EXPECT_EQ(wait(), kKeyCharacter);  // none in place: nothing happens
}

TEST_F(KeysTest, ALostKeyboardEndsWhoKeepsAskingForKeys) {
  std::uint8_t character = 0;
  for (int escape = 0; escape < 100; ++escape)
    EXPECT_EQ(key_read(character), kKeyEscape);
  EXPECT_FALSE(key_is_waiting());
  EXPECT_EQ(key_poll(character), kKeyEscape);  // may go on for ever
  EXPECT_EXIT(key_read(character), testing::ExitedWithCode(1), "^the keyboard input has ended\n$");
  EXPECT_EXIT(wait(), testing::ExitedWithCode(1), "^the keyboard input has ended\n$");
  recording().type("a");
  EXPECT_EQ(wait(), kKeyCharacter);
  EXPECT_EQ(key_read(character), kKeyEscape);
}

}  // namespace marigold::test
