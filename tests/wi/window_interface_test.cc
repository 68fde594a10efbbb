#include "runtime/wi/window_interface.h"

#include <array>
#include <span>

#include "runtime/platform/clock.h"
#include "tests/wi/window_support.h"

namespace marigold::test {
namespace {

// What was on the screen when the wait for the lock began.
std::string seen;

class WindowInterfaceTest : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    window_interface_start();
    show(1, 1, 24, 80);
    wi_set_cursor(1, 5, 5);
    terminal_refresh();
    before_ = recording().cells;
  }
  void TearDown() override {
    EXPECT_EQ(wi_active(), 1);
    EXPECT_EQ(recording().cells, before_);  // all that was shown is gone
    EXPECT_TRUE(recording().row == 6 && recording().column == 6);
    EXPECT_TRUE(recording().keys.empty());
    window_interface_end();
    user_interface().message("back", "");
    EXPECT_EQ(said, "back\n");
    WindowTest::TearDown();
  }

  ConsoleBuffer before_{};
};

TEST_F(WindowInterfaceTest, AnswersAreTakenByAllTheirKeys) {
  const struct {
    std::string keys;
    int expected;
  } rows[] = {{"\r", 0},     {"\x1b", 0},    {"\0;"s, 0},    {"\0="s, 2},     {"n", 1},
              {"L", 2},      {"\xe0M\r", 1}, {"\xe0K\r", 2}, {"\t\t\t\r", 0}, {"x\0C\xe0M\r"s, 1},
              {"\x01 \r", 0}};
  const std::array answers = {"yes", "no", "later"};
  for (const auto& row : rows) {
    recording().type(row.keys);
    EXPECT_EQ(user_interface().choose("Satz speichern?", answers, "_SAVE_"), row.expected)
        << testing::PrintToString(row.keys);
  }
  EXPECT_EQ(user_interface().choose("Nothing", {}, ""), 0);
}

TEST_F(WindowInterfaceTest, AnyTextCanBeShownWithAllWindowsInUse) {
  for (const std::string& text :
       {""s, std::string(250, 'x'), std::string(3000, 'y'), "a\n\nb c"s}) {
    recording().type("\r");
    user_interface().warning(text.c_str());
  }
  for (int number = 2; number <= 30; ++number)
    make(1, 1, 3, 3);
  recording().type("\x01  ");  // help, of which there is none, and the message once more
  user_interface().message(std::string(99, 'm').c_str(), "_KEY_");
}

TEST_F(WindowInterfaceTest, LocksAreAskedForOrWaitedFor) {
  for (const auto& [keys, expected] :
       {std::pair{"\0;"s, true}, {"\0<"s, false}, {"\x1b"s, false}}) {
    recording().type(keys);
    EXPECT_EQ(user_interface().ask_for_lock("KUNDEN file lock active", "__lock_"), expected);
  }
  clock_sleep_hook = [](int seconds) {
    EXPECT_EQ(seconds, 1);
    seen = recording().text(24, 1, 41);
    EXPECT_EQ(recording().cell(24, 1).colour, kColourReverse);
    EXPECT_EQ(recording().cell(24, 41).colour, kColourPlain);
  };
  user_interface().wait_for_lock((std::string(40, 'K') + "cut").c_str());
  clock_sleep_hook = nullptr;
  EXPECT_EQ(seen, std::string(40, 'K') + "\xc4");
}

}  // namespace
}  // namespace marigold::test
