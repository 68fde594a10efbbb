#include "runtime/core/settings.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

namespace marigold {
namespace {

struct SettingsTest : testing::Test {
  SettingsTest() { clearenv(); }
};

TEST_F(SettingsTest, AnEmptyEnvironmentGivesTheDefaults) {
  setenv("LANGUAGE_IDENTIFIER", "", 1);
  settings_read();
  EXPECT_EQ(settings().language_identifier.view(), "english_us.8859");
  EXPECT_EQ(
      settings().language_searchpath.view(),
      "./locale/%l/%t/%c/%N;./locale/%l/%c/%N;./locale/%l/%t/%N;./locale/%l/%N;./locale/default/%N");
  EXPECT_TRUE(settings().assigned_function_keys_only);
  EXPECT_FALSE(settings().screen_dump || settings().multi_user || settings().debug);
  EXPECT_EQ(settings().definition_directory.view(), "./definitions");
  EXPECT_EQ(settings().data_directory.view(), "./data/%p");
  EXPECT_EQ(settings().print_directory.view(), "./print");
}

TEST_F(SettingsTest, FlagsWantTheirOneKeyword) {
  struct Row {
    const char* name;
    const char* value;
    bool Settings::*flag;
    bool expected;
  };
  const Row rows[] = {
      {"SCREEN_DUMP", "enabled", &Settings::screen_dump, true},
      {"SCREEN_DUMP", "ENABLED ", &Settings::screen_dump, false},
      {"SCREEN_DUMP", "1", &Settings::screen_dump, false},
      {"FUNCTION_KEYS", "display_all", &Settings::assigned_function_keys_only, false},
      {"FUNCTION_KEYS", "all", &Settings::assigned_function_keys_only, true},
      {"IS_MULTIUSER", "True", &Settings::multi_user, true},
      {"IS_MULTIUSER", "TRU", &Settings::multi_user, false},
      {"DEBUG", "true", &Settings::debug, true},
      {"DEBUGFUNCTIONKEYS", "TRUE", &Settings::debug_function_keys, false},
      {"DEBUGTIMER", "TRUE", &Settings::debug_timer, false}};
  for (const Row& row : rows) {
    clearenv();
    setenv(row.name, row.value, 1);
    settings_read();
    EXPECT_EQ(settings().*row.flag, row.expected) << row.name << "=" << row.value;
  }
  setenv("DEBUG", "TRUE", 1);
  setenv("DEBUGFUNCTIONKEYS", "true", 1);
  settings_read();
  EXPECT_TRUE(settings().debug_function_keys && settings().debug_timer);
}

TEST_F(SettingsTest, ReadingClearsTheOpenSubsystems) {
  open_subsystems().window_system = true;
  open_subsystems().path_locks = true;
  settings_read();
  EXPECT_FALSE(open_subsystems().window_system || open_subsystems().path_locks);
}

TEST_F(SettingsTest, ValuesEndAt249Characters) {
  setenv("LANGUAGE_IDENTIFIER", std::string(249, 'x').c_str(), 1);
  settings_read();
  EXPECT_EQ(settings().language_identifier.length(), 249U);
  setenv("LANGUAGE_IDENTIFIER", std::string(250, 'x').c_str(), 1);
  EXPECT_DEATH(settings_read(), "system error 17");
}

}  // namespace
}  // namespace marigold
