// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/terminal_text.h"

#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(TerminalTextTest, TheLocalesNameTellsTheCharacterSet) {
  using enum TerminalCharset;
  const std::tuple<const char*, const char*, const char*, TerminalCharset> rows[] = {
      {nullptr, nullptr, nullptr, kUnknown},
      {nullptr, "", "de_DE.UTF-8", kUtf8},
      {"C", nullptr, "de_DE.UTF-8", kUnknown},
      {nullptr, "en_US.utf8@x", "C", kUtf8},
      {"de_DE.ISO-8859-15@euro", nullptr, nullptr, kIso8859},
      {nullptr, nullptr, "de_DE.iso88591", kIso8859},
      {nullptr, nullptr, "UTF-8", kUnknown}};
  for (const auto& [all, type, lang, expected] : rows)
    EXPECT_EQ(terminal_charset(all, type, lang), expected) << testing::PrintToString(lang);
}

TEST(TerminalTextTest, ControlCharactersAreShown) {
  // The text; its form on a terminal with UTF-8, with ISO 8859-1, and with an unknown character
  // set.
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"plain\ttext~", "plain\ttext~", "plain\ttext~"},
      {"\0\x1b\r\x7f"s, "\\x00\\x1B\\x0D\\x7F", "\\x00\\x1B\\x0D\\x7F"},
      {"\xe4\xff", "\xe4\xff", "\xe4\xff"},
      {"\x9b\x80", "\\x9B\\x80", "\\x9B\\x80"},
      {"\xc3\x84", "\xc3\x84", "\xc3\\x84"},
      {"\xc2\x9b", "\\xC2\\x9B", "\xc2\\x9B"},
      {"\xc2\xa0\xe2\x82\xac", "\xc2\xa0\xe2\x82\xac", "\xc2\xa0\xe2\\x82\xac"},
      {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80", "\xf0\\x9F\\x98\\x80"},
      // Not UTF-8: cut, longer than necessary, a surrogate, too large.
      {"\xe2\x82", "\xe2\\x82", "\xe2\\x82"},
      {"\xe0\x82\x9b", "\xe0\\x82\\x9B", "\xe0\\x82\\x9B"},
      {"\xed\xa0\x80", "\xed\xa0\\x80", "\xed\xa0\\x80"},
      {"\xf4\x90\x80\x80", "\xf4\\x90\\x80\\x80", "\xf4\\x90\\x80\\x80"}};
  for (const auto& [text, utf8, other] : rows) {
    EXPECT_EQ(visible_text(text, TerminalCharset::kUtf8, LineEnds::kShown), utf8);
    EXPECT_EQ(visible_text(text, TerminalCharset::kIso8859, LineEnds::kShown), other);
    EXPECT_EQ(visible_text(text, TerminalCharset::kUnknown, LineEnds::kShown), other);
  }
  EXPECT_EQ(visible_text("a\nb", TerminalCharset::kUtf8, LineEnds::kShown), "a\\x0Ab");
  EXPECT_EQ(visible_text("a\nb\r", TerminalCharset::kUtf8, LineEnds::kKept), "a\nb\\x0D");
}

}  // namespace marigold::inner::test
