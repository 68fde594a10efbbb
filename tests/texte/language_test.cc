// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/language.h"

#include "runtime/core/settings.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

using List = std::vector<std::string>;

static List elements(std::string_view path_template, std::string_view identifier) {
  List expanded;
  RuntimeString element;
  for (std::size_t position = 0; position < path_template.size();) {
    lang_expand_element(element, path_template, identifier, position);
    expanded.emplace_back(element.view());
  }
  return expanded;
}

TEST(LanguageTest, IdentifiersAreSplitWithDefaults) {
  // clang-format off
  const std::pair<const char*, const char*> rows[] = {
      {"english_us.8859", "english us 8859"}, {"de_at.1252", "de at 1252"}, {"_us", "german us 8859"},
      {"", "german germany 8859"}, {"__..", "german germany 8859"}, {"english", "english germany 8859"},
      {".1252", "german germany 1252"}, {"en_us_gb", "en gb 8859"}, {"en.iso.8859", "en germany 8859"},
      {"en_us_", "en us 8859"},  // entered again without text: keeps its value
      {"en.utf_us", "en us utf"}, {"en_longer_us", "en us 8859"},
  };
  // clang-format on
  for (const auto& [identifier, fields] : rows)
    EXPECT_EQ(elements("%l %t %c", identifier), List{fields}) << identifier;
}

TEST(LanguageTest, ElementsAreExpandedOneByOne) {
  EXPECT_EQ(elements(kDefaultSearchpath, "english_us.8859"),
            (List{"./locale/english/us/8859/%N", "./locale/english/8859/%N",
                  "./locale/english/us/%N", "./locale/english/%N", "./locale/default/%N"}));
  EXPECT_EQ(elements("%L/%x/%%l/%n%;;a;%", "de_at"), (List{"de_at/%x/%de/%n%", "", "a", "%"}));
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

TEST(LanguageTest, TheFirstElementWithARegularFileWins) {
  const WorkDirectory directory;
  const auto find = [] {
    const std::string path = "./%l/%t/%N;;./%l/%N;./%N;plain";
    RuntimeString file("stale");
    RuntimeString element("stale");
    const int result = lang_find_file(file, "db.pag", path, "german_at");
    EXPECT_EQ(lang_find_dir(element, "db.pag", path, "german_at"), result);
    return std::to_string(result).append(file.view()).append(" ").append(element.view());
  };
  std::filesystem::create_directories("german/at/db.pag");  // a directory is no file
  EXPECT_EQ(find(), "-1 ");
  write_file("plain", "");
  EXPECT_EQ(find(), "0plain plain");
  write_file("db.pag", "");
  write_file("german/db.pag", "");
  EXPECT_EQ(find(), "0./german/db.pag ./german/%N");
}

TEST(LanguageTest, TheListStopsBelow250Characters) {
  const auto list = [](const std::string& path_template) {
    RuntimeString output("stale");
    lang_path_list(output, path_template, "de");
    return std::string(output.view());
  };
  const std::string hundreds = std::string(100, 'x') + ";" + std::string(100, 'x') + ";";
  const std::string most = hundreds + std::string(46, 'y');
  EXPECT_EQ(list("%l/%N;;x"), "de/%N;;x;");
  EXPECT_EQ(list(most), most + ";");
  EXPECT_EQ(list(most + "y;z"), hundreds);  // 202 + 47 + 1 would be 250
}

}  // namespace marigold::inner::test
