// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/char_table.h"

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

struct CharTableTest : testing::Test {
  void SetUp() override {
    clearenv();
    settings_read();
    user_interface_start();
    load();
  }
  // Loads the tables for the present environment; returns the warnings.
  static std::string load() { return errors_of(char_tables_load); }
  static char input(char byte) {
    return static_cast<char>(char_map_input(static_cast<std::uint8_t>(byte)));
  }
  static char output(char character) {
    return static_cast<char>(char_map_output(static_cast<std::uint8_t>(character)));
  }

  const WorkDirectory directory;
};

TEST_F(CharTableTest, BuiltInTablesShowCodePage437) {
  // The last four characters are the platform's own.
  const std::string characters =
      "\a\t\n\f\r ~\xC7\xE9\xFF\xE4\xD6\xDF\xC6\xD1\xA2\xA4\xBD\xA0\xD7\xF8\xB6\xB7";
  const std::string bytes =
      "\a\t\n\f\r ~\x80\x82\x98\x84\x99\xE1\x92\xA5\x9B\x9E\xAB\xFF\x91\xED\x15\xFA";
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    EXPECT_EQ(input(bytes[index]), characters.at(index)) << index;
    EXPECT_EQ(output(characters[index]), bytes[index]) << index;
  }
  // One to one for ASCII, five control characters and 56 others; one byte is given for one
  // character more.
  int shown = 0;
  int given = 0;
  for (int code = -128; code < 128; ++code) {
    const char byte = static_cast<char>(code);
    if (input(byte) != 0) ++given;
    if (output(byte) == 0) continue;
    ++shown;
    EXPECT_EQ(input(output(byte)), byte);
  }
  EXPECT_EQ(shown, 95 + 5 + 56);
  EXPECT_EQ(given, shown + 1);
  EXPECT_EQ(input('\xF9'), '\xB7');
}

TEST_F(CharTableTest, LinesOfAFileMap) {
  // A line; a byte that then gives a character, or 0; the byte that then shows "B".
  const std::tuple<std::string, char, char, char> rows[] = {
      {"65 B\n", 'A', 'B', 'A'},
      {"65 B", 'A', 0, 0},  // not finished
      {"\n66 C\n 65\t\v B behind it\r\n", 'A', 'B', 'A'},
      {"66 B\n65 B\n", 'A', 'B', 'A'},
      {"#65 B\n65\n65 Bee\nx65 B\n", 'A', 0, 0},
      {"321 B\n-191 B\n4294967361 B\n", 'A', 0, 0},  // all 65 in a byte
      {"255 B\n", '\xFF', 'B', '\xFF'},
      {"65 notdef\n", 'A', 0, 0},
      {"1 CTRL_CR\n", 1, '\r', 0},
      {"1 asciitilde\n", 1, '~', 0},
      {"1 nobreakspace\n", 1, '\xA0', 0},
      {"1 ydiaeresis\n", 1, '\xFF', 0},
      {"#" + std::string(1022, ' ') + "\n65 B\n", 'A', 'B', 'A'},
  };
  for (const auto& [line, byte, character, shown] : rows) {
    write_file("table", line);
    char_table_load(CharTable::kInput, "table");
    char_table_load(CharTable::kOutput, "table");
    EXPECT_EQ(input(byte), character) << line;
    EXPECT_EQ(output('B'), shown) << line;
    EXPECT_EQ(output(0) + input('Z') + output('Z'), 0) << line;
  }
  char_table_load(CharTable::kInput, "none");
  EXPECT_EQ(input('A'), 'B');
  for (const char* end : {"\n", ""}) {
    write_file("table", "65 B\n#" + std::string(1023, ' ') + end);
    EXPECT_DEATH(char_table_load(CharTable::kInput, "table"), "system error 38");
  }
}

TEST_F(CharTableTest, TablesAreLoadedWhereTheyAreAskedFor) {
  setenv("LANGUAGE_SEARCHPATH", "./%l.%N", 1);
  setenv("LANGUAGE_IDENTIFIER", "main_x.1", 1);
  settings_read();
  const std::string behind = "put mapping file 'char_table' for language 'main_x.1'\n";
  const std::string in = "Unable to locate in" + behind;
  const std::string out = "Unable to locate out" + behind;
  // The variables, the file that is there, the warnings, byte A and the byte for B.
  const std::tuple<const char*, const char*, std::string, std::string, std::string> rows[] = {
      {nullptr, nullptr, "none", in + out, "AB"},
      {nullptr, nullptr, "main", "", "AB"},  // a file alone changes nothing
      {"other", nullptr, "other", out, "BB"},
      {"other", nullptr, "main", "", "BB"},  // falls back
      {nullptr, "gone", "main", "", "AA"},
  };
  for (const auto& [input_language, output_language, file, warnings, found] : rows) {
    const WorkDirectory fresh;
    write_file(file + ".char_table", "65 B\n");
    for (const auto& [name, value] :
         {std::pair{"INPUT_MAPPING", input_language}, {"OUTPUT_MAPPING", output_language}}) {
      unsetenv(name);
      if (value != nullptr) setenv(name, value, 1);
    }
    EXPECT_EQ(load(), warnings) << file;
    EXPECT_EQ((std::string{input('A'), output('B')}), found) << file << warnings;
  }
}

// The tables of examples/char_tables: no sample begins with a warning, and either table serves both
// ways.
TEST_F(CharTableTest, TheSampleLanguagesHaveTables) {
  std::filesystem::current_path(EXAMPLES);
  for (const char* language : {"english_us.8859", "german_at.utf8", "german_de.8859", "french"}) {
    setenv("LANGUAGE_IDENTIFIER", language, 1);
    settings_read();
    EXPECT_EQ(load(), "") << language;
  }
  const auto ask_for = [](const char* language) {
    setenv("INPUT_MAPPING", language, 1);
    setenv("OUTPUT_MAPPING", language, 1);
    EXPECT_EQ(load(), "");
  };
  ask_for("german_at.8859");
  const std::string bytes = "\a~\x80\x82\x98\x84\x99\xE1\x92\x91\xA5\x9B\xAB\xFF\xFA";
  const std::string characters = "\a~\xC7\xE9\xFF\xE4\xD6\xDF\xC6\xE6\xD1\xA2\xBD\xA0\xB7";
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    EXPECT_EQ(input(bytes[index]), characters.at(index)) << index;
    EXPECT_EQ(output(characters[index]), bytes[index]) << index;
  }
  EXPECT_EQ(output('\xC0'), 'A');  // not in the code page
  EXPECT_EQ(input('A'), 'A');
  ask_for("latin1");
  const std::string controls = "\a\t\n\f\r";
  for (int code = 0; code < 256; ++code) {
    const char byte = static_cast<char>(code);
    const bool known =
        (code >= ' ' && code <= '~') || code >= 0xA0 || controls.find(byte) < controls.size();
    EXPECT_EQ(input(byte), known ? byte : 0) << code;
    EXPECT_EQ(output(byte), known ? byte : 0) << code;
  }
}

}  // namespace marigold::inner::test
