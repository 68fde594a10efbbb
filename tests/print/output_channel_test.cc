// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/output_channel.h"

#include "tests/print/list_support.h"

namespace marigold::inner::test {
namespace {

using OutputChannelTest = PrintTest;

TEST_F(OutputChannelTest, HeaderAndFooterTextsStandOnEveryPage) {
  channel_open("", 4, kVisibleDevice);
  channel_write("\5BB\5top \5PAGE,\5\5NL\5\5KOPFEND\5bottom\5NL\5\5FUSSEND\5\5BE\5");
  channel_write(
      "1\5NL\5"
      "2\5NL\5");  // the page is full
  EXPECT_EQ(printed, "top 1\n1\n2\nbottom\n====\n");
  printed.clear();
  channel_write("3\5NP\5\5NP\5");
  EXPECT_EQ(printed, "top 2\n3\n\nbottom\n====\ntop 3\n\n\nbottom\n====\n");
  printed.clear();
  channel_write(std::string(251, 'x'));
  EXPECT_EQ(printed, "top 4\n" + std::string(250, 'x'));  // the size of a line's buffer
  EXPECT_EQ(channel_close(), 0);
  EXPECT_EQ(printed, "top 4\n" + std::string(251, 'x'));
}

TEST_F(OutputChannelTest, BackspacesComeApartFromText) {
  OutputDevice device = kVisibleDevice;
  device.text = [](std::string_view text) { printed.append(text).append("|"); };
  channel_open("", 4, device);
  channel_write("a");
  channel_write("b\b\bc\b");
  channel_write("\b");
  EXPECT_EQ(channel_close(), 0);
  EXPECT_EQ(printed, "ab|\b\b|c|\b|\b|");
}

TEST_F(OutputChannelTest, UnknownMarkersAndLongHeadersEndTheProgram) {
  channel_open("", 4, kVisibleDevice);
  for (const char* text : {"\5XX\5", "\5NL", "\5\5", "\5PAGE\5", "\5UEBERTRAG,5,#\5",
                           "\5UEBERTRAG,1#\5", "\5UEBERTRAG,\5", "\5nl\5"})
    EXPECT_DEATH(channel_write(text), "error 5\n") << text;
  for (const int total : {0, 5, -1})
    EXPECT_DEATH(channel_add_total(total, 1), "error 5\n") << total;
  channel_write("\5BB\5" + std::string(1000, 'x'));
  EXPECT_DEATH(channel_write("y"), "error 44\n");
  channel_close();
  EXPECT_DEATH(channel_close(), "error 43\n");
}

}  // namespace
}  // namespace marigold::inner::test
