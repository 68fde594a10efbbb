#include "command/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace marigold {
namespace {

TEST(OptionsTest, WordsAreTakenAsTheClassicParserDoes) {
  struct Row {
    std::vector<std::string> words;
    const char* first_left;  // null: no word is left
    bool verbose;
    bool newline;
    const char* text_file;
    int errors;
    const char* messages;
  };
  const Row rows[] = {
      {{"KEY"}, "KEY", false, true, "COMMONTXT", 0, ""},
      {{"-nv", "KEY"}, "KEY", true, false, "COMMONTXT", 0, ""},
      {{"-n", "KEY", "-v"}, "KEY", false, false, "COMMONTXT", 0, ""},
      {{"-tNAME", "KEY"}, "KEY", false, true, "NAME", 0, ""},
      {{"-nt", "NAME", "KEY"}, "KEY", false, false, "NAME", 0, ""},
      {{"-t", "-n", "KEY"}, "KEY", false, true, "-n", 0, ""},
      {{"-t", "", "KEY"}, "KEY", false, true, "", 0, ""},
      {{"-"}, "-", false, true, "COMMONTXT", 0, ""},
      {{"--", "-n"}, "-n", false, true, "COMMONTXT", 0, ""},
      {{"-n", "--"}, nullptr, false, false, "COMMONTXT", 0, ""},
      {{""}, "", false, true, "COMMONTXT", 0, ""},
      {{"-?n", "KEY"}, "KEY", false, false, "COMMONTXT", 1, ""},
      {{"-x:n", "K"},
       "K",
       false,
       false,
       "COMMONTXT",
       2,
       "p: unknown option, -x\np: unknown option, -:\n"},
      {{"---n", "K"},
       "K",
       false,
       false,
       "COMMONTXT",
       2,
       "p: unknown option, --\np: unknown option, --\n"},
      {{"-nt"}, nullptr, false, false, "COMMONTXT", 1, "p: argument missing for -t\n"},
  };
  for (const Row& row : rows) {
    std::vector<std::string> words = row.words;
    words.insert(words.begin(), "p");
    std::vector<char*> pointers;
    for (std::string& word : words)
      pointers.push_back(word.data());
    testing::internal::CaptureStderr();
    const Options options = options_parse(pointers);
    const std::string shown = testing::PrintToString(row.words);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), row.messages) << shown;
    EXPECT_EQ(options.verbose, row.verbose) << shown;
    EXPECT_EQ(options.final_newline, row.newline) << shown;
    EXPECT_STREQ(options.text_file, row.text_file) << shown;
    EXPECT_EQ(options.errors, row.errors) << shown;
    EXPECT_STREQ(options.words.empty() ? nullptr : options.words.front(), row.first_left) << shown;
  }
}

}  // namespace
}  // namespace marigold
