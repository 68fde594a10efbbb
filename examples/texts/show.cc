// SPDX-License-Identifier: GPL-3.0-or-later
// show TEXTID... writes the texts of these ids in the user's language, one a line: a minimal
// console program.

#include <marigold/texts.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  marigold::texte_start();
  std::string text;
  for (int i = 1; i < argc; ++i)
    std::puts(marigold::textdb_text(text, argv[i]).c_str());
  return std::fflush(stdout) == 0 ? 0 : 1;
}
