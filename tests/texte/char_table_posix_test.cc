// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/settings.h"
#include "runtime/texte/char_table.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// An empty value asks for the table of the language, too.
TEST(CharTablePosixTest, AnEmptyVariableIsSet) {
  const WorkDirectory directory;
  setenv("LANGUAGE_SEARCHPATH", "./%l.%N", 1);
  setenv("LANGUAGE_IDENTIFIER", "main_x.1", 1);
  settings_read();
  write_file("main.char_table", "65 B\n");
  setenv("INPUT_MAPPING", "", 1);
  setenv("OUTPUT_MAPPING", "", 1);
  EXPECT_EQ(errors_of(char_tables_load), "");
  EXPECT_EQ(char_map_input('A'), 'B');
  EXPECT_EQ(char_map_output('B'), 'A');
  unsetenv("INPUT_MAPPING");
  unsetenv("OUTPUT_MAPPING");
}

}  // namespace marigold::inner::test
