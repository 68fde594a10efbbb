#include "runtime/texte/char_table.h"

#include <cstring>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "tests/support/support.h"

namespace marigold::test {

struct CharTableTest : testing::Test {
  void SetUp() override {
    clearenv();
    settings_read();
    user_interface_start();
    load();
  }
  // Loads by what the environment says now; the warnings.
  static std::string load() { return errors_of(char_tables_load); }

  const WorkDirectory directory;
};

TEST_F(CharTableTest, BuiltInTablesShowCodePage437) {
  const std::pair<std::string, std::string> pairs[] = {
      {"\xC7\xE9\xE2\xE0\xE5\xE7\xEA\xEB\xE8\xEF\xEE\xEC\xC5\xC9\xF4\xF2\xFB\xF9\xFF",
       "\x80\x82\x83\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8D\x8F\x90\x93\x95\x96\x97\x98"},
      {"\xE4\xF6\xFC\xC4\xD6\xDC\xDF\xC6\xE1\xED\xF3\xFA\xF1\xD1",
       "\x84\x94\x81\x8E\x99\x9A\xE1\x92\xA0\xA1\xA2\xA3\xA4\xA5"},
      {"\xA2\xA3\xA5\xA4\xAA\xBA\xBF\xAC\xBD\xBC\xA1\xAB\xBB\xB5\xB1\xF7\xB0\xB2\xA0",
       "\x9B\x9C\x9D\x9E\xA6\xA7\xA8\xAA\xAB\xAC\xAD\xAE\xAF\xE6\xF1\xF6\xF8\xFD\xFF"},
      {"\xD7\xF8\xB6\xB7", "\x91\xED\x15\xFA"}};  // the platform's own
  std::vector<int> input(256);
  for (int code = 0; code < 256; ++code)
    if ((code >= 32 && code < 127) || std::strchr("\a\t\n\f\r", code) != nullptr)
      input.at(static_cast<std::size_t>(code)) = code;
  std::vector<int> output = input;
  for (const auto& [characters, bytes] : pairs) {
    for (std::size_t index = 0; index < bytes.size(); ++index) {
      const auto character = static_cast<std::uint8_t>(characters.at(index));
      const auto byte = static_cast<std::uint8_t>(bytes[index]);
      input.at(byte) = character;
      output.at(character) = byte;
    }
  }
  input.at(249) = 183;  // one way only
  for (int code = 0; code < 256; ++code) {
    const auto index = static_cast<std::uint8_t>(code);
    EXPECT_EQ(char_map_input(index), input[index]) << code;
    EXPECT_EQ(char_map_output(index), output[index]) << code;
  }
}

TEST_F(CharTableTest, LinesOfAFileMap) {
  struct Row {
    std::string line;
    int input;   // the byte that then gives a character, and that character
    int gives;   // 0: none
    int output;  // the byte that then shows it
  };
  const Row rows[] = {
      {"65 B\n", 65, 66, 65},
      {"65 B", 65, 0, 0},  // not finished
      {"\n66 C\n 65\t\v B behind it\r\n", 65, 66, 65},
      {"66 B\n65 B\n", 65, 66, 65},
      {"#65 B\n", 65, 0, 0},
      {"65\n", 65, 0, 0},
      {"65 b\n", 65, 98, 0},
      {"65 Bee\n", 65, 0, 0},
      {"x65 B\n", 65, 0, 0},
      {"321 B\n-191 B\n4294967361 B\n", 65, 0, 0},  // all 65 in a byte
      {"255 B\n", 255, 66, 255},
      {"65 notdef\n", 65, 0, 0},
      {"#" + std::string(1022, ' ') + "\n65 B\n", 65, 66, 65},
  };
  for (const auto& [line, byte, character, shown] : rows) {
    write_file("table", line);
    char_table_load(CharTable::kInput, "table");
    char_table_load(CharTable::kOutput, "table");
    EXPECT_EQ(char_map_input(static_cast<std::uint8_t>(byte)), character) << line;
    EXPECT_EQ(char_map_output('B'), shown) << line;
    EXPECT_EQ(char_map_output(0), 0) << line;
    EXPECT_EQ(char_map_input('Z') + char_map_output('Z'), 0) << line;
  }
  char_table_load(CharTable::kInput, "none");
  EXPECT_EQ(char_map_input(65), 66);
  for (const char* end : {"\n", ""}) {
    write_file("table", "65 B\n#" + std::string(1023, ' ') + end);
    EXPECT_DEATH(char_table_load(CharTable::kInput, "table"), "system error 38");
  }
}

TEST_F(CharTableTest, GlyphsHaveTheirNames) {
  // clang-format off
  const std::pair<int, const char*> rows[] = {
      {0, "notdef"}, {7, "CTRL_BELL"}, {13, "CTRL_CR"}, {32, "space"}, {57, "nine"}, {64, "at"},
      {96, "quoteleft"}, {126, "asciitilde"}, {127, "byte_127"}, {137, "fi"}, {147, "trademark"},
      {148, "byte_148"}, {159, "byte_159"}, {160, "nobreakspace"}, {173, "hyphen"}, {176, "degree"},
      {191, "questiondown"}, {198, "AE"}, {215, "multiply"}, {216, "Ooblique"}, {222, "Thorn"},
      {230, "ae"}, {247, "division"}, {255, "ydiaeresis"}};
  // clang-format on
  for (const auto& [code, name] : rows) {
    write_file("table", "1 " + std::string(name) + "\n");
    char_table_load(CharTable::kInput, "table");
    EXPECT_EQ(char_map_input(1), code) << name;
  }
}

TEST_F(CharTableTest, TablesAreLoadedWhereTheyAreAskedFor) {
  setenv("LANGUAGE_SEARCHPATH", "./%l.%N", 1);
  setenv("LANGUAGE_IDENTIFIER", "main_x.1", 1);
  settings_read();
  const std::string behind = "put mapping file 'char_table' for language 'main_x.1'\n";
  const std::string in = "Unable to locate in" + behind;
  const std::string out = "Unable to locate out" + behind;
  const auto found = [] {
    return std::to_string(char_map_input('A')) + " " + std::to_string(char_map_output('B'));
  };
  const struct {
    const char* input;
    const char* output;
    std::string files;
    std::string warnings;
    const char* found;  // byte A, and the byte for B
  } rows[] = {
      {nullptr, nullptr, "", in + out, "65 66"},
      {nullptr, nullptr, "main", "", "65 66"},  // a file alone changes nothing
      {"other", nullptr, "", in + out, "65 66"},
      {"other", nullptr, "other", out, "66 66"},
      {"other", nullptr, "main", "", "66 66"},  // falls back
      {nullptr, "other", "main", "", "65 65"},
      {"other", "gone", "other", out, "66 66"},
      {"", "", "main", "", "66 65"},  // an empty value asks, too
  };
  for (const auto& row : rows) {
    std::filesystem::remove("main.char_table");
    std::filesystem::remove("other.char_table");
    if (!row.files.empty()) write_file(row.files + ".char_table", "65 B\n");
    for (const auto& [name, value] :
         {std::pair{"INPUT_MAPPING", row.input}, {"OUTPUT_MAPPING", row.output}}) {
      unsetenv(name);
      if (value != nullptr) setenv(name, value, 1);
    }
    EXPECT_EQ(load(), row.warnings) << row.files;
    EXPECT_EQ(found(), row.found) << row.files << row.warnings;
  }
}

}  // namespace marigold::test
