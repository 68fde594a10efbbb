// SPDX-License-Identifier: GPL-3.0-or-later
// marigold texts: text databases from PO files and back, and what is wrong with the texts.
//
// Each command returns an exit status (see report.h) and has said all there is to say.
#pragma once

#include <string>
#include <vector>

namespace marigold {

struct TextsBuild {
  std::vector<std::string> inputs;
  std::string output;  // DIR/textdb
  std::string code_set;
  bool use_fuzzy = false;
  bool force = false;  // also when no text is left of a database that has some
  bool verbose = false;
};
int texts_build(const TextsBuild& options);

struct TextsDump {
  std::string database;
  std::string output;  // empty: standard output
  std::string code_set;
};
int texts_dump(const TextsDump& options);

struct TextsCheck {
  std::string reference;
  std::vector<std::string> others;
  std::string code_set;
  bool use_fuzzy = false;
  bool json = false;
  bool verbose = false;
};
int texts_check(const TextsCheck& options);

struct TextsTemplate {
  std::string reference;  // empty: no texts of a program
  std::string output;     // empty: standard output
  bool system = false;    // the texts of the runtime's catalogue as well
};
int texts_template(const TextsTemplate& options);

}  // namespace marigold
