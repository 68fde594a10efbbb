// SPDX-License-Identifier: GPL-3.0-or-later
// marigold texts: makes text databases from PO files, writes PO files from databases, checks texts.
//
// Each command reports all problems itself and returns an exit status (report.h).
#pragma once

#include <string>
#include <vector>

namespace marigold::inner {

struct TextsBuild {
  std::vector<std::string> inputs;
  std::string output;  // DIR/textdb
  std::string code_set;
  bool use_fuzzy = false;
  bool force = false;  // also if a database that has texts would get none
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

}  // namespace marigold::inner
