// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/code_set.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// Second bytes that are those of ASCII characters, shifts by escape sequences, accents before their
// letters.
TEST(CodeSetPosixTest, DatabasesAreNotMadeInCodeSetsThatHideAscii) {
  CodeSet code_set;
  std::string reason;
  for (const char* name : {"BIG5-HKSCS", "JOHAB", "ISO-2022-JP", "ISO-2022-KR", "SHIFT_JISX0213",
                           "ISO_6937", "T.61"}) {
    EXPECT_FALSE(code_set.open_for_texts(name, reason)) << name;
    EXPECT_TRUE(reason.starts_with("the code set \"" + std::string(name) + "\" cannot"));
  }
  for (const char* name : {"EUC-JP", "EUC-KR", "EUC-TW", "GB2312", "TIS-620"})
    EXPECT_TRUE(code_set.open_for_texts(name, reason)) << name << reason;
}

}  // namespace marigold::inner::test
