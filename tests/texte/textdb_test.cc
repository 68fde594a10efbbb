#include "runtime/texte/textdb.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/txt.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

TEST(TextdbTest, TextsFallBackToTheirKeys) {
  const test::WorkDirectory directory;
  setenv("LANGUAGE_SEARCHPATH", "./%N", 1);
  txt_start();
  settings_read();
  std::string text;
  testing::internal::CaptureStderr();
  textdb_setup("menu");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Unable to locate application default file: textdb\n");
  EXPECT_EQ(textdb_text(text, "KEY"), "KEY");
  EXPECT_EQ(textdb_module_text(text, "KEY"), "KEY");

  test::write_textdb("textdb",
                     {{"KEY", "text"}, {"menu.KEY", "text of the menu"}, {".KEY", "no module"}});
  textdb_setup("menu");
  EXPECT_EQ(textdb_text(text, "KEY"), "text");
  EXPECT_EQ(textdb_text(text, "OTHER"), "OTHER");
  EXPECT_EQ(textdb_module_text(text, "KEY"), "text of the menu");
  EXPECT_EQ(textdb_module_text(text, "OTHER"), "OTHER");
  textdb_setup("");
  EXPECT_EQ(textdb_module_text(text, "KEY"), "no module");
  txt_start();
}

}  // namespace
}  // namespace marigold
