// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/settings.h"

#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(SettingsTest, AnEmptyEnvironmentGivesTheDefaults) {
  clearenv();
  setenv("LANGUAGE_IDENTIFIER", "", 1);
  open_subsystems() = {.window_system = true, .path_locks = true};
  settings_read();
  EXPECT_EQ(settings().language_identifier.view(), "english_us.8859");
  EXPECT_EQ(settings().language_searchpath.view(), kDefaultSearchpath);
  EXPECT_EQ(settings().definition_directory.view(), "./definitions");
  EXPECT_EQ(settings().data_directory.view(), "./data/%p");
  EXPECT_EQ(settings().print_directory.view(), "./print");
  EXPECT_FALSE(open_subsystems().window_system || open_subsystems().path_locks);
}

TEST(SettingsTest, FlagsWantTheirOneKeyword) {
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"", "SCREEN_DUMP", "enabled", "S"},    {"", "SCREEN_DUMP", "ENABLED ", ""},
      {"", "FUNCTION_KEYS", "all", ""},       {"", "FUNCTION_KEYS", "display_all", "A"},
      {"", "IS_MULTIUSER", "TRU", ""},        {"", "IS_MULTIUSER", "True", "M"},
      {"", "DEBUGTIMER", "TRUE", ""},         {"true", "DEBUGTIMER", "True", "DT"},
      {"1", "DEBUGFUNCTIONKEYS", "TRUE", ""}, {"TRUE", "DEBUGFUNCTIONKEYS", "true", "DK"}};
  for (const auto& [debug, name, value, expected] : rows) {
    clearenv();
    setenv("DEBUG", debug, 1);
    setenv(name, value, 1);
    settings_read();
    std::string flags = settings().screen_dump ? "S" : "";
    flags += settings().assigned_function_keys_only ? "" : "A";
    flags += settings().multi_user ? "M" : "";
    flags += settings().debug ? "D" : "";
    flags += settings().debug_function_keys ? "K" : "";
    flags += settings().debug_timer ? "T" : "";
    EXPECT_EQ(flags, expected) << name << "=" << value << " DEBUG=" << debug;
  }
}

}  // namespace marigold::inner::test
