#include "runtime/texte/language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "runtime/core/settings.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

std::vector<std::string> elements(std::string_view path_template, std::string_view identifier) {
  std::vector<std::string> expanded;
  RuntimeString element;
  for (std::size_t position = 0; position < path_template.size();) {
    lang_expand_element(element, path_template, identifier, position);
    expanded.emplace_back(element.view());
  }
  return expanded;
}

TEST(LanguageTest, IdentifiersAreSplitWithDefaults) {
  struct Row {
    const char* identifier;
    const char* language;
    const char* territory;
    const char* code_set;
  };
  const Row rows[] = {
      {"english_us.8859", "english", "us", "8859"},
      {"de_at.1252", "de", "at", "1252"},
      {"english", "english", "germany", "8859"},
      {"", "german", "germany", "8859"},
      {"_us", "german", "us", "8859"},
      {".1252", "german", "germany", "1252"},
      {"en_us_gb", "en", "gb", "8859"},
      {"en.iso.8859", "en", "germany", "8859"},
      {"en.utf_us", "en", "us", "utf"},
      {"en_us_", "en", "us", "8859"},  // entered again, nothing written: keeps its value
      {"en_longer_us", "en", "us", "8859"},
      {"__..", "german", "germany", "8859"}};
  for (const Row& row : rows) {
    const LanguageFields fields = lang_split_identifier(row.identifier);
    EXPECT_EQ(fields.language.view(), row.language) << row.identifier;
    EXPECT_EQ(fields.territory.view(), row.territory) << row.identifier;
    EXPECT_EQ(fields.code_set.view(), row.code_set) << row.identifier;
  }
}

TEST(LanguageTest, ElementsAreExpandedOneByOne) {
  using List = std::vector<std::string>;
  EXPECT_EQ(elements(kDefaultSearchpath, "english_us.8859"),
            (List{"./locale/english/us/8859/%N", "./locale/english/8859/%N",
                  "./locale/english/us/%N", "./locale/english/%N", "./locale/default/%N"}));
  EXPECT_EQ(elements("%L/%x/%%l/%n%;;a;", "de_at"), (List{"de_at/%x/%de/%n%", "", "a"}));
  EXPECT_EQ(elements("%", "de"), (List{"%"}));
  EXPECT_EQ(elements("", "de"), List{});
}

TEST(LanguageTest, AnElementHoldsUpTo250Characters) {
  EXPECT_EQ(elements(std::string(248, 'x') + "%l", "de").front().size(), 250U);
  EXPECT_DEATH(elements(std::string(249, 'x') + "%l", "de"), "system error 38");
  EXPECT_DEATH(elements("%L", std::string(251, '_')), "system error 38");
  EXPECT_DEATH(lang_split_identifier(std::string(251, 'x')), "system error 38");
}

TEST(LanguageTest, NamesAreSubstitutedUpTo249Characters) {
  RuntimeString output;
  lang_subst_name(output, "%N/a%%N%n%/%N", "file");
  EXPECT_EQ(output.view(), "file/a%file%n%/file");
  lang_subst_name(output, "dir/%N/more", std::string(300, 'n'));
  EXPECT_EQ(output.view(), "dir/" + std::string(245, 'n'));
}

struct LanguageSearchTest : testing::Test {
  test::WorkDirectory directory;
};

TEST_F(LanguageSearchTest, TheFirstElementWithARegularFileWins) {
  const std::string path = "./%l/%t/%N;;./%l/%N;./%N;plain";
  std::filesystem::create_directories(
      "german/at/textdb.pag");  // a directory of that name does not count
  RuntimeString output("stale");
  EXPECT_EQ(lang_find_file(output, "textdb.pag", path, "german_at"), -1);
  EXPECT_TRUE(output.empty());
  test::write_file("plain", "");
  EXPECT_EQ(lang_find_file(output, "textdb.pag", path, "german_at"), 0);
  EXPECT_EQ(output.view(), "plain");
  test::write_file("textdb.pag", "");
  test::write_file("german/textdb.pag", "");
  EXPECT_EQ(lang_find_file(output, "textdb.pag", path, "german_at"), 0);
  EXPECT_EQ(output.view(), "./german/textdb.pag");
  EXPECT_EQ(lang_find_dir(output, "textdb.pag", path, "german_at"), 0);
  EXPECT_EQ(output.view(), "./german/%N");
  EXPECT_EQ(lang_find_dir(output, "help", "./%l/%N", "german_at"), -1);
  EXPECT_TRUE(output.empty());
}

TEST_F(LanguageSearchTest, TheListStopsBelow250Characters) {
  RuntimeString list;
  lang_path_list(list, "%l/%N;;x", "de");
  EXPECT_EQ(list.view(), "de/%N;;x;");
  const std::string hundred(100, 'x');
  lang_path_list(list, hundred + ";" + hundred + ";" + std::string(47, 'y') + ";z", "de");
  EXPECT_EQ(list.view(), hundred + ";" + hundred + ";");  // 202 + 47 + 1 would be 250
  lang_path_list(list, hundred + ";" + hundred + ";" + std::string(46, 'y'), "de");
  EXPECT_EQ(list.length(), 249U);
}

}  // namespace
}  // namespace marigold
