// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/path.h"

#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

TEST(PathTest, IsTakenApartAndPutTogether) {
  struct Case {
    std::string path;
    std::string directory;
    std::string name;
    std::string beside;  // the path of "x" in the same directory
    std::string joined;  // the path of "x" in this directory
    std::string without_end;
  };
  const Case kCases[] = {
      {"", "", "", "x", "x", ""},
      {"a", "", "a", "x", "a/x", "a"},
      {"a.b", "", "a.b", "x", "a.b/x", "a.b"},
      {"a/b", "a", "b", "a/x", "a/b/x", "a/b"},
      {"./a//b", "./a", "b", "./a//x", "./a//b/x", "./a//b"},
      {"a/b/", "a/b", "", "a/b/x", "a/b/x", "a/b"},
      {"/", "/", "", "/x", "/x", "/"},
      {"//", "/", "", "//x", "//x", "/"},
      {"/a", "/", "a", "/x", "/a/x", "/a"},
  };
  const Case kOfPosix[] = {{"/a/b\\c", "/a", "b\\c", "/a/x", "/a/b\\c/x", "/a/b\\c"}};
  const Case kOfWindows[] = {{"/a\\b/c", "/a\\b", "c", "/a\\b/x", "/a\\b/c/x", "/a\\b/c"},
                             {"C:\\a", "C:\\", "a", "C:\\x", "C:\\a/x", "C:\\a"},
                             {"C:/a", "C:/", "a", "C:/x", "C:/a/x", "C:/a"}};
  std::vector<Case> cases(std::begin(kCases), std::end(kCases));
  if (path_separates('\\'))
    cases.insert(cases.end(), std::begin(kOfWindows), std::end(kOfWindows));
  else
    cases.insert(cases.end(), std::begin(kOfPosix), std::end(kOfPosix));
  for (const Case& one : cases) {
    EXPECT_EQ(path_directory(one.path), one.directory) << one.path;
    EXPECT_EQ(path_name(one.path), one.name) << one.path;
    EXPECT_EQ(path_beside(one.path, "x"), one.beside) << one.path;
    EXPECT_EQ(path_join(one.path, "x"), one.joined) << one.path;
    EXPECT_EQ(path_without_end(one.path), one.without_end) << one.path;
    EXPECT_EQ(path_has_directory(one.path), !one.directory.empty()) << one.path;
  }
}

}  // namespace
}  // namespace marigold::inner::test
